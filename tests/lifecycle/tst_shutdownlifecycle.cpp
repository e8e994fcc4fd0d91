#include "lifecycle/shutdownlifecycle.h"
#include "shutdowntasks.h"
#include "support/logcatcher.h"

#include <QCoreApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <memory>
#include <utility>

using namespace std::chrono_literals;

class TestShutdownLifecycle : public QObject {
    Q_OBJECT

private:
    /// Notes the name of each signal in the order in which they come.
    static void record(ShutdownLifecycle& lifecycle, QStringList& names)
    {
        connect(&lifecycle, &ShutdownLifecycle::changed, [&names] { names << "changed"; });
        connect(&lifecycle, &ShutdownLifecycle::shutdownReady, [&names] { names << "ready"; });
        connect(&lifecycle, &ShutdownLifecycle::shutdownAborted, [&names] { names << "aborted"; });
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void instanceIsOneAndLivesOnTheApplicationsThread()
    {
        QCOMPARE(&ShutdownLifecycle::instance(), &ShutdownLifecycle::instance());
        QCOMPARE(ShutdownLifecycle::instance().thread(), QCoreApplication::instance()->thread());
    }

    void aFreshTaskHasNoTimesAndHasNotStarted()
    {
        const ShutdownTask fresh;
        QCOMPARE(fresh.startMs, -1);
        QCOMPARE(fresh.deadlineMs, -1);
        QVERIFY(!fresh.started);
        QVERIFY(!fresh.run);
        QVERIFY(fresh.icon.isNull());
    }

    void registerTaskCountsSerialsFromZeroAndEmitsChanged()
    {
        ShutdownLifecycle lifecycle;
        QStringList signalNames;
        record(lifecycle, signalNames);
        QCOMPARE(lifecycle.registerTask(task("b")), 0U);
        QCOMPARE(lifecycle.registerTask(task("a")), 1U);
        QCOMPARE(signalNames, (QStringList{"changed", "changed"}));
        QCOMPARE(lifecycle.taskIds(), (QStringList{"b", "a"}));
        QCOMPARE(lifecycle.registrationOrder(), (QList<quint64>{0, 1}));
        lifecycle.finishTask("b", 0);
        QCOMPARE(lifecycle.registerTask(task("c")), 2U);
        lifecycle.finishTask("a", 1);
        lifecycle.finishTask("c", 2);
    }

    void registerTaskKeepsTheWholeRecord()
    {
        ShutdownLifecycle lifecycle;
        ShutdownTask full = task("id", [] {});
        full.title = "title";
        full.description = "description";
        full.detail = "detail";
        full.deadlineMs = 77;
        const quint64 serial = lifecycle.registerTask(full);
        const ShutdownTask kept = lifecycle.tasks().constFirst();
        QCOMPARE(kept.title, "title");
        QCOMPARE(kept.description, "description");
        QCOMPARE(kept.detail, "detail");
        QCOMPARE(kept.deadlineMs, 77);
        QVERIFY(kept.run);
        lifecycle.finishTask("id", serial);
    }

    void aReplacedTaskLeavesItsSerialInTheOrderUntilFinished()
    {
        ShutdownLifecycle lifecycle;
        const quint64 first = lifecycle.registerTask(task("same"));
        const quint64 second = lifecycle.registerTask(task("same"));
        QCOMPARE(lifecycle.taskIds(), QStringList{"same"});
        QCOMPARE(lifecycle.registrationOrder(), (QList<quint64>{first, second}));
        lifecycle.finishTask("same", second);
        QVERIFY(lifecycle.taskIds().isEmpty());
        QCOMPARE(lifecycle.registrationOrder(), QList<quint64>{first});
        lifecycle.finishTask("same", first);
        QVERIFY(lifecycle.registrationOrder().isEmpty());
    }

    void finishTaskGoesByTheIdWhicheverSerialItIsGiven()
    {
        ShutdownLifecycle lifecycle;
        const quint64 replaced = lifecycle.registerTask(task("same"));
        const quint64 present = lifecycle.registerTask(task("same"));
        lifecycle.finishTask("same", replaced);
        QVERIFY(lifecycle.taskIds().isEmpty());
        QCOMPARE(lifecycle.registrationOrder(), QList<quint64>{present});
    }

    void finishTaskPassesOverWhatItDoesNotKnow()
    {
        ShutdownLifecycle lifecycle;
        const quint64 serial = lifecycle.registerTask(task("known"));
        QStringList signalNames;
        record(lifecycle, signalNames);
        lifecycle.finishTask("unknown", 99);
        QCOMPARE(signalNames, QStringList{"changed"});
        QCOMPARE(lifecycle.taskIds(), QStringList{"known"});
        QCOMPARE(lifecycle.registrationOrder(), QList<quint64>{serial});
        lifecycle.finishTask("known", serial);
    }

    void finishingTheLastTaskBeforeARequestEmitsOnlyChanged()
    {
        ShutdownLifecycle lifecycle;
        const quint64 serial = lifecycle.registerTask(task("a"));
        QStringList signalNames;
        record(lifecycle, signalNames);
        lifecycle.finishTask("a", serial);
        QCOMPARE(signalNames, QStringList{"changed"});
    }

    void finishingTheLastTaskAfterARequestEmitsChangedThenReady()
    {
        ShutdownLifecycle lifecycle;
        const quint64 a = lifecycle.registerTask(task("a"));
        const quint64 b = lifecycle.registerTask(task("b"));
        QStringList signalNames;
        record(lifecycle, signalNames);
        lifecycle.requestShutdown();
        QVERIFY(lifecycle.isShutdownRequested());
        QVERIFY(signalNames.isEmpty());
        lifecycle.finishTask("a", a);
        QCOMPARE(signalNames, QStringList{"changed"});
        lifecycle.finishTask("b", b);
        QCOMPARE(signalNames, (QStringList{"changed", "changed", "ready"}));
    }

    void requestShutdownIsReadyAtOnceWhenNothingIsOutstanding()
    {
        ShutdownLifecycle lifecycle;
        QStringList signalNames;
        record(lifecycle, signalNames);
        lifecycle.requestShutdown();
        QCOMPARE(signalNames, QStringList{"ready"});
        lifecycle.requestShutdown();
        QCOMPARE(signalNames, QStringList{"ready"});
    }

    void requestShutdownRunsTheTasksInRegistrationOrder()
    {
        ShutdownLifecycle lifecycle;
        QStringList ran;
        QHash<QString, quint64> serials;
        for (const char* name : {"z", "a", "m"}) {
            const QString id = QString::fromLatin1(name);
            serials[id] = lifecycle.registerTask(task(id, [&, id] {
                ran << id;
                lifecycle.finishTask(id, serials[id]);
            }));
        }
        QStringList signalNames;
        record(lifecycle, signalNames);
        lifecycle.requestShutdown();
        QCOMPARE(ran, (QStringList{"z", "a", "m"}));
        QCOMPARE(signalNames, (QStringList{"changed", "changed", "changed", "ready"}));
    }

    void requestShutdownSkipsWhatAnEarlierTaskFinishedAndRunsWhatItBegan()
    {
        ShutdownLifecycle lifecycle;
        QStringList ran;
        quint64 doomed = 0;
        quint64 late = 0;
        const quint64 first = lifecycle.registerTask(task("first", [&] {
            ran << "first";
            lifecycle.finishTask("doomed", doomed);
            late = lifecycle.registerTask(task("late", [&] {
                ran << "late";
                lifecycle.finishTask("late", late);
            }));
            lifecycle.finishTask("first", first);
        }));
        doomed = lifecycle.registerTask(task("doomed", [&] { ran << "doomed"; }));
        lifecycle.requestShutdown();
        QCOMPARE(ran, (QStringList{"first", "late"}));
        QVERIFY(lifecycle.taskIds().isEmpty());
    }

    void abortShutdownEmitsAbortedOnceAndLetsTheTasksRunAgain()
    {
        qint64 now = 500;
        ShutdownLifecycle lifecycle([&now] { return now; });
        int runs = 0;
        const quint64 serial = lifecycle.registerTask(task("a", [&runs] { ++runs; }));
        QStringList signalNames;
        record(lifecycle, signalNames);
        lifecycle.abortShutdown();
        QVERIFY(signalNames.isEmpty());

        lifecycle.requestShutdown();
        QCOMPARE(runs, 1);
        QVERIFY(lifecycle.tasks().constFirst().started);
        QCOMPARE(lifecycle.tasks().constFirst().startMs, 500);
        lifecycle.abortShutdown();
        lifecycle.abortShutdown();
        QCOMPARE(signalNames, QStringList{"aborted"});
        QVERIFY(!lifecycle.isShutdownRequested());
        QVERIFY(!lifecycle.tasks().constFirst().started);
        QCOMPARE(lifecycle.tasks().constFirst().startMs, -1);

        now = 900;
        lifecycle.requestShutdown();
        QCOMPARE(runs, 2);
        QCOMPARE(lifecycle.tasks().constFirst().startMs, 900);
        lifecycle.finishTask("a", serial);
        QCOMPARE(signalNames, (QStringList{"aborted", "changed", "ready"}));
    }

    void aListenerMayFinishTheNextTaskAndReadyComesOnce()
    {
        ShutdownLifecycle lifecycle;
        const quint64 a = lifecycle.registerTask(task("a"));
        const quint64 b = lifecycle.registerTask(task("b"));
        lifecycle.requestShutdown();
        const QSignalSpy ready(&lifecycle, &ShutdownLifecycle::shutdownReady);
        connect(&lifecycle, &ShutdownLifecycle::changed, [&] {
            if (lifecycle.taskIds() == QStringList{"b"})
                lifecycle.finishTask("b", b);
        });
        lifecycle.finishTask("a", a);
        QCOMPARE(ready.count(), 1);
    }

    void aListenerThatBeginsNewWorkHoldsReadyBack()
    {
        ShutdownLifecycle lifecycle;
        const quint64 a = lifecycle.registerTask(task("a"));
        lifecycle.requestShutdown();
        const QSignalSpy ready(&lifecycle, &ShutdownLifecycle::shutdownReady);
        quint64 next = 0;
        connect(&lifecycle, &ShutdownLifecycle::changed, [&] {
            if (next == 0) {
                next = 1;
                next = lifecycle.registerTask(task("next"));
            }
        });
        lifecycle.finishTask("a", a);
        QCOMPARE(ready.count(), 0);
        lifecycle.finishTask("next", next);
        QCOMPARE(ready.count(), 1);
    }

    void aListenerThatBeginsAndEndsNewWorkHearsReadyOnce()
    {
        ShutdownLifecycle lifecycle;
        const quint64 a = lifecycle.registerTask(task("a"));
        lifecycle.requestShutdown();
        const QSignalSpy ready(&lifecycle, &ShutdownLifecycle::shutdownReady);
        bool begun = false;
        connect(&lifecycle, &ShutdownLifecycle::changed, [&] {
            if (!std::exchange(begun, true))
                lifecycle.finishTask("next", lifecycle.registerTask(task("next")));
        });
        lifecycle.finishTask("a", a);
        QCOMPARE(ready.count(), 1);
    }

    void aListenerThatAbortsAndRequestsAgainHearsReadyOnce()
    {
        ShutdownLifecycle lifecycle;
        const quint64 a = lifecycle.registerTask(task("a"));
        lifecycle.requestShutdown();
        QStringList signalNames;
        record(lifecycle, signalNames);
        connect(&lifecycle, &ShutdownLifecycle::changed, [&] {
            lifecycle.abortShutdown();
            lifecycle.requestShutdown();
        });
        lifecycle.finishTask("a", a);
        QCOMPARE(signalNames, (QStringList{"changed", "aborted", "ready"}));
    }

    void everyFinishWithNothingLeftEmitsReady()
    {
        ShutdownLifecycle lifecycle;
        const quint64 a = lifecycle.registerTask(task("a"));
        lifecycle.requestShutdown();
        QStringList signalNames;
        record(lifecycle, signalNames);
        lifecycle.finishTask("a", a);
        lifecycle.finishTask("a", a);
        QCOMPARE(signalNames, (QStringList{"changed", "ready", "changed", "ready"}));
    }

    void aListenerThatAbortsHoldsReadyBack()
    {
        ShutdownLifecycle lifecycle;
        const quint64 a = lifecycle.registerTask(task("a"));
        lifecycle.requestShutdown();
        QStringList signalNames;
        record(lifecycle, signalNames);
        connect(&lifecycle, &ShutdownLifecycle::changed, [&] { lifecycle.abortShutdown(); });
        lifecycle.finishTask("a", a);
        QCOMPARE(signalNames, (QStringList{"changed", "aborted"}));
    }

    void destructionWithOutstandingTasksWarnsWithTheirNumberAndIds()
    {
        {
            ShutdownLifecycle lifecycle;
            (void)lifecycle.registerTask(task("settings.flush.default"));
            (void)lifecycle.registerTask(task("another"));
        }
        const QString expected = R"(ShutdownLifecycle: shutdown with 2 outstanding tasks: )"
                                 R"(QList("settings.flush.default", "another"))";
        QCOMPARE(m_log->take(QtWarningMsg, expected), 1);
    }

    void waitForTasksRequestsAndReturnsAtOnceWhenAllFinish()
    {
        ShutdownLifecycle lifecycle;
        QVERIFY(lifecycle.waitForTasks());
        QVERIFY(lifecycle.isShutdownRequested());
    }

    void waitForTasksRunsEventsUntilAnotherThreadHasFinished()
    {
        ShutdownLifecycle lifecycle;
        const quint64 serial = lifecycle.registerTask(task("a"));
        bool turned = false;
        std::unique_ptr<QThread> worker;
        QTimer::singleShot(0, this, [&] {
            turned = true;
            worker.reset(QThread::create([&] { lifecycle.finishTask("a", serial); }));
            worker->start();
        });
        QVERIFY(lifecycle.waitForTasks(10s));
        QVERIFY(turned);
        QVERIFY(worker->wait(5000));
    }

    void waitForTasksStillRunsEventsWhileTheApplicationIsAboutToQuit()
    {
        ShutdownLifecycle lifecycle;
        quint64 serial = 0;
        serial = lifecycle.registerTask(task("a", [&] {
            QTimer::singleShot(20, &lifecycle, [&] { lifecycle.finishTask("a", serial); });
        }));
        bool allDone = false;
        connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, &lifecycle,
                [&] { allDone = lifecycle.waitForTasks(10s); });
        QTimer::singleShot(0, &lifecycle, &QCoreApplication::quit);
        QCOMPARE(QCoreApplication::exec(), 0);
        QVERIFY(allDone);
    }

    void waitForTasksRunsTasksThatCameAfterTheRequest()
    {
        ShutdownLifecycle lifecycle;
        lifecycle.requestShutdown();
        quint64 serial = 0;
        serial =
            lifecycle.registerTask(task("late", [&] { lifecycle.finishTask("late", serial); }));
        QCOMPARE(lifecycle.taskIds(), QStringList{"late"});
        QVERIFY(lifecycle.waitForTasks());
    }

    void waitForTasksIsEndedByAnAbort()
    {
        ShutdownLifecycle lifecycle;
        const quint64 serial = lifecycle.registerTask(task("a"));
        QTimer::singleShot(0, &lifecycle, &ShutdownLifecycle::abortShutdown);
        QVERIFY(!lifecycle.waitForTasks());
        QVERIFY(!lifecycle.isShutdownRequested());
        lifecycle.finishTask("a", serial);
    }

    void waitForTasksOvertakesAStuckTask_data()
    {
        QTest::addColumn<qint64>("deadlineMs"); // the shutdown begins at 1000
        QTest::addColumn<int>("limitMs");
        QTest::addColumn<qint64>("endMs");
        QTest::newRow("no deadline: 3000 ms after the request")
            << qint64{-1} << 9000 << qint64{4000};
        QTest::newRow("its own deadline") << qint64{1250} << 9000 << qint64{1250};
        QTest::newRow("a deadline long past") << qint64{3} << 9000 << qint64{1000};
        QTest::newRow("the limit of the wait comes first") << qint64{8000} << 2000 << qint64{3000};
    }

    void waitForTasksOvertakesAStuckTask()
    {
        QFETCH(const qint64, deadlineMs);
        QFETCH(const int, limitMs);
        QFETCH(const qint64, endMs);

        // Time goes by only on the event loop's turns, 50 ms each.
        qint64 now = 1000;
        QTimer turns;
        connect(&turns, &QTimer::timeout, [&now] { now += 50; });
        turns.start(0);

        ShutdownLifecycle lifecycle([&now] { return now; });
        ShutdownTask stuck = task("stuck");
        stuck.deadlineMs = deadlineMs;
        const quint64 serial = lifecycle.registerTask(stuck);
        QVERIFY(!lifecycle.waitForTasks(std::chrono::milliseconds(limitMs)));
        QCOMPARE(now, endMs);
        QCOMPARE(m_log->take(QtWarningMsg,
                             R"(ShutdownLifecycle: not waiting any longer for QList("stuck"))"),
                 1);
        QCOMPARE(lifecycle.taskIds(), QStringList{"stuck"});
        lifecycle.finishTask("stuck", serial);
    }

    void waitForTasksWaitsForTheLatestOfSeveralDeadlines()
    {
        qint64 now = 0;
        QTimer turns;
        connect(&turns, &QTimer::timeout, [&now] { now += 50; });
        turns.start(0);
        ShutdownLifecycle lifecycle([&now] { return now; });
        ShutdownTask early = task("early");
        early.deadlineMs = 100;
        ShutdownTask late = task("late");
        late.deadlineMs = 400;
        const quint64 first = lifecycle.registerTask(early);
        const quint64 second = lifecycle.registerTask(late);
        QVERIFY(!lifecycle.waitForTasks());
        QCOMPARE(now, 400);
        QCOMPARE(m_log->takeContaining(QtWarningMsg, R"(QList("early", "late"))"), 1);
        lifecycle.finishTask("early", first);
        lifecycle.finishTask("late", second);
    }

    void theProcessEndsCleanlyWithTasksOutstandingAfterTheApplicationIsGone()
    {
        QProcess child;
        child.start(QStringLiteral(SHUTDOWN_CHILD), QStringList{});
        QVERIFY(child.waitForFinished(20'000));
        QCOMPARE(child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(child.exitCode(), 0);
        const QByteArrayList lines = child.readAllStandardError().trimmed().split('\n');
        QCOMPARE(lines.last(),
                 QByteArray(R"(ShutdownLifecycle: shutdown with 2 outstanding tasks: )"
                            R"(QList("first", "second"))"));
    }
};

QTEST_GUILESS_MAIN(TestShutdownLifecycle)
#include "tst_shutdownlifecycle.moc"
