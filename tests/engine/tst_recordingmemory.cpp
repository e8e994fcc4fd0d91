#include "engine/velaengine.h"
#include "media/devices/mediaplatform.h"
#include "project/addressspacelimit.h"
#include "support/fakenodes.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>

/// Recording when memory runs out.
class TestRecordingMemory : public QObject {
    Q_OBJECT

    static constexpr int kPatienceMs = 20000;
    static constexpr qint64 kSamples = 1000000;
    static constexpr qint64 kMaxTakeFrames = 10000;
    /// Each track takes room ahead, and these have none left soon.
    static constexpr qint64 kMemoryBytes = qint64{400} << 20;

    SoundServer m_server;

private slots:

    void initTestCase() { QVERIFY(m_server.start()); }

    void theRecordingEndsAndKeepsWhatWasCaptured()
    {
        LogCatcher log;
        const auto sound = [](qint64 i) { return static_cast<float>(i); };
        const auto input = QSharedPointer<FakeInputNode>::create(sound, kSamples);
        VelaEngine engine(
            {[] { return QSharedPointer<FakeOutputNode>::create(); }, [input] { return input; }},
            nullptr, kMaxTakeFrames);
        const auto project = VelaProject::create(48000);
        engine.setProject(project);
        QSignalSpy cut(&engine, &VelaEngine::recordingCutShort);
        QVERIFY(engine.ensureAudio());
        {
            const AddressSpaceLimit limit(kMemoryBytes);
            QVERIFY(limit.isSet());
            engine.startRecording();
            QVERIFY(engine.isRecording());
            QTRY_VERIFY_WITH_TIMEOUT(!engine.isRecording(), kPatienceMs);
        }
        QCOMPARE(cut.size(), 1);
        QVERIFY(!project->recording);
        QVERIFY(engine.recordTrack().isNull());
        QCOMPARE(project->taintedBy, "record");
        QCOMPARE(log.take(QtWarningMsg, "VelaEngine: no memory for the take"), 1);
        log.tolerate(QtWarningMsg, "OVERFLOW");

        qint64 kept = 0;
        for (const TrackHandle& track : project->tracks) {
            for (const float sample : track->samples.constFirst())
                QVERIFY(sample == sound(kept++));
        }
        QVERIFY(kept >= kMaxTakeFrames);
        QVERIFY(kept < kSamples);
        engine.startRecording();
        QVERIFY(engine.isRecording());
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QGuiApplication application(argc, argv);
    TestRecordingMemory test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_recordingmemory.moc"
