#include "app/accessibleroles.h"
#include "app/activitystrip.h"
#include "support/logcatcher.h"

#include <QAccessible>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>

#include <memory>

class TestActivityStrip : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<QWidget> m_window;
    QVBoxLayout* m_layout = nullptr;
    ActivityStrip* m_strip = nullptr;

    [[nodiscard]] QProgressBar* bar() const { return m_strip->findChild<QProgressBar*>(); }

    [[nodiscard]] QPushButton* button() const { return m_strip->findChild<QPushButton*>(); }

    [[nodiscard]] QLabel* label() const { return m_strip->findChild<QLabel*>(); }

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        // Said of every window that its layout gives a least size.
        m_log->tolerate(QtWarningMsg, "propagateSizeHints");
        m_window = std::make_unique<QWidget>();
        m_layout = new QVBoxLayout(m_window.get());
        m_layout->addWidget(new QLabel(QStringLiteral("toolbar")));
        m_layout->addWidget(new QLabel(QStringLiteral("scopes")));
        m_strip = new ActivityStrip(m_layout, 1, m_window.get());
        m_window->show();
    }

    void cleanup()
    {
        m_window.reset();
        m_log.reset();
    }

    void isNoPartOfTheLayoutWhileIdle()
    {
        QVERIFY(!m_strip->isVisible());
        QCOMPARE(m_layout->count(), 2);
        m_strip->showMessage(QStringLiteral("no"));
        QCOMPARE(m_layout->indexOf(m_strip), 1);
        QCOMPARE(m_layout->count(), 3);
        m_strip->dismiss();
        QVERIFY(!m_strip->isVisible());
        QCOMPARE(m_layout->count(), 2);
    }

    void showWorkIsBusyUntilThereIsProgress()
    {
        m_strip->showWork(QStringLiteral("Opening a.wav…"), QStringLiteral("Stop it"));
        QVERIFY(m_strip->isVisible() && bar()->isVisible());
        QCOMPARE(label()->text(), "Opening a.wav…");
        QCOMPARE(bar()->maximum(), 0);
        m_strip->showProgress(40);
        QCOMPARE(bar()->maximum(), 100);
        QCOMPARE(bar()->value(), 40);
        m_strip->showWork(QStringLiteral("Opening b.wav…"), QStringLiteral("Stop it"));
        QCOMPARE(bar()->maximum(), 0);
    }

    void cancelButtonAsksToCancelAndKeepsTheStrip()
    {
        QSignalSpy cancelled(m_strip, &ActivityStrip::cancelRequested);
        m_strip->showWork(QStringLiteral("Opening a.wav…"), QStringLiteral("Stop it"));
        QCOMPARE(button()->text(), "Cancel");
        QCOMPARE(button()->toolTip(), "Stop it");
        button()->click();
        QCOMPARE(cancelled.count(), 1);
        QVERIFY(m_strip->isVisible());
    }

    void showWorkThatCannotBeCancelledHasNoButton()
    {
        m_strip->showWork(QStringLiteral("Saving a.vela…"), {});
        QVERIFY(!button()->isVisible());
    }

    void aClickOnTheStripClosesAMessageOnly()
    {
        m_strip->showWork(QStringLiteral("Opening a.wav…"), QStringLiteral("Stop it"));
        QTest::mouseClick(m_strip, Qt::LeftButton);
        QVERIFY(m_strip->isVisible());
        m_strip->endWork();
        m_strip->showMessage(QStringLiteral("File does not exist"));
        QVERIFY(!bar()->isVisible());
        QTest::mouseClick(m_strip, Qt::LeftButton);
        QVERIFY(!m_strip->isVisible());
    }

    void theButtonOfAMessageClosesIt()
    {
        QSignalSpy cancelled(m_strip, &ActivityStrip::cancelRequested);
        m_strip->showMessage(QStringLiteral("File does not exist"));
        button()->click();
        QVERIFY(!m_strip->isVisible());
        QCOMPARE(cancelled.count(), 0);
    }

    void aMessageGoesAwayByItself()
    {
        auto* timer = m_strip->findChild<QTimer*>();
        QCOMPARE(timer->interval(), ActivityStrip::kMessageMs);
        timer->setInterval(50);
        m_strip->showMessage(QStringLiteral("File does not exist"));
        QTRY_VERIFY(!m_strip->isVisible());
    }

    void aMessageWaitsForTheEndOfTheWork()
    {
        m_strip->showWork(QStringLiteral("Opening a.wav…"), QStringLiteral("Stop it"));
        m_strip->showMessage(QStringLiteral("No audio output"));
        QVERIFY(bar()->isVisible());
        QCOMPARE(button()->text(), "Cancel");
        QCOMPARE(label()->text(), "Opening a.wav…");
        m_strip->endWork();
        QVERIFY(m_strip->isVisible() && !bar()->isVisible());
        QCOMPARE(label()->text(), "No audio output");
        m_strip->dismiss();
        m_strip->showWork(QStringLiteral("Opening b.wav…"), QStringLiteral("Stop it"));
        m_strip->endWork();
        QVERIFY(!m_strip->isVisible());
    }

    void messagesThatComeTogetherStandBelowEachOtherAndEachOnce()
    {
        m_strip->showMessage(QStringLiteral("No audio output"));
        m_strip->showMessage(QStringLiteral("No audio input"));
        QCOMPARE(label()->text(), "No audio output\nNo audio input");
        m_strip->showMessage(QStringLiteral("No audio output"));
        QCOMPARE(label()->text(), "No audio input\nNo audio output");
    }

    void messagesWaitTogetherForTheEndOfTheWork()
    {
        m_strip->showWork(QStringLiteral("Opening a.wav…"), QStringLiteral("Stop it"));
        m_strip->showMessage(QStringLiteral("No audio output"));
        m_strip->showWork(QStringLiteral("Opening b.wav…"), QStringLiteral("Stop it"));
        m_strip->showMessage(QStringLiteral("No audio input"));
        QCOMPARE(label()->text(), "Opening b.wav…");
        m_strip->endWork();
        QCOMPARE(label()->text(), "No audio output\nNo audio input");
    }

    void ofManyMessagesTheLastFourAreShown()
    {
        for (const char* message : {"one", "two", "three", "four", "five", "six"})
            m_strip->showMessage(QString::fromLatin1(message));
        QCOMPARE(label()->text(), "three\nfour\nfive\nsix");
    }

    void messagesThatHaveGoneDoNotComeBackWithTheNext()
    {
        m_strip->showMessage(QStringLiteral("No audio output"));
        button()->click();
        m_strip->showMessage(QStringLiteral("No audio input"));
        QCOMPARE(label()->text(), "No audio input");
        m_strip->showWork(QStringLiteral("Opening a.wav…"), QStringLiteral("Stop it"));
        m_strip->showMessage(QStringLiteral("File does not exist"));
        m_strip->endWork();
        QCOMPARE(label()->text(), "File does not exist");
    }

    void newWorkStopsTheTimeOfAnOldMessage()
    {
        m_strip->findChild<QTimer*>()->setInterval(50);
        m_strip->showMessage(QStringLiteral("File does not exist"));
        m_strip->showWork(QStringLiteral("Opening a.wav…"), QStringLiteral("Stop it"));
        QTest::qWait(200);
        QVERIFY(m_strip->isVisible());
    }

    void isAnAlertToAssistiveTechnology()
    {
        accessible_roles::install();
        m_strip->showMessage(QStringLiteral("File does not exist"));
        const auto* strip = QAccessible::queryAccessibleInterface(m_strip);
        QCOMPARE(strip->role(), QAccessible::AlertMessage);
        QCOMPARE(strip->text(QAccessible::Name), "File does not exist");
        m_strip->showWork(QStringLiteral("Opening a.wav…"), {});
        QCOMPARE(strip->text(QAccessible::Name), "Opening a.wav…");
    }

    void messagesArePlainText()
    {
        m_strip->showMessage(QStringLiteral("<b>a</b>.wav"));
        QCOMPARE(label()->textFormat(), Qt::PlainText);
        QVERIFY(!Qt::mightBeRichText(label()->toolTip()));
        m_strip->showWork(QStringLiteral("<b>a</b>.wav"), {});
        QCOMPARE(label()->toolTip(), "<qt>&lt;b&gt;a&lt;/b&gt;.wav</qt>");
    }

    void aLongWordDoesNotWidenTheStripAndIsInTheToolTip()
    {
        const QString word(200, u'x');
        m_strip->showMessage(QStringLiteral("no"));
        const int widthOfMessage = m_strip->minimumSizeHint().width();
        m_strip->showMessage(word);
        QCOMPARE(m_strip->minimumSizeHint().width(), widthOfMessage);
        QCOMPARE(label()->toolTip(), "Click to close this message\nno\n" + word);
        m_strip->showWork(QStringLiteral("no"), {});
        const int widthOfWork = m_strip->minimumSizeHint().width();
        m_strip->showWork(word, {});
        QCOMPARE(m_strip->minimumSizeHint().width(), widthOfWork);
        QCOMPARE(label()->toolTip(), word);
    }
};

QTEST_MAIN(TestActivityStrip)
#include "tst_activitystrip.moc"
