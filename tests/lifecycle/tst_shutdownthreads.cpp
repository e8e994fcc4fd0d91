#include "lifecycle/shutdownlifecycle.h"
#include "shutdowntasks.h"
#include "support/logcatcher.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr std::chrono::seconds kPatience{10};

} // namespace

/// The coordinator among several threads.
class TestShutdownThreads : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void threadsRegisterAndFinishTogether()
    {
        constexpr int kThreads = 4;
        constexpr int kRounds = 500;
        ShutdownLifecycle lifecycle;
        std::atomic<int> changes = 0;
        std::atomic<int> readies = 0;
        connect(
            &lifecycle, &ShutdownLifecycle::changed, &lifecycle, [&changes] { ++changes; },
            Qt::DirectConnection);
        connect(
            &lifecycle, &ShutdownLifecycle::shutdownReady, &lifecycle, [&readies] { ++readies; },
            Qt::DirectConnection);

        const quint64 held = lifecycle.registerTask(task("held"));
        lifecycle.requestShutdown();
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&lifecycle, t] {
                for (int i = 0; i < kRounds; ++i) {
                    const QString id = QString::number(t * kRounds + i);
                    lifecycle.finishTask(id, lifecycle.registerTask(task(id)));
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();

        QCOMPARE(changes.load(), 1 + 2 * kThreads * kRounds);
        QCOMPARE(readies.load(), 0);
        QCOMPARE(lifecycle.taskIds(), QStringList{"held"});
        QCOMPARE(lifecycle.registrationOrder(), QList<quint64>{held});
        lifecycle.finishTask("held", held);
        QCOMPARE(readies.load(), 1);
        QCOMPARE(lifecycle.registerTask(task("x")), quint64{1 + kThreads * kRounds});
        lifecycle.finishTask("x", 1 + kThreads * kRounds);
    }

    void signalsComeOnTheThreadThatFinishes()
    {
        ShutdownLifecycle lifecycle;
        const quint64 serial = lifecycle.registerTask(task("a"));
        lifecycle.requestShutdown();
        std::thread::id seen;
        connect(
            &lifecycle, &ShutdownLifecycle::shutdownReady, &lifecycle,
            [&seen] { seen = std::this_thread::get_id(); }, Qt::DirectConnection);
        std::thread::id finisher;
        std::thread([&] {
            finisher = std::this_thread::get_id();
            lifecycle.finishTask("a", serial);
        }).join();
        QCOMPARE(seen, finisher);
        QVERIFY(seen != std::this_thread::get_id());
    }

    // A lock that were held meanwhile would make the other thread wait for ever.
    void signalsComeWhenTheCoordinatorIsUnlocked()
    {
        auto lifecycle = std::make_shared<ShutdownLifecycle>();
        QStringList answered;
        const auto note = [&answered, lifecycle](const char* signal) {
            std::promise<void> answer;
            auto arrived = answer.get_future();
            // Left behind when it does not come back, with all that it needs.
            std::thread([lifecycle, answer = std::move(answer)]() mutable {
                (void)lifecycle->taskIds();
                answer.set_value();
            }).detach();
            if (arrived.wait_for(kPatience) == std::future_status::ready)
                answered << QString::fromLatin1(signal);
        };
        connect(
            lifecycle.get(), &ShutdownLifecycle::changed, this, [&note] { note("changed"); },
            Qt::DirectConnection);
        connect(
            lifecycle.get(), &ShutdownLifecycle::shutdownReady, this, [&note] { note("ready"); },
            Qt::DirectConnection);
        connect(
            lifecycle.get(), &ShutdownLifecycle::shutdownAborted, this,
            [&note] { note("aborted"); }, Qt::DirectConnection);

        const quint64 serial = lifecycle->registerTask(task("a"));
        QCOMPARE(answered, QStringList{"changed"});
        lifecycle->requestShutdown();
        lifecycle->finishTask("a", serial);
        QCOMPARE(answered, (QStringList{"changed", "changed", "ready"}));
        lifecycle->abortShutdown();
        lifecycle->requestShutdown();
        QCOMPARE(answered, (QStringList{"changed", "changed", "ready", "aborted", "ready"}));
    }

    void tasksRunOnTheCoordinatorsThreadWhoeverRequests()
    {
        ShutdownLifecycle lifecycle;
        std::thread::id seen;
        quint64 serial = 0;
        serial = lifecycle.registerTask(task("a", [&] {
            seen = std::this_thread::get_id();
            lifecycle.finishTask("a", serial);
        }));
        const QSignalSpy ready(&lifecycle, &ShutdownLifecycle::shutdownReady);
        std::thread([&lifecycle] { lifecycle.requestShutdown(); }).join();
        QCOMPARE(seen, std::thread::id());
        QCOMPARE(lifecycle.taskIds(), QStringList{"a"});
        QTRY_COMPARE(ready.count(), 1);
        QCOMPARE(seen, std::this_thread::get_id());
    }

    void anAbortOvertakesTasksThatAnotherThreadRequested()
    {
        ShutdownLifecycle lifecycle;
        int runs = 0;
        const quint64 serial = lifecycle.registerTask(task("a", [&runs] { ++runs; }));
        std::thread([&lifecycle] { lifecycle.requestShutdown(); }).join();
        lifecycle.abortShutdown();
        QCoreApplication::processEvents();
        QCOMPARE(runs, 0);
        lifecycle.finishTask("a", serial);
    }

    void threadsRegisterWorkWhileTheEndIsRequestedAbortedAndWaitedFor()
    {
        constexpr int kThreads = 3;
        constexpr int kRounds = 200;
        ShutdownLifecycle lifecycle;
        std::atomic<int> elsewhere = 0;
        std::atomic<int> working = kThreads;
        const auto main = std::this_thread::get_id();
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                for (int i = 0; i < kRounds; ++i) {
                    const QString id = QString::number(t * kRounds + i);
                    const quint64 serial = lifecycle.registerTask(task(id, [&elsewhere, main] {
                        if (std::this_thread::get_id() != main)
                            ++elsewhere;
                    }));
                    lifecycle.requestShutdown();
                    lifecycle.abortShutdown();
                    lifecycle.finishTask(id, serial);
                }
                --working;
            });
        }
        while (working > 0)
            (void)lifecycle.waitForTasks();
        for (std::thread& thread : threads)
            thread.join();
        QCoreApplication::processEvents();
        QCOMPARE(elsewhere.load(), 0);
        QVERIFY(lifecycle.tasks().isEmpty());
        QVERIFY(lifecycle.registrationOrder().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestShutdownThreads)
#include "tst_shutdownthreads.moc"
