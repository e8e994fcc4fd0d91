#include "engine/enginediagnostics.h"
#include "support/logcatcher.h"

#include <QRegularExpression>
#include <QTest>

class TestEngineDiagnostics : public QObject {
    Q_OBJECT

private slots:

    void reportIsOneExactLine()
    {
        LogCatcher log;
        EngineDiagnostics diagnostics;
        diagnostics.countBlock();
        diagnostics.countBlock();
        diagnostics.report({true, false, 3, 4, 16383, 5, 6});
        QCOMPARE(log.take(QtWarningMsg,
                          QStringLiteral("[VELA-DIAG] play=true rec=false | OUT underrun=3 drop=4 "
                                         "headroomSamp=16383 blocks/s=2 | IN drop=5 "
                                         "backlogSamp=6 | maxLoopGapMs=\"0.0\"")),
                 1);
    }

    void reportStartsTheNextSecondAfresh()
    {
        LogCatcher log;
        EngineDiagnostics diagnostics;
        diagnostics.noteTick();
        QTest::qSleep(3);
        diagnostics.noteTick();
        diagnostics.countBlock();
        diagnostics.report({});
        diagnostics.report({});
        const QStringList lines = log.texts(QtWarningMsg);
        QCOMPARE(lines.size(), 2);
        const QRegularExpression gap(
            QStringLiteral("blocks/s=1 .*maxLoopGapMs=\"([0-9]+\\.[0-9])\"$"));
        const auto match = gap.match(lines[0]);
        QVERIFY(match.hasMatch());
        QVERIFY(match.captured(1).toDouble() >= 3.0);
        QVERIFY(lines[1].contains(QStringLiteral("blocks/s=0 ")));
        QVERIFY(lines[1].endsWith(QStringLiteral("maxLoopGapMs=\"0.0\"")));
        log.takeContaining(QtWarningMsg, QStringLiteral("[VELA-DIAG]"));
    }

    void resetStopsTheGapClock()
    {
        LogCatcher log;
        EngineDiagnostics diagnostics;
        diagnostics.noteTick();
        QTest::qSleep(3);
        diagnostics.reset();
        diagnostics.noteTick();
        diagnostics.report({});
        QCOMPARE(log.takeContaining(QtWarningMsg, QStringLiteral("maxLoopGapMs=\"0.0\"")), 1);
    }

    void resetForgetsTheGapAndTheBlocks()
    {
        LogCatcher log;
        EngineDiagnostics diagnostics;
        diagnostics.noteTick();
        QTest::qSleep(3);
        diagnostics.noteTick();
        diagnostics.countBlock();
        diagnostics.reset();
        diagnostics.report({});
        const QString line = log.texts(QtWarningMsg).value(0);
        QVERIFY2(line.contains(QStringLiteral(" blocks/s=0 ")), qPrintable(line));
        QVERIFY2(line.endsWith(QStringLiteral("maxLoopGapMs=\"0.0\"")), qPrintable(line));
        QCOMPARE(log.takeContaining(QtWarningMsg, QStringLiteral("[VELA-DIAG]")), 1);
    }
};

QTEST_APPLESS_MAIN(TestEngineDiagnostics)
#include "tst_enginediagnostics.moc"
