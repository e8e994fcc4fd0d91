#include "app/iconbutton.h"
#include "app/vela.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/paintcounter.h"
#include "support/soundserver.h"
#include "widgets/waveformview.h"

#include <QApplication>
#include <QLabel>
#include <QTest>

#include <memory>
#include <registerresources.h>

namespace {

/// What has not painted for so long has nothing left to paint.
constexpr int kSettledMs = 200;

} // namespace

/// The window on a machine without any audio device: it says what is missing.
class TestVelaWithoutDevices : public QObject {
    Q_OBJECT

private:
    SoundServer m_server{{.withSpeaker = false, .withMicrophone = false}};
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<Vela> m_window;

    [[nodiscard]] IconButton* button(const char* name) const
    {
        return m_window->findChild<IconButton*>(QString::fromLatin1(name));
    }

    [[nodiscard]] QString message() const
    {
        const auto* label = m_window->findChild<QLabel*>(QStringLiteral("labelActivity"));
        return label->isVisible() ? label->text() : QString();
    }

private slots:

    void initTestCase()
    {
        registerResources();
        QVERIFY(m_server.start());
    }

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_log->tolerate(QtWarningMsg, QStringLiteral("This plugin does not support"));
        m_log->tolerate(QtWarningMsg, QStringLiteral("no audio output device supports"));
        m_window = std::make_unique<Vela>();
        m_window->show();
    }

    void cleanup()
    {
        m_window.reset();
        m_log.reset();
    }

    void playComesUpAgainAndSaysThatThereIsNoOutput()
    {
        m_window->project()->addTrack({}, 1)->samples[0].resize(5000);
        button("pushButtonPlayStop")->click();
        QVERIFY(!button("pushButtonPlayStop")->isChecked());
        QVERIFY(!m_window->project()->playing);
        QCOMPARE(message(),
                 "No audio output was found. Connect or switch one on, then press Play again.");
    }

    void aCursorThatARefusedPlayHasMovedIsSeen()
    {
        m_window->project()->addTrack({}, 1)->samples[0].resize(5000);
        m_window->updateTrackViews();
        auto* view = m_window->findChild<WaveformView*>();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        // The first refusal makes room for its message, and the views move.
        const PaintCounter paints(*view);
        button("pushButtonPlayStop")->click();
        QVERIFY(!message().isEmpty());
        int settled = 0;
        while (QTest::qWaitFor([&] { return paints.count() != settled; }, kSettledMs))
            settled = paints.count();
        m_window->project()->selectionStart = 4000;
        m_window->project()->selectionEnd = 1000;
        button("pushButtonPlayStop")->click();
        QCOMPARE(m_window->project()->cursor.position, 1000);
        QTRY_VERIFY(paints.count() > settled);
    }

    void recordComesUpAgainAndSaysThatThereIsNoInput()
    {
        m_window->project()->cursor.position = 10;
        button("pushButtonRecord")->click();
        QVERIFY(!button("pushButtonRecord")->isChecked());
        QVERIFY(m_window->project()->tracks.isEmpty());
        QCOMPARE(m_window->project()->cursor.position, 10);
        QCOMPARE(message(),
                 "No audio input was found. Connect a microphone, then press Record again.");
        QCOMPARE(m_log->takeContaining(QtWarningMsg, QStringLiteral("cannot record")), 1);
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    const QApplication application(argc, argv);
    TestVelaWithoutDevices suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_velawithoutdevices.moc"
