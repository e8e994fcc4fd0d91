#include "support/stopwatch.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>
#include <sched.h>

namespace {

constexpr int kPatienceMs = 20000;

/// Keeps the calling thread, and those it starts, on one processor.
bool stayOnOneProcessor()
{
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
    return sched_setaffinity(0, sizeof one, &one) == 0;
}

} // namespace

class TestStopwatch : public QObject {
    Q_OBJECT

private slots:

    void aSleepCounts()
    {
        const Stopwatch watch;
        QThread::msleep(50);
        QVERIFY(watch.elapsedMs() >= 50 - 1);
    }

    void restartBeginsAtNothing()
    {
        Stopwatch watch;
        QThread::msleep(200);
        watch.restart();
        QVERIFY(watch.elapsedMs() < 200);
    }

    void aProcessorThatAnotherHasDoesNotCount()
    {
        QVERIFY(stayOnOneProcessor());
        std::atomic<bool> enough = false;
        const std::unique_ptr<QThread> other(QThread::create([&] {
            while (!enough) {
            }
        }));
        const Stopwatch watch;
        QElapsedTimer clock;
        clock.start();
        other->start();
        qint64 takenOff = 0;
        while (takenOff < 100 && clock.elapsed() < kPatienceMs) {
            const qint64 elapsed = clock.elapsed();
            takenOff = elapsed - watch.elapsedMs();
        }
        enough = true;
        other->wait();
        QVERIFY(takenOff >= 100);
    }
};

QTEST_APPLESS_MAIN(TestStopwatch)
#include "tst_stopwatch.moc"
