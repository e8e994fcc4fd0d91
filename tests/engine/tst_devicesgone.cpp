#include "engine/velaengine.h"
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

/// The engine on a machine whose devices are pulled out between two commands.
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

    [[nodiscard]] static bool waitUntilGone(const QString& sink)
    {
        return QTest::qWaitFor(
            [&sink] { return !DeviceManager::instance().isOutputPresent(sink.toUtf8()); },
            kPatienceMs);
    }

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

    void anotherLoudspeakerTakesThePlaceOfOneThatHasGone()
    {
        const QString speaker = QStringLiteral("speaker");
        QCOMPARE(DeviceManager::instance().defaultAudioOutput().id(), speaker.toUtf8());
        const QList<float> sound = signal_makers::counter(20000);
        m_project->addTrack({}, 1)->samples = {sound};
        QVERIFY(playToTheEnd());

        QVERIFY(m_server.unloadSink(speaker));
        QVERIFY(waitUntilGone(speaker));
        QList<float> expected;
        for (const float sample : sound)
            expected << sample << sample;
        const auto heard = [this] {
            const SoundServer::Capture capture(m_server, QStringLiteral("headset"));
            (void)playToTheEnd();
            return capture.sound();
        };
        QVERIFY(bestOfThreeAttempts(expected, heard) == expected);
        QVERIFY(m_server.loadSink(speaker));
    }

    void anotherMicrophoneTakesThePlaceOfOneThatHasGone()
    {
        // These give more than a second at once when they begin.
        m_log->tolerate(QtWarningMsg, QStringLiteral("capture ring OVERFLOW"));
        QVERIFY(m_engine->ensureAudio());
        auto& devices = DeviceManager::instance();
        const QByteArray chosen = devices.defaultAudioInput().id();
        QVERIFY(m_server.unloadSource(QString::fromUtf8(chosen)));
        QTRY_VERIFY_WITH_TIMEOUT(!devices.isInputPresent(chosen), kPatienceMs);
        m_engine->startRecording();
        const TrackHandle take = m_engine->recordTrack();
        QVERIFY(take);
        QTRY_VERIFY_WITH_TIMEOUT(take->length() > 0, kPatienceMs);
        m_engine->stopRecording();
    }

    void devicesThatAreThereStay()
    {
        QVERIFY(m_engine->ensureAudio());
        QSignalSpy selected(m_engine.get(), &VelaEngine::outputFormatChanged);
        auto& devices = DeviceManager::instance();
        const qsizetype before = devices.audioOutputs().size();
        QVERIFY(m_server.loadSink(QStringLiteral("third")));
        QTRY_VERIFY_WITH_TIMEOUT(devices.audioOutputs().size() > before, kPatienceMs);
        QVERIFY(m_engine->ensureAudio());
        QCOMPARE(selected.size(), 0);
        QVERIFY(m_server.unloadSink(QStringLiteral("third")));
    }

    // It waits for it then.
    void theLastLoudspeakerIsKeptWhenItGoes()
    {
        QVERIFY(m_engine->ensureAudio());
        QSignalSpy selected(m_engine.get(), &VelaEngine::outputFormatChanged);
        for (const char* name : {"headset", "speaker"}) {
            QVERIFY(m_server.unloadSink(QString::fromLatin1(name)));
            QVERIFY(waitUntilGone(QString::fromLatin1(name)));
        }
        // The list has them for up to a second yet.
        QVERIFY(m_engine->ensureAudio());
        auto& devices = DeviceManager::instance();
        QTRY_VERIFY_WITH_TIMEOUT(devices.audioOutputs().isEmpty(), kPatienceMs);
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
