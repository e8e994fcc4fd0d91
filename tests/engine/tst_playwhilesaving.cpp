#include "engine/velaengine.h"
#include "media/audio/warmup.h"
#include "media/devices/mediaplatform.h"
#include "project/projectfilejob.h"
#include "support/attempts.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "support/soundserver.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>

/// Saving a long project while it plays: the loudspeaker does not notice.
class TestPlayWhileSaving : public QObject {
    Q_OBJECT

    static constexpr int kRateHz = 44100;
    static constexpr qsizetype kFrames = qsizetype{600} * kRateHz;

    SoundServer m_server;

    /// Saves the project while it plays; the lines that tell of underruns.
    static QStringList underrunsOfASave(const ProjectHandle& project)
    {
        const LogCatcher log;
        const auto saveWhilePlaying = [&project] {
            const QTemporaryDir folder;
            const QString path = folder.filePath(QStringLiteral("long.vela"));
            project->tainted = true;
            VelaEngine engine;
            engine.setProject(project);
            engine.startPlayback();
            QTRY_VERIFY_WITH_TIMEOUT(project->play.position > kRateHz, 20000);
            const qint64 before = project->play.position;

            ProjectFileJob job;
            QVERIFY(job.save(path, project));

            QVERIFY(QFileInfo(path).size() > kFrames);
            QVERIFY(!project->tainted);
            QVERIFY(engine.isPlaying());
            QVERIFY(project->play.position > before);
            QTest::qWait(500);
            engine.stopPlayback();
        };
        saveWhilePlaying();
        return log.texts(QtInfoMsg).filter(QStringLiteral("underrun"));
    }

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        QVERIFY(isAudioWarm());
    }

    void aSaveOfTenMinutesCausesNoUnderrun()
    {
        const auto project = VelaProject::create(kRateHz);
        const TrackHandle track = project->addTrack({}, 2);
        track->samples = {signal_makers::noise(kFrames, 1, 0.5F),
                          signal_makers::noise(kFrames, 2, 0.5F)};
        const QStringList underruns =
            bestOfThreeAttempts(QStringList(), [&] { return underrunsOfASave(project); });
        QCOMPARE(underruns, QStringList());
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QGuiApplication application(argc, argv);
    TestPlayWhileSaving test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_playwhilesaving.moc"
