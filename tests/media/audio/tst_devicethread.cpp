#include "media/audio/devicethread.h"
#include "media/devices/serverloop.h"
#include "support/attempts.h"
#include "support/stopwatch.h"

#include <QElapsedTimer>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cstring>
#include <future>
#include <pulse/context.h>
#include <pulse/mainloop.h>
#include <pulse/stream.h>
#include <pulse/thread-mainloop.h>

using media::audio::DeviceThread;
using media::devices::droppedServerLoops;
using media::devices::lostWrites;

namespace {

constexpr unsigned long kWorkMs = 5;
constexpr DeviceThread::Ms kPatience{10'000};

/// What the toolkit does when the server has died.
void dropLoop()
{
    pa_threaded_mainloop_free(pa_threaded_mainloop_new());
}

} // namespace

/// Device threads at the end of the toolkit's connection to the sound server.
class TestDeviceThread : public QObject {
    Q_OBJECT

private:
    static bool dropsLoopAfterPostedWork()
    {
        DeviceThread one(QStringLiteral("one"));
        DeviceThread two(QStringLiteral("two"));
        std::atomic<int> done = 0;
        bool areUp = true;
        for (DeviceThread* thread : {&one, &two})
            areUp = thread->run([] {}, kPatience) && areUp;
        for (DeviceThread* thread : {&one, &two}) {
            thread->post([&done] {
                QThread::msleep(kWorkMs);
                ++done;
            });
        }
        const int before = droppedServerLoops();
        dropLoop();
        const bool isDone = done == 2 && droppedServerLoops() == before + 1;
        const bool haveEnded = one.end(kPatience) && two.end(kPatience);
        return areUp && isDone && haveEnded;
    }

private slots:

    void aLoopIsDroppedAfterWhatWasPostedBefore()
    {
        // A busy machine may have no time for so little work within the bound.
        QVERIFY(inThreeAttempts(&TestDeviceThread::dropsLoopAfterPostedWork));
    }

    void aDroppedLoopCanStillBeLocked()
    {
        pa_threaded_mainloop* loop = pa_threaded_mainloop_new();
        QCOMPARE(pa_threaded_mainloop_start(loop), 0);
        pa_threaded_mainloop_free(loop);
        pa_threaded_mainloop_lock(loop);
        pa_threaded_mainloop_unlock(loop);
    }

    void samplesForADeadStreamVanishWithoutAnError()
    {
        pa_mainloop* loop = pa_mainloop_new();
        pa_context* context = pa_context_new(pa_mainloop_get_api(loop), "test");
        const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, 44100, 2};
        pa_stream* stream = pa_stream_new(context, "test", &spec, nullptr);
        QVERIFY(stream);
        QVERIFY(pa_stream_get_state(stream) != PA_STREAM_READY);
        void* place = nullptr;
        size_t bytes = 64;
        QCOMPARE(pa_stream_begin_write(stream, &place, &bytes), 0);
        QVERIFY(place);
        QCOMPARE(bytes, size_t{64});
        std::memset(place, 1, bytes);
        const int before = lostWrites();
        QCOMPARE(pa_stream_write(stream, place, bytes, nullptr, 0, PA_SEEK_RELATIVE), 0);
        QCOMPARE(lostWrites(), before + 1);
        // Who asks for all there is gets 64 KiB.
        bytes = static_cast<size_t>(-1);
        QCOMPARE(pa_stream_begin_write(stream, &place, &bytes), 0);
        QCOMPARE(bytes, size_t{65536});
        QCOMPARE(pa_stream_write(stream, place, bytes, nullptr, 0, PA_SEEK_RELATIVE), 0);
        // Whoever did not ask for a place is told the truth.
        const char other[64] = {};
        QVERIFY(pa_stream_write(stream, other, 64, nullptr, 0, PA_SEEK_RELATIVE) < 0);
        pa_stream_unref(stream);
        pa_context_unref(context);
        pa_mainloop_free(loop);
    }

    void aThreadThatHangsHoldsTheLoopUpForABoundedTime()
    {
        std::promise<void> gate;
        auto opened = gate.get_future().share();
        DeviceThread stuck(QStringLiteral("stuck"));
        stuck.post([opened] { opened.wait(); });
        QElapsedTimer clock;
        clock.start();
        dropLoop();
        QVERIFY(clock.elapsed() >= DeviceThread::kServerLoopBound.count());
        gate.set_value();
        QVERIFY(stuck.end(kPatience));
    }

    void theThreadThatDropsTheLoopDoesNotWaitForItself()
    {
        DeviceThread thread(QStringLiteral("streams"));
        const int before = droppedServerLoops();
        qint64 tookMs = -1;
        const auto work = [&tookMs] {
            const Stopwatch watch;
            dropLoop();
            tookMs = watch.elapsedMs();
        };
        QVERIFY(thread.run(work, kPatience));
        QVERIFY(tookMs < DeviceThread::kServerLoopBound.count());
        QCOMPARE(droppedServerLoops(), before + 1);
        QVERIFY(thread.end(kPatience));
    }
};

QTEST_GUILESS_MAIN(TestDeviceThread)
#include "tst_devicethread.moc"
