// Saves and loads on a disk that stops answering, and perhaps begins again.

#include "project/projectfilejob.h"
#include "project/projectsamples.h"
#include "project/stalling.h"
#include "support/files.h"
#include "support/foldersuite.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <functional>

using namespace project_samples;
using namespace std::chrono_literals;
using stalling::Call;

Q_DECLARE_METATYPE(stalling::Call)

namespace {

constexpr auto kStall = 20s;      // far more than a user waits
constexpr qint64 kBoundMs = 5000; // far more than the patience, far less than the stall

} // namespace

class TestProjectFileJobStall : public FolderSuite {
    Q_OBJECT

private:
    [[nodiscard]] QString dead(const QString& name) const { return in("dead/" + name); }

    [[nodiscard]] QStringList deadEntries() const
    {
        return QDir(in("dead")).entryList(QDir::Files | QDir::Hidden);
    }

    // Runs `action` as soon as the disk is waited for.
    void whenStalled(const std::function<void()>& action)
    {
        auto* poll = new QTimer(this);
        connect(poll, &QTimer::timeout, this, [poll, action] {
            if (stalling::waiting() == 0)
                return;
            poll->stop();
            poll->deleteLater();
            action();
        });
        poll->start(1);
    }

    static void calls()
    {
        QTest::addColumn<Call>("call");
        QTest::addColumn<int>("frames");
        QTest::newRow("open") << Call::Open << 10;
        QTest::newRow("write") << Call::Write << 10;
        QTest::newRow("write of a long project") << Call::Write << 200'000;
        QTest::newRow("sync") << Call::Sync << 10;
    }

private slots:

    void init()
    {
        FolderSuite::init();
        QVERIFY(QDir(folder()).mkdir("dead"));
    }

    void cleanup()
    {
        stalling::release();
        QTRY_COMPARE(stalling::threadsNamed("project-file"), 0);
        FolderSuite::cleanup();
    }

    void aStalledSaveIsLeftBehindAndTheProjectSavedElsewhere_data() { calls(); }

    void aStalledSaveIsLeftBehindAndTheProjectSavedElsewhere()
    {
        QFETCH(Call, call);
        QFETCH(int, frames);
        writeFile(dead("song.vela"), "old");
        const auto project = noisy(frames, 1);
        project->taint("record");
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        stalling::begin(call, in("dead"), kStall);
        whenStalled([&job] { job.cancel(); });
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!job.save(dead("song.vela"), project));
        QVERIFY2(timer.elapsed() < kBoundMs, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(job.wasLeftBehind() && project->tainted);
        QCOMPARE(log().take(QtWarningMsg,
                            "ProjectFile: not saved: the disk does not answer, skipping..."),
                 1);
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors[0][0].toString(), "song.vela was not saved: the disk does not answer. "
                                          "Save the project somewhere else.");

        QVERIFY(job.save(in("elsewhere.vela"), project));
        QVERIFY(!project->tainted && !job.wasLeftBehind());
        QCOMPARE(difference(*ProjectFile::load(in("elsewhere.vela")).loaded, *project), QString());
        QCOMPARE(stalling::waiting(), 1);
        QTRY_COMPARE(stalling::threadsNamed("project-file"), 1); // the other may be ending

        stalling::release();
        QTRY_COMPARE(stalling::threadsNamed("project-file"), 0);
        QCOMPARE(deadEntries(), QStringList{"song.vela"});
        QCOMPARE(readFile(dead("song.vela")), "old");
        QCOMPARE(errors.size(), 1);
    }

    void aStalledSaveThatAnswersAfterAllIsWaitedFor()
    {
        const auto project = noisy(10, 1);
        ProjectFileJob job;
        stalling::begin(Call::Sync, in("dead"), kStall);
        whenStalled([] { stalling::release(); });
        QVERIFY(job.save(dead("song.vela"), project));
        QCOMPARE(deadEntries(), QStringList{"song.vela"});
    }

    void aStoppedSaveThatAnswersSoonIsNotLeftBehind()
    {
        writeFile(dead("song.vela"), "old");
        const auto project = awkward();
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        stalling::begin(Call::Sync, in("dead"), kStall);
        whenStalled([&job] {
            job.cancel();
            stalling::release();
        });
        QVERIFY(!job.save(dead("song.vela"), project));
        QVERIFY(!job.wasLeftBehind() && project->tainted);
        QCOMPARE(log().take(QtWarningMsg, "ProjectFile: not saved: stopped, skipping..."), 1);
        QCOMPARE(errors.value(0).value(0).toString(), "song.vela was not saved.");
        QCOMPARE(deadEntries(), QStringList{"song.vela"});
        QCOMPARE(readFile(dead("song.vela")), "old");
    }

    void aStalledSaveOutlivesItsJob()
    {
        stalling::begin(Call::Write, in("dead"), kStall);
        {
            ProjectFileJob job;
            whenStalled([&job] { job.cancel(); });
            QVERIFY(!job.save(dead("song.vela"), noisy(200'000, 1)));
            QVERIFY(job.wasLeftBehind());
        }
        QCOMPARE(log().takeContaining(QtWarningMsg, "the disk does not answer"), 1);
        stalling::release();
        QTRY_COMPARE(stalling::threadsNamed("project-file"), 0);
        QCOMPARE(deadEntries(), QStringList());
    }

    void aStalledLoadIsLeftBehind()
    {
        ProjectFileJob job;
        QVERIFY(job.save(dead("song.vela"), noisy(10, 1)));
        QVERIFY(job.save(in("elsewhere.vela"), noisy(10, 2)));
        const auto project = awkward();
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        stalling::begin(Call::Open, in("dead"), kStall);
        whenStalled([&job] { job.cancel(); });
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!job.load(dead("song.vela"), project));
        QVERIFY2(timer.elapsed() < kBoundMs, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(job.wasLeftBehind() && errors.isEmpty());
        QVERIFY(job.load(in("elsewhere.vela"), VelaProject::create()));
        QCOMPARE(stalling::waiting(), 1);

        stalling::release();
        QTRY_COMPARE(stalling::threadsNamed("project-file"), 0);
        QVERIFY(project->tainted);
        QCOMPARE(difference(*project, *awkward()), QString());
        QVERIFY(errors.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestProjectFileJobStall)
#include "tst_projectfilejobstall.moc"
