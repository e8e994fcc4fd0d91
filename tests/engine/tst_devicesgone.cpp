#include "engine/velaengine.h"
#include "media/audio/audioformats.h"
#include "media/audio/warmup.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/attempts.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "support/soundserver.h"

#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using media::devices::DeviceManager;

/// The engine on a machine whose devices are pulled out between two commands: what was
/// chosen is waited for, whatever else there is.
class TestDevicesGone : public QObject {
    Q_OBJECT

    static constexpr int kPatienceMs = 20000;

    SoundServer m_server{{.withMicrophone = false,
                          .extraSinks = {QStringLiteral("headset")},
                          .silentSources = {QStringLiteral("lapel"), QStringLiteral("desk")}}};
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<VelaEngine> m_engine;
    ProjectHandle m_project;

    [[nodiscard]] bool playToTheEnd() const
    {
        QSignalSpy stopped(m_engine.get(), &VelaEngine::playbackStopped);
        m_engine->startPlayback();
        return stopped.wait(kPatienceMs);
    }

    template <typename Condition>
    [[nodiscard]] static bool waitUntil(const Condition& isMet)
    {
        return QTest::qWaitFor(isMet, kPatienceMs);
    }

    [[nodiscard]] static DeviceManager& devices() { return DeviceManager::instance(); }

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        QVERIFY(isAudioWarm());
    }

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_project = VelaProject::create();
        m_engine = std::make_unique<VelaEngine>();
        m_engine->setProject(m_project);
    }

    void cleanup()
    {
        m_engine.reset();
        m_project.reset();
        m_log.reset();
    }

    void aLoudspeakerThatHasGoneIsNotReplacedAndIsHeardWhenItIsBack()
    {
        const QString speaker = QStringLiteral("speaker");
        const QAudioDevice chosen = DeviceManager::instance().defaultAudioOutput();
        QCOMPARE(chosen.id(), speaker.toUtf8());
        const QList<float> sound = signal_makers::counter(20000);
        m_project->addTrack({}, 1)->samples = {sound};
        QVERIFY(playToTheEnd());

        QSignalSpy selected(m_engine.get(), &VelaEngine::outputFormatChanged);
        QVERIFY(m_server.unloadSink(speaker));
        QVERIFY(waitUntil([&] { return !devices().isOutputPresent(chosen.id()); }));
        m_engine->startPlayback();
        QVERIFY(m_engine->isPlaying());
        QCOMPARE(m_log->take(QtWarningMsg, goneLine("AudioOutputNode", chosen)), 1);
        m_engine->stopPlayback();
        QVERIFY(m_server.loadSink(speaker));
        QVERIFY(waitUntil([&] { return devices().isOutputPresent(chosen.id()); }));
        QList<float> expected;
        for (const float sample : sound)
            expected << sample << sample;
        const auto heard = [&] {
            const SoundServer::Capture capture(m_server, speaker);
            (void)playToTheEnd();
            return capture.sound();
        };
        QVERIFY(bestOfThreeAttempts(expected, heard) == expected);
        QCOMPARE(selected.size(), 0);
    }

    void aMicrophoneThatHasGoneIsNotReplaced()
    {
        QVERIFY(m_engine->ensureAudio());
        const QAudioDevice chosen = devices().defaultAudioInput();
        QVERIFY(m_server.unloadSource(QString::fromUtf8(chosen.id())));
        QVERIFY(waitUntil([&] { return !devices().isInputPresent(chosen.id()); }));
        QVERIFY(!devices().audioInputs().isEmpty());
        m_engine->startRecording();
        QVERIFY(m_engine->isRecording());
        QCOMPARE(m_log->take(QtWarningMsg, goneLine("AudioInputNode", chosen)), 1);
        m_engine->stopRecording();
    }

    void aDeviceThatComesChangesNothing()
    {
        QVERIFY(m_engine->ensureAudio());
        QSignalSpy selected(m_engine.get(), &VelaEngine::outputFormatChanged);
        const qsizetype before = devices().audioOutputs().size();
        QVERIFY(m_server.loadSink(QStringLiteral("third")));
        QVERIFY(waitUntil([&] { return devices().audioOutputs().size() > before; }));
        QVERIFY(m_engine->ensureAudio());
        QCOMPARE(selected.size(), 0);
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QGuiApplication application(argc, argv);
    TestDevicesGone test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_devicesgone.moc"
