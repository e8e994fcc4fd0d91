#include "project/velaproject.h"
#include "support/logcatcher.h"

#include <QTest>

#include <memory>

class TestVelaProject : public QObject {
    Q_OBJECT

private:
    static QStringList trackNames(const VelaProject& project)
    {
        QStringList names;
        for (const TrackHandle& track : project.tracks)
            names.append(track->name);
        return names;
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void createGivesTheDefaults()
    {
        const auto project = VelaProject::create();
        QCOMPARE(project->sampleRate, 44100);
        QCOMPARE(VelaProject::create(8000)->sampleRate, 8000);
        QVERIFY(project->tracks.isEmpty());
        QCOMPARE(project->length(), 0);
        QVERIFY(!project->playing && !project->looping && !project->recording);
        QCOMPARE(project->cursor.name, "cursor");
        QCOMPARE(project->cursor.position, 0);
        QCOMPARE(project->play.name, "play");
        QCOMPARE(project->play.position, 0);
        QCOMPARE(project->selectionStart, -1);
        QCOMPARE(project->selectionEnd, -1);
        QVERIFY(!project->hasSelection());
        QCOMPARE(project->loopStart, 0);
        QCOMPARE(project->loopEnd, 0);
        QCOMPARE(project->viewStart, 0);
        QCOMPARE(project->viewEnd, 0);
        QCOMPARE(project->viewScale, 256.0);
        QVERIFY(!project->tainted);
        QVERIFY(project->taintedBy.isEmpty());
        QCOMPARE(project->trackCounter, 0);
    }

    void addTrackNamesByTheCounterAndNeverReusesANumber()
    {
        const auto project = VelaProject::create();
        for (int i = 0; i < 3; ++i)
            project->addTrack({}, 2);
        QCOMPARE(trackNames(*project), (QStringList{"Track 1", "Track 2", "Track 3"}));
        project->removeTrack(1);
        project->addTrack({}, 2);
        QCOMPARE(trackNames(*project), (QStringList{"Track 1", "Track 3", "Track 4"}));
    }

    void addTrackWithANameStillCounts()
    {
        const auto project = VelaProject::create();
        const TrackHandle take = project->addTrack(QStringLiteral("Recording"), 1);
        QCOMPARE(take->name, "Recording");
        QCOMPARE(project->addTrack({}, 2)->name, "Track 2");
    }

    void addTrackMakesEmptyChannelsAtTheProjectRate()
    {
        const auto project = VelaProject::create(48000);
        const TrackHandle track = project->addTrack({}, 2);
        QCOMPARE(track->channels, 2);
        QCOMPARE(track->samples.size(), 2);
        QVERIFY(track->samples[0].isEmpty() && track->samples[1].isEmpty());
        QCOMPARE(track->sampleRate, 48000);
        QVERIFY(!track->muted && !track->solo);
        QVERIFY(project->tainted);
        QCOMPARE(project->taintedBy, "addTrack");
    }

    void insertTrackAppendsCountsAndTaints()
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 1);
        const auto imported = TrackHandle::create(QStringLiteral("song"), 2, 48000);
        project->insertTrack(imported);
        QCOMPARE(project->tracks.last(), imported);
        QCOMPARE(project->trackCounter, 2);
        QCOMPARE(project->taintedBy, "insertTrack");
    }

    void theHighestTrackNumberStays()
    {
        const auto project = VelaProject::create();
        project->trackCounter = 0x7FFFFFFE;
        QCOMPARE(project->addTrack({}, 1)->name, "Track 2147483647");
        QCOMPARE(project->addTrack({}, 1)->name, "Track 2147483647");
        project->insertTrack(TrackHandle::create());
        QCOMPARE(project->trackCounter, 0x7FFFFFFF);
    }

    void addingAndRemovingTaintACleanProject()
    {
        const auto project = VelaProject::create();
        project->insertTrack(TrackHandle::create());
        QVERIFY(project->tainted);
        project->untaint(QStringLiteral("saveVelaProject"));
        project->addTrack({}, 1);
        QVERIFY(project->tainted);
        project->untaint(QStringLiteral("saveVelaProject"));
        QCOMPARE(project->taints, 2U);
        project->removeTrack(0);
        QVERIFY(project->tainted);
        QCOMPARE(project->taintedBy, "removeTrack");
        project->taint(QStringLiteral("removeTrack"));
        QCOMPARE(project->taints, 4U);
    }

    void insertTrackIgnoresNull()
    {
        const auto project = VelaProject::create();
        project->insertTrack({});
        QVERIFY(project->tracks.isEmpty());
        QCOMPARE(project->trackCounter, 0);
        QVERIFY(!project->tainted);
    }

    void removeTrackBelowZeroMeansTheLast()
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 2);
        const TrackHandle kept = project->addTrack({}, 2);
        project->removeTrack(-1);
        QCOMPARE(trackNames(*project), QStringList{"Track 1"});
        QCOMPARE(project->taintedBy, "removeTrack");
        QCOMPARE(kept->name, "Track 2");
    }

    void removeTrackWithoutSuchATrackDoesNotTaint()
    {
        const auto project = VelaProject::create();
        project->removeTrack(-1);
        QVERIFY(!project->tainted);
        project->addTrack({}, 2);
        project->addTrack({}, 2);
        project->untaint(QStringLiteral("saveVelaProject"));
        project->removeTrack(5);
        project->removeTrack(2);
        QCOMPARE(project->tracks.size(), 2);
        QVERIFY(!project->tainted);
        QCOMPARE(project->taintedBy, "addTrack");
    }

    void clearTracksKeepsCounterAndTaint()
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 2);
        project->untaint(QStringLiteral("loadVelaProject"));
        project->clearTracks();
        QVERIFY(project->tracks.isEmpty());
        QCOMPARE(project->trackCounter, 1);
        QVERIFY(!project->tainted);
    }

    void lengthIsTheLongestFirstChannel()
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 1)->samples[0].resize(10);
        project->addTrack({}, 0);
        const TrackHandle last = project->addTrack({}, 2);
        last->samples[0].resize(7);
        last->samples[1].resize(20);
        QCOMPARE(project->length(), 10);
    }

    void hasSelectionNeedsTwoDifferentEnds()
    {
        const auto project = VelaProject::create();
        project->selectionStart = 5;
        QVERIFY(!project->hasSelection());
        project->selectionEnd = 5;
        QVERIFY(!project->hasSelection());
        project->selectionEnd = 0;
        QVERIFY(project->hasSelection());
    }

    void untaintLogsTheReasonAndKeepsTaintedBy()
    {
        const auto project = VelaProject::create();
        project->taint(QStringLiteral("record"));
        project->untaint(QStringLiteral("saveVelaProject"));
        QVERIFY(!project->tainted);
        QCOMPARE(project->taintedBy, "record");
        QCOMPARE(m_log->texts(QtDebugMsg),
                 QStringList{"VelaProject un-tainted by \"saveVelaProject\""});
    }
};

QTEST_APPLESS_MAIN(TestVelaProject)
#include "tst_velaproject.moc"
