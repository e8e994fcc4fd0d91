#include "project/projectfilejob.h"
#include "project/projectsamples.h"
#include "support/files.h"
#include "support/foldersuite.h"
#include "support/signalmakers.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>

using namespace project_samples;

namespace {

constexpr int kAttempts = 100;

constexpr qint64 kLongFileBytes = qint64{256} * 1024 * 1024;

// By this process so far; −1: unknown.
qint64 bytesRead()
{
    const QByteArray report = readFile(QStringLiteral("/proc/self/io"));
    return report.startsWith("rchar: ") ? report.mid(7, report.indexOf('\n') - 7).toLongLong() : -1;
}

} // namespace

class TestProjectFileJob : public FolderSuite {
    Q_OBJECT

private:
    [[nodiscard]] QString path() const { return in(QStringLiteral("song.vela")); }

    // Runs `action` in the local event loop of the next save or load.
    template <typename Action>
    void whileBusy(Action action)
    {
        QMetaObject::invokeMethod(this, action, Qt::QueuedConnection);
    }

    // Without that loop nothing can be told to quit.
    template <typename Action>
    void inTheApplicationsLoop(Action action)
    {
        QTimer::singleShot(0, this, [action] {
            action();
            QCoreApplication::quit();
        });
        QCoreApplication::exec();
    }

private slots:

    void saveWritesLogsAndUntaints()
    {
        const auto project = awkward();
        QVERIFY(project->tainted);
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        QVERIFY(job.save(path(), project));
        QVERIFY(!project->tainted);
        QVERIFY(errors.isEmpty());
        QCOMPARE(difference(*ProjectFile::load(path()).loaded, *project), QString());
        QCOMPARE(log().texts(QtDebugMsg),
                 (QStringList{"Saving \"" + path() + '"',
                              "VelaProject un-tainted by \"saveVelaProject\""}));
    }

    void loadReadsLogsAndUntaints()
    {
        QCOMPARE(ProjectFile::save(awkward(), path()).outcome,
                 ProjectFile::SaveResult::Outcome::Saved);
        const auto project = VelaProject::create();
        project->addTrack({}, 2);
        ProjectFileJob job;
        QVERIFY(job.load(path(), project));
        QVERIFY(!project->tainted);
        QCOMPARE(difference(*awkward(), *project), QString());
        QCOMPARE(log().texts(QtDebugMsg),
                 (QStringList{"Loading \"" + path() + '"',
                              "VelaProject un-tainted by \"loadVelaProject\""}));
    }

    void withoutAProjectBothWarnAndStop()
    {
        ProjectFileJob job;
        QVERIFY(!job.save(path(), {}));
        QCOMPARE(log().take(QtWarningMsg, "No project to save, skipping..."), 1);
        QVERIFY(!job.load(path(), {}));
        QCOMPARE(log().take(QtWarningMsg, "No project to load, skipping..."), 1);
        QVERIFY(!QFile::exists(path()));
    }

    void aSaveThatCannotOpenWarnsSaysWhyAndStaysTainted()
    {
        const auto project = awkward();
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        QVERIFY(!job.save(in("no/song.vela"), project));
        QVERIFY(project->tainted);
        QCOMPARE(log().take(QtWarningMsg, "Could not open file for saving, skipping..."), 1);
        const QString reason = qt_error_string(ENOENT);
        QCOMPARE(log().takeContaining(QtWarningMsg, reason), 1);
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors[0][0].toString(), "Could not save song.vela: " + reason + '.');
    }

    void aLoadThatCannotOpenWarnsSaysWhyAndLeavesTheProjectAlone()
    {
        const auto project = awkward();
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        QVERIFY(!job.load(path(), project));
        QVERIFY(project->tainted);
        QCOMPARE(difference(*project, *awkward()), QString());
        QCOMPARE(log().take(QtWarningMsg, "Could not open file for loading, skipping..."), 1);
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors[0][0].toString(),
                 "Could not load song.vela: " + qt_error_string(ENOENT) + '.');
    }

    void aSaveOfTooLongATrackSaysSoAndStaysTainted()
    {
        const auto project = overlong();
        QVERIFY(project->tainted);
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        QVERIFY(!job.save(path(), project));
        QVERIFY(project->tainted);
        const QString reason = QStringLiteral("a track is longer than a project file can hold");
        QCOMPARE(log().take(QtWarningMsg, "ProjectFile: not saved: " + reason + ", skipping..."),
                 1);
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors[0][0].toString(), "Could not save song.vela: " + reason + '.');
        QVERIFY(entries().isEmpty());
    }

    void filesThatCannotBeLoadedLeaveTheProjectAlone_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("warning");
        QTest::newRow("magic") << QByteArray("VELB\0\0\0\1\0", 9)
                               << "Wrong MAGIC found in file while loading, skipping...";
        QTest::newRow("version") << QByteArray("VELA\0\0\0\2\0", 9)
                                 << "Wrong VERSION found in file while loading, skipping...";
    }

    void filesThatCannotBeLoadedLeaveTheProjectAlone()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, warning);
        writeFile(path(), bytes);
        const auto project = awkward();
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        QVERIFY(!job.load(path(), project));
        QCOMPARE(log().take(QtWarningMsg, warning), 1);
        QCOMPARE(errors.size(), 1);
        QVERIFY(errors[0][0].toString().startsWith("Could not load song.vela: "));
        QVERIFY(project->tainted);
        QCOMPARE(difference(*project, *awkward()), QString());
    }

    void aDamagedBodyGivesAnEmptyCleanProjectAndSaysSo()
    {
        writeFile(path(), header(true) + be32(8) + "damaged!");
        const auto project = awkward();
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        QVERIFY(job.load(path(), project));
        QCOMPARE(log().takeContaining(QtWarningMsg, "damaged"), 1);
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors[0][0].toString(),
                 "song.vela is loaded, but with losses: the file is damaged.");
        QVERIFY(!project->tainted);
        QCOMPARE(project->sampleRate, 0);
        QVERIFY(project->tracks.isEmpty() && project->cursor.name.isEmpty());
    }

    void theEventLoopRunsMeanwhileOnTheCallersThread()
    {
        ProjectFileJob job;
        bool ranInSave = false;
        whileBusy([&] { ranInSave = job.isRunning(); });
        QVERIFY(job.save(path(), noisy(200'000, 1)));
        QVERIFY(ranInSave && !job.isRunning());
        bool ranInLoad = false;
        whileBusy([&] { ranInLoad = job.isRunning(); });
        QVERIFY(job.load(path(), VelaProject::create()));
        QVERIFY(ranInLoad && !job.isRunning());
    }

    void aSecondCallMeanwhileIsRefused()
    {
        ProjectFileJob job;
        bool saved = true;
        bool loaded = true;
        whileBusy([&] {
            saved = job.save(path() + "2", awkward());
            loaded = job.load(path(), awkward());
        });
        QVERIFY(job.save(path(), awkward()));
        QVERIFY(!saved && !loaded && !QFile::exists(path() + "2"));
        QCOMPARE(log().takeContaining(QtWarningMsg, "ProjectFileJob: another file"), 2);
    }

    void aProjectThatGrewMeanwhileStaysTainted()
    {
        const auto project = noisy(200'000, 1);
        const auto before = ProjectFile::snapshot(*project);
        ProjectFileJob job;
        whileBusy([&] {
            project->tracks[0]->samples[0].append(1.0F);
            project->taint(QStringLiteral("record"));
        });
        QVERIFY(job.save(path(), project));
        QVERIFY(project->tainted);
        QCOMPARE(difference(*ProjectFile::load(path()).loaded, *before), QString());
    }

    void samplesAreNotSharedOnceTheSaveIsDone()
    {
        const auto project = noisy(200'000, 1);
        ProjectFileJob job;
        QVERIFY(job.save(path(), project));
        QVERIFY(project->tracks[0]->samples[0].isDetached());
    }

    void cancelAbandonsALoad()
    {
        ProjectFileJob job;
        QVERIFY(job.save(path(), noisy(200'000, 1)));
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        ProjectHandle project;
        // One may be done before it is told to stop.
        bool loaded = true;
        for (int i = 0; loaded && i < kAttempts; ++i) {
            project = awkward();
            whileBusy([&] { job.cancel(); });
            loaded = job.load(path(), project);
        }
        QVERIFY(!loaded);
        QVERIFY(errors.isEmpty());
        QVERIFY(project->tainted);
        QCOMPARE(difference(*project, *awkward()), QString());
    }

    void anEndMidwayLeavesTheRestOfTheFileUnread_data()
    {
        QTest::addColumn<bool>("isQuit");
        QTest::newRow("cancelled") << false;
        QTest::newRow("the program quits") << true;
    }

    void anEndMidwayLeavesTheRestOfTheFileUnread()
    {
        QFETCH(bool, isQuit);
        writeFile(path(), plainFileOfOneChannel(kLongFileBytes / qint64{sizeof(float)}));
        QFile file(path());
        QVERIFY(file.resize(file.size() + kLongFileBytes)); // a hole, which reads as zeros
        const auto project = awkward();
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        const qint64 before = bytesRead();
        bool isLoaded = true;
        inTheApplicationsLoop([&] {
            whileBusy([&] { isQuit ? QCoreApplication::quit() : job.cancel(); });
            isLoaded = job.load(path(), project);
        });
        QVERIFY(!isLoaded);
        QVERIFY(before >= 0 && bytesRead() - before < kLongFileBytes);
        QVERIFY(errors.isEmpty());
        QCOMPARE(difference(*project, *awkward()), QString());
    }

    void cancelStopsASaveAndLeavesTheOldFile()
    {
        writeFile(path(), "old");
        const auto project = noisy(5'000'000, 1);
        project->taint(QStringLiteral("record"));
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        whileBusy([&] { job.cancel(); });
        QVERIFY(!job.save(path(), project));
        QVERIFY(project->tainted && !job.wasLeftBehind());
        QCOMPARE(log().take(QtWarningMsg, "ProjectFile: not saved: stopped, skipping..."), 1);
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors[0][0].toString(), "song.vela was not saved.");
        QCOMPARE(entries(), QStringList{"song.vela"});
        QCOMPARE(readFile(path()), "old");
    }

    void aCancelledSaveDoesNotSpoilTheNext()
    {
        ProjectFileJob job;
        job.cancel();
        QVERIFY(job.save(path(), awkward()));
        whileBusy([&] { job.cancel(); });
        QVERIFY(!job.save(path(), noisy(5'000'000, 1)));
        QCOMPARE(log().takeContaining(QtWarningMsg, "stopped"), 1);
        QVERIFY(job.save(path(), awkward()));
    }

    void aCancelledLoadDoesNotSpoilTheNext()
    {
        ProjectFileJob job;
        QVERIFY(job.save(path(), awkward()));
        job.cancel();
        const auto project = VelaProject::create();
        QVERIFY(job.load(path(), project));
        QCOMPARE(project->tracks.size(), 2);
    }

    void quittingMeanwhileStillWaitsForTheSave()
    {
        ProjectFileJob job;
        const auto project = noisy(200'000, 1);
        bool isSaved = false;
        inTheApplicationsLoop([&] {
            whileBusy([] { QCoreApplication::quit(); });
            isSaved = job.save(path(), project);
        });
        QVERIFY(isSaved);
        QCOMPARE(difference(*ProjectFile::load(path()).loaded, *project), QString());
    }
};

QTEST_GUILESS_MAIN(TestProjectFileJob)
#include "tst_projectfilejob.moc"
