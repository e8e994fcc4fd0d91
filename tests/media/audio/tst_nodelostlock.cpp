#include "audioformats.h"
#include "media/audio/audiooutputnode.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "media/devices/serverloop.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QAudioDevice>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTest>

#include <algorithm>
#include <atomic>

using media::audio::AudioOutputNode;
using media::devices::DeviceManager;
using media::devices::lostWrites;

namespace {

constexpr int kPatienceMs = 20000;

/// A race that need not come out as it should: attempts are begun for so long.
constexpr int kAttemptsMs = 45000;

/// Longer than a player may take, so that the stream most likely dies meanwhile.
constexpr unsigned long kSlowMs = 15;

} // namespace

/// A loudspeaker that goes just as it is fed, which would make the toolkit lose a lock,
/// say so, and hang the process at its very end: the time that the suite may take
/// would be over.
class TestNodeLostLock : public QObject {
    Q_OBJECT

private slots:

    void initTestCase() { QVERIFY(m_server.start()); }

    void streamThatDiesJustAsItIsFedHoldsNothingUp()
    {
        LogCatcher log;
        log.tolerate(QtWarningMsg, "Entity killed");
        log.tolerate(QtWarningMsg, "is no longer present on the host");
        const int before = lostWrites();
        const QDeadlineTimer deadline(kAttemptsMs);
        for (bool first = true; lostWrites() == before && !deadline.hasExpired(); first = false) {
            QVERIFY(first || m_server.loadSink("speaker"));
            QTRY_VERIFY_WITH_TIMEOUT(!speaker().isNull(), kPatienceMs);
            QVERIFY(playUntilItGoes());
        }
        QVERIFY2(lostWrites() > before, "no stream died just as it was fed");
        QVERIFY(log.texts(QtWarningMsg).filter("pa_stream_begin_write error").isEmpty());
    }

private:
    /// As the platform has it now, past what is remembered.
    static QAudioDevice speaker() { return DeviceManager::instance().defaultAudioOutput(); }

    [[nodiscard]] bool playUntilItGoes()
    {
        std::atomic<int> pulls = 0;
        AudioOutputNode node;
        node.configure(speaker(), stereo(), 8192);
        node.setPullCallback([&pulls](float* samples, qint64 frames) {
            ++pulls;
            std::fill_n(samples, frames, 0.125F);
            QThread::msleep(kSlowMs);
            return frames;
        });
        node.setPullMode(true);
        node.start();
        const bool playing = QTest::qWaitFor([&] { return pulls > 10; }, kPatienceMs);
        const bool gone = m_server.unloadSink("speaker");
        QTest::qWait(300); // the stream dies; the watchdog is slower
        node.stop();
        return playing && gone && QTest::qWaitFor([] { return speaker().isNull(); }, kPatienceMs);
    }

    SoundServer m_server{SoundServer::Options{.withMicrophone = false}};
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestNodeLostLock test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_nodelostlock.moc"
