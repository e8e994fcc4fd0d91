#include "engine/velaengine.h"
#include "media/audio/warmup.h"
#include "media/devices/mediaplatform.h"
#include "project/projectfilejob.h"
#include "support/attempts.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "support/soundserver.h"

#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

/// Saving a long project while it is recorded into: the take does not notice, and
/// the file has it as it was.
class TestRecordWhileSaving : public QObject {
    Q_OBJECT

    static constexpr int kRateHz = 44100;
    static constexpr qsizetype kFrames = qsizetype{300} * kRateHz;
    static constexpr int kPatienceMs = 30000;

    SoundServer m_server;
    std::unique_ptr<LogCatcher> m_log;

    struct Outcome {
        bool isSaved = false;
        bool grewInPlace = false; ///< while it was saved
        bool isTainted = false;
        QList<float> heard; ///< of what was spoken
        bool isBeginningLoaded = false;
    };

    Outcome recordAndSave(const QList<float>& spoken)
    {
        Outcome outcome;
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("long.vela"));
        const auto project = VelaProject::create(kRateHz);
        // Gives the save something to do meanwhile.
        project->addTrack({}, 1)->samples = {signal_makers::noise(kFrames, 1, 0.5F)};
        VelaEngine engine;
        engine.setProject(project);
        engine.startRecording();
        const TrackHandle take = engine.recordTrack();
        if (!take || !QTest::qWaitFor([&] { return take->length() > 0; }, kPatienceMs))
            return outcome;
        const QList<QList<float>>& samples = take->samples;
        const auto waitFor = [&samples](float sample) {
            return QTest::qWaitFor([&] { return samples.constFirst().contains(sample); },
                                   kPatienceMs);
        };
        const SoundServer::Feeder feeder(m_server, spoken, 1);
        (void)waitFor(spoken.constFirst());

        const qint64 before = take->length();
        const float* const memory = samples.constFirst().constData();
        ProjectFileJob job;
        outcome.isSaved = job.save(path, project);
        outcome.grewInPlace = samples.constFirst().constData() == memory && take->length() > before;
        outcome.isTainted = project->tainted;

        (void)waitFor(spoken.constLast());
        engine.stopRecording();
        const QList<float>& whole = samples.constFirst();
        const qsizetype start = whole.indexOf(spoken.constFirst());
        outcome.heard = whole.mid(std::max(qsizetype{0}, start), spoken.size());

        const ProjectFile::LoadResult loaded = ProjectFile::load(path);
        if (loaded.outcome != ProjectFile::LoadResult::Outcome::Loaded)
            return outcome;
        const QList<float> saved = loaded.loaded->tracks.constLast()->samples.constFirst();
        outcome.isBeginningLoaded = saved.size() >= before && saved == whole.mid(0, saved.size());
        return outcome;
    }

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        QVERIFY(isAudioWarm());
    }

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void takeGrowsWhereItIsAndTheFileHasItsBeginning()
    {
        const QList<float> spoken = signal_makers::counter(qsizetype{8} * kRateHz);
        Outcome outcome;
        int overflows = 0;
        (void)inThreeAttempts([&] {
            outcome = recordAndSave(spoken);
            overflows =
                m_log->takeContaining(QtWarningMsg, "AudioInputNode: capture ring OVERFLOW");
            return overflows == 0 && outcome.heard == spoken;
        });
        QCOMPARE(overflows, 0);
        QVERIFY(outcome.isSaved);
        QVERIFY(outcome.grewInPlace);
        QVERIFY(outcome.isTainted);
        QCOMPARE(outcome.heard, spoken);
        QVERIFY(outcome.isBeginningLoaded);
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QGuiApplication application(argc, argv);
    TestRecordWhileSaving test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_recordwhilesaving.moc"
