#include "media/devices/mediaplatform.h"
#include "project/decoderrun.h"
#include "project/decoderthreads.h"
#include "project/renderfault.h"
#include "project/retireddecoder.h"
#include "support/files.h"
#include "support/mediafiles.h"
#include "support/signalmakers.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

namespace {

constexpr int kRateHz = 44100;
constexpr qint64 kAtOnceMs = 500;
constexpr int kPatienceMs = 30000;

} // namespace

class TestRetiredDecoder : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<DecoderRun> runToTheFirstBuffer()
    {
        auto file = std::make_unique<WatchedFile>(m_path);
        if (!file->open(QIODevice::ReadOnly))
            return {};
        auto run = std::make_unique<DecoderRun>(std::move(file), -1, 50);
        run->start();
        [[maybe_unused]] const bool delivered = QTest::qWaitFor(
            [&run] { return !run->samples().isEmpty() || run->isDone(); }, kPatienceMs);
        return run;
    }

    // Drops `run`; how long that took.
    static qint64 drop(std::unique_ptr<DecoderRun> run)
    {
        QElapsedTimer timer;
        timer.start();
        run.reset();
        return timer.elapsed();
    }

    // On a thread that passes for a renderer.
    static void startFault()
    {
        std::thread([] {
            render_fault::becomeRenderer();
            render_fault::readAt(0);
        }).detach();
    }

    QTemporaryDir m_dir;
    QString m_path;

private slots:

    void initTestCase()
    {
        m_path = m_dir.filePath(QStringLiteral("long.wav"));
        const auto data =
            media_files::int16Data({signal_makers::sine(60 * kRateHz, 440, kRateHz, 0.5F)});
        writeFile(m_path, media_files::wav(media_files::WavFormat::Int16, 1, kRateHz, data));
    }

    void aDroppedDecoderIsDestroyedOnceItRests()
    {
        auto run = runToTheFirstBuffer();
        QVERIFY(run && !run->isDone());
        QCOMPARE(render_fault::rendererThreads(), 1);
        QVERIFY(drop(std::move(run)) < kAtOnceMs);
        QCOMPARE(RetiredDecoder::count(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(RetiredDecoder::count(), 0, kPatienceMs);
        QTRY_COMPARE(render_fault::rendererThreads(), 0);
    }

    void aDecoderThatNeverDeliversIsGivenUp()
    {
        auto file = std::make_unique<WatchedFile>(m_path);
        QVERIFY(file->open(QIODevice::ReadOnly));
        RetiredDecoder::retire(std::make_unique<QAudioDecoder>(), std::move(file),
                               std::make_unique<DecoderFaultGuard>());
        QCOMPARE(RetiredDecoder::count(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(RetiredDecoder::count(), 0, kPatienceMs);
    }

    void aFinishedDecoderNeedsNoRetirement()
    {
        auto run = runToTheFirstBuffer();
        QVERIFY(run);
        QSignalSpy done(run.get(), &DecoderRun::done);
        QVERIFY(done.wait(kPatienceMs));
        QCOMPARE(run->state(), DecoderRun::State::Finished);
        run.reset();
        QCOMPARE(RetiredDecoder::count(), 0);
        QTRY_COMPARE(render_fault::rendererThreads(), 0);
    }

    // It may have missed its start, and fault yet: then stopping it would never end.
    void aDecoderThatFinishesWithNothingIsNotWaitedFor()
    {
        const QString path = m_dir.filePath(QStringLiteral("nothing.wav"));
        writeFile(path, media_files::wav(media_files::WavFormat::Int16, 1, kRateHz, {}));
        auto file = std::make_unique<WatchedFile>(path);
        QVERIFY(file->open(QIODevice::ReadOnly));
        auto run = std::make_unique<DecoderRun>(std::move(file), -1, 50);
        run->start();
        QTRY_VERIFY_WITH_TIMEOUT(run->isDone(), kPatienceMs);
        QCOMPARE(run->state(), DecoderRun::State::Finished);
        run.reset();
        QCOMPARE(RetiredDecoder::count(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(RetiredDecoder::count(), 0, kPatienceMs);
        QTRY_COMPARE(render_fault::rendererThreads(), 0);
    }

    // Last, as its threads stay for good.
    void aFaultAfterTheDropLeavesTheWindowAlive()
    {
        auto run = runToTheFirstBuffer();
        QVERIFY(run && !run->isDone());
        QVERIFY(drop(std::move(run)) < kAtOnceMs);
        auto guard = std::make_unique<DecoderFaultGuard>();
        startFault();
        // Before the event loop turns, and with it the retirement.
        const QDeadlineTimer deadline(5000);
        while (!guard->hasCaught() && !deadline.hasExpired())
            std::this_thread::yield();
        QVERIFY(guard->hasCaught());
        QTRY_COMPARE_WITH_TIMEOUT(RetiredDecoder::count(), 0, kPatienceMs);
        // Neither joined nor destroyed: the one at rest might have been the other.
        QTRY_COMPARE(render_fault::rendererThreads(), 2);

        // Indeed the fault was another's, and that of the abandoned one comes late.
        guard.reset();
        startFault();
        QTRY_VERIFY(render_fault::rendererThreads() == 3 && decoderThreadsAreWaiting());
    }
};

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    prepareMediaPlatform();
    const QGuiApplication application(argc, argv);
    TestRetiredDecoder suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_retireddecoder.moc"
