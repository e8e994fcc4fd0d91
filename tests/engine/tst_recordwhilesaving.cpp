#include "engine/velaengine.h"
#include "media/devices/mediaplatform.h"
#include "project/projectfilejob.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "support/soundserver.h"

#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

/// Saving a long project while it is recorded into: the take does not notice, and
/// the file has it as it was.
class TestRecordWhileSaving : public QObject {
    Q_OBJECT

    static constexpr int kRateHz = 44100;
    static constexpr qsizetype kFrames = qsizetype{300} * kRateHz;
    static constexpr int kPatienceMs = 30000;

    SoundServer m_server;

private slots:

    void initTestCase() { QVERIFY(m_server.start()); }

    void takeGrowsWhereItIsAndTheFileHasItsBeginning()
    {
        const LogCatcher log;
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("long.vela"));
        const auto project = VelaProject::create(kRateHz);
        // Gives the save something to do meanwhile.
        project->addTrack({}, 1)->samples = {signal_makers::noise(kFrames, 1, 0.5F)};
        VelaEngine engine;
        engine.setProject(project);
        engine.startRecording();
        const TrackHandle take = engine.recordTrack();
        const QList<QList<float>>& samples = take->samples;
        QTRY_VERIFY_WITH_TIMEOUT(take->length() > 0, kPatienceMs);
        const QList<float> spoken = signal_makers::counter(qsizetype{8} * kRateHz);
        const SoundServer::Feeder feeder(m_server, spoken, 1);
        QTRY_VERIFY_WITH_TIMEOUT(samples.constFirst().contains(spoken.constFirst()), kPatienceMs);

        const qint64 before = take->length();
        const float* const memory = samples.constFirst().constData();
        ProjectFileJob job;
        QVERIFY(job.save(path, project));
        QCOMPARE(samples.constFirst().constData(), memory);
        QVERIFY(take->length() > before);
        QVERIFY(project->tainted);

        QTRY_VERIFY_WITH_TIMEOUT(samples.constFirst().contains(spoken.constLast()), kPatienceMs);
        engine.stopRecording();
        const QList<float>& whole = samples.constFirst();
        const qsizetype start = whole.indexOf(spoken.constFirst());
        QCOMPARE(whole.mid(start, spoken.size()), spoken);

        const ProjectFile::LoadResult loaded = ProjectFile::load(path);
        QCOMPARE(loaded.outcome, ProjectFile::LoadResult::Outcome::Loaded);
        const QList<float> saved = loaded.loaded->tracks.constLast()->samples.constFirst();
        QVERIFY(saved.size() >= before);
        QCOMPARE(saved, whole.mid(0, saved.size()));
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
