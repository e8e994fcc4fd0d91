#include "app/filedialogs.h"

#include <QStandardPaths>
#include <QTest>

class TestFileDialogs : public QObject {
    Q_OBJECT

private slots:

    void isProjectFileLooksAtTheExtensionInAnyCase()
    {
        QVERIFY(file_dialogs::isProjectFile(QStringLiteral("/a/take.vela")));
        QVERIFY(file_dialogs::isProjectFile(QStringLiteral("TAKE.VELA")));
        QVERIFY(file_dialogs::isProjectFile(QStringLiteral(".Vela")));
        QVERIFY(!file_dialogs::isProjectFile(QStringLiteral("take.vela.wav")));
        QVERIFY(!file_dialogs::isProjectFile(QStringLiteral("takevela")));
    }

    void withProjectExtensionAddsItOnlyWhenMissing()
    {
        QCOMPARE(file_dialogs::withProjectExtension(QStringLiteral("take")), "take.vela");
        QCOMPARE(file_dialogs::withProjectExtension(QStringLiteral("TAKE.VELA")), "TAKE.VELA");
        QCOMPARE(file_dialogs::withProjectExtension(QStringLiteral("take.wav")), "take.wav.vela");
    }

    void startPathIsTheDesktopFolderAtFirst()
    {
        const QString desktop = QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
        QCOMPARE(file_dialogs::startPath({}, {}), desktop);
        QCOMPARE(file_dialogs::startPath({}, QStringLiteral("mix.vela")),
                 desktop + QStringLiteral("/mix.vela"));
    }

    void startPathJoinsTheLastFolderWithTheName()
    {
        const QString last = QStringLiteral("/music/old song.wav");
        QCOMPARE(file_dialogs::startPath(last, {}), last);
        QCOMPARE(file_dialogs::startPath(last, QStringLiteral("new.vela")), "/music/new.vela");
    }
};

QTEST_GUILESS_MAIN(TestFileDialogs)
#include "tst_filedialogs.moc"
