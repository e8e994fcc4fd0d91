#include "engine/mixer.h"
#include "engine/velaengine.h"
#include "media/devices/mediaplatform.h"
#include "support/fakenodes.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"
#include "support/stopwatch.h"

#include <QGuiApplication>
#include <QSemaphore>
#include <QTest>

#include <chrono>
#include <thread>

using media::audio::AudioNode;

namespace {

constexpr std::chrono::milliseconds kServerSleeps{300};
/// Well below what the two waits would take one after the other.
constexpr std::chrono::milliseconds kMost = AudioNode::kCallBound + kServerSleeps / 2;

/// A loudspeaker whose thread can be sent away until it is let go.
class AbsentOutputNode : public FakeOutputNode {
public:
    using FakeOutputNode::FakeOutputNode;

    void leaveUntil(QSemaphore& letGo)
    {
        post([&letGo](media::audio::NodeWorker&) { letGo.acquire(); });
    }
};

} // namespace

/// The first Play of a process, at a sound server that is slow to answer.
class TestFirstPlay : public QObject {
    Q_OBJECT

    SoundServer m_server;

private slots:

    void initTestCase() { QVERIFY(m_server.start()); }

    void theFirstLookAndTheDeviceHoldTheWindowUpOnceTogether()
    {
        LogCatcher log;
        QSemaphore letGo;
        VelaEngine engine({[&letGo] {
                               auto node = QSharedPointer<AbsentOutputNode>::create();
                               node->leaveUntil(letGo);
                               return node;
                           },
                           [] { return QSharedPointer<FakeInputNode>::create(); }});
        const auto project = VelaProject::create();
        project->addTrack({}, 1)->samples[0].resize(44100);
        engine.setProject(project);

        m_server.stopProcess();
        std::thread waker([this] {
            std::this_thread::sleep_for(kServerSleeps);
            m_server.continueProcess();
        });
        Stopwatch watch;
        engine.startPlayback();
        const auto elapsed = watch.elapsedMs();
        letGo.release();
        waker.join();
        QVERIFY(engine.isPlaying());
        QVERIFY2(elapsed < kMost.count(), qPrintable(QString::number(elapsed)));
        QCOMPARE(log.takeContaining(QtWarningMsg, "AudioOutputNode::configure: the device thread "
                                                  "has not answered for "),
                 1);
    }

    void whatWasMixedForADeviceThatHangsAtTheStartIsMixedAgain()
    {
        LogCatcher log;
        // The start has used up the time that the end may wait in.
        log.tolerate(QtWarningMsg, "::stop: the device thread has not answered for ");
        QSemaphore letGo;
        const auto output = QSharedPointer<AbsentOutputNode>::create(impatientWatchdog());
        VelaEngine engine(
            {[&output] { return output; }, [] { return QSharedPointer<FakeInputNode>::create(); }});
        const auto project = VelaProject::create();
        project->addTrack({}, 1)->samples[0].resize(60 * mixer::kBlockFrames);
        project->cursor.position = 5000;
        engine.setProject(project);
        QVERIFY(engine.ensureAudio());

        output->leaveUntil(letGo);
        engine.startPlayback();
        letGo.release();
        QCOMPARE(log.takeContaining(QtWarningMsg, "AudioOutputNode::start: the device thread "
                                                  "has not answered for "),
                 1);
        QVERIFY(engine.isPlaying());
        QCOMPARE(output->queuedSamples(), 0U);
        QCOMPARE(project->play.position, 5000);
        QTRY_VERIFY(output->queuedSamples() > 0);
        QCOMPARE(project->play.position, 5000 + static_cast<qint64>(output->queuedSamples()) / 2);
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QGuiApplication application(argc, argv);
    TestFirstPlay test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_firstplay.moc"
