#include "media/devices/mediaplatform.h"
#include "project/decoderrun.h"
#include "project/importing.h"
#include "project/renderfault.h"
#include "project/retireddecoder.h"
#include "support/attempts.h"
#include "support/files.h"
#include "support/mediafiles.h"
#include "support/signalmakers.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

namespace {

constexpr int kRateHz = 44100;
constexpr int kPatienceTicks = 20;
constexpr int kPatienceMs = 30000;

// On a thread that passes for a renderer; returns once it sleeps.
void fault()
{
    const DecoderFaultGuard guard;
    std::thread([] {
        render_fault::becomeRenderer();
        render_fault::readAt(0);
    }).detach();
    const QDeadlineTimer deadline(5000);
    while (!guard.hasCaught() && !deadline.hasExpired())
        std::this_thread::yield();
}

} // namespace

class TestDecoderRun : public QObject {
    Q_OBJECT

private:
    QString wavFile(qsizetype frames) const
    {
        const QString path = m_dir.filePath(QStringLiteral("tone.wav"));
        const auto data = media_files::int16Data({signal_makers::sine(frames, 440, kRateHz, 0.5F)});
        writeFile(path, media_files::wav(media_files::WavFormat::Int16, 1, kRateHz, data));
        return path;
    }

    static std::unique_ptr<WatchedFile> opened(const QString& path)
    {
        auto file = std::make_unique<WatchedFile>(path);
        return file->open(QIODevice::ReadOnly) ? std::move(file) : nullptr;
    }

    /// Some decoders miss their own start: an attempt in which none began is spoiled.
    static bool hasBegunAndEnded(DecoderRun& run)
    {
        run.start();
        return QTest::qWaitFor([&run] { return run.isDone(); }, kPatienceMs) && run.hasDelivered();
    }

    QTemporaryDir m_dir;

private slots:

    void withoutADurationNoProgressIsTold_data()
    {
        QTest::addColumn<qint64>("durationMs");
        QTest::addColumn<bool>("isTold");
        QTest::newRow("nothing") << qint64(0) << false;
        QTest::newRow("unknown") << qint64(-1) << false;
        QTest::newRow("known") << qint64(1000) << true;
    }

    // This decoder reports none of its own.
    void withoutADurationNoProgressIsTold()
    {
        QFETCH(qint64, durationMs);
        const QString path = wavFile(kRateHz);
        auto state = DecoderRun::State::Running;
        bool isTold = false;
        QVERIFY(inThreeAttempts([&] {
            DecoderRun run(opened(path), durationMs, kPatienceTicks);
            const QSignalSpy progress(&run, &DecoderRun::progressChanged);
            const bool isWhole = hasBegunAndEnded(run);
            state = run.state();
            isTold = !progress.isEmpty();
            return isWhole;
        }));
        QCOMPARE(state, DecoderRun::State::Finished);
        QTEST(isTold, "isTold");
    }

    void aFileTooShortForADurationTellsOnlyTheFinalHundred()
    {
        const Import import(wavFile(10));
        QVERIFY(import.succeeded());
        QCOMPARE(import.track->length(), 10);
        QCOMPARE(import.progress, QList<int>{100});
    }

    void theErrorOfADecoderFailsTheRunOnce()
    {
        auto decoder = std::make_unique<QAudioDecoder>();
        QAudioDecoder* const source = decoder.get();
        DecoderRun run(opened(wavFile(kRateHz)), -1, kPatienceTicks, std::move(decoder));
        const QSignalSpy done(&run, &DecoderRun::done);
        emit source->error(QAudioDecoder::FormatError);
        QCOMPARE(run.state(), DecoderRun::State::Failed);
        QCOMPARE(run.errorText(), source->errorString());
        emit source->error(QAudioDecoder::FormatError);
        emit source->finished();
        QCOMPARE(run.state(), DecoderRun::State::Failed);
        QCOMPARE(done.size(), 1);
    }

    void anErrorAfterTheFirstBufferFailsTheRunOnce()
    {
        const QString path = wavFile(kRateHz);
        auto state = DecoderRun::State::Running;
        qsizetype ends = 0;
        QVERIFY(inThreeAttempts([&] {
            auto decoder = std::make_unique<QAudioDecoder>();
            QAudioDecoder* const source = decoder.get();
            DecoderRun run(opened(path), -1, kPatienceTicks, std::move(decoder));
            const QSignalSpy done(&run, &DecoderRun::done);
            // The run hears of the buffer first.
            connect(
                source, &QAudioDecoder::bufferReady, &run,
                [source] {
                    emit source->error(QAudioDecoder::FormatError);
                    emit source->error(QAudioDecoder::FormatError);
                    emit source->finished();
                },
                Qt::SingleShotConnection);
            const bool isWhole = hasBegunAndEnded(run);
            state = run.state();
            ends = done.size();
            return isWhole && !run.samples().isEmpty();
        }));
        QCOMPARE(state, DecoderRun::State::Failed);
        QCOMPARE(ends, 1);
    }

    // Nothing can be read from it, yet it has begun.
    void aDecoderThatDeliveredAnEmptyBufferGetsMoreTime()
    {
        const QString path = m_dir.filePath(QStringLiteral("nothing.txt"));
        writeFile(path, "nothing");
        auto decoder = std::make_unique<QAudioDecoder>();
        QAudioDecoder* const source = decoder.get();
        DecoderRun run(opened(path), -1, 2, std::move(decoder));
        QElapsedTimer timer;
        timer.start();
        run.start();
        emit source->bufferReady();
        QTRY_VERIFY_WITH_TIMEOUT(run.isDone(), kPatienceMs);
        QCOMPARE(run.state(), DecoderRun::State::Stalled);
        QVERIFY(run.samples().isEmpty());
        QVERIFY(timer.elapsed() >=
                (DecoderRun::kPatienceTicksOnceDelivering - 1) * DecoderRun::kTickMs);
    }

    // From here on threads stay asleep for good.
    void aDecoderThatFinishesAfterAFaultHasCrashed()
    {
        const QString path = wavFile(kRateHz);
        bool isWaiting = false;
        auto state = DecoderRun::State::Running;
        bool isEmpty = false;
        QVERIFY(inThreeAttempts([&] {
            auto decoder = std::make_unique<QAudioDecoder>();
            const QPointer source(decoder.get());
            // Before the run hears of it.
            connect(source, &QAudioDecoder::bufferReady, source, &fault, Qt::SingleShotConnection);
            DecoderRun run(opened(path), -1, kPatienceTicks, std::move(decoder));
            connect(source, &QAudioDecoder::bufferReady, source, [source, &isWaiting] {
                isWaiting = source->bufferAvailable();
                emit source->finished();
            });
            run.start();
            (void)QTest::qWaitFor([&run] { return run.isDone(); }, kPatienceMs);
            state = run.state();
            isEmpty = run.samples().isEmpty();
            return isWaiting;
        }));
        QCOMPARE(state, DecoderRun::State::Crashed);
        QVERIFY(isEmpty);
    }

    void aFaultBesideARetiredDecoderIsNoReasonToRefuseAFile_data()
    {
        QTest::addColumn<bool>("isAnotherRetiring");
        QTest::addColumn<int>("faults");
        QTest::newRow("another's") << true << 1;
        QTest::newRow("another's, and then its own") << true << 2;
        QTest::newRow("its own") << false << 1;
    }

    void aFaultBesideARetiredDecoderIsNoReasonToRefuseAFile()
    {
        QFETCH(bool, isAnotherRetiring);
        QFETCH(int, faults);
        const QString path = wavFile(30 * kRateHz);
        QTRY_COMPARE_WITH_TIMEOUT(RetiredDecoder::count(), 0, kPatienceMs);
        // One that never starts takes its time to be given up.
        const auto retireOne = [&path] {
            RetiredDecoder::retire(std::make_unique<QAudioDecoder>(), opened(path),
                                   std::make_unique<DecoderFaultGuard>());
        };
        if (isAnotherRetiring)
            retireOne();
        AudioImporter importer;
        const QSignalSpy errors(&importer, &AudioImporter::errorOccurred);
        int left = faults;
        connect(&importer, &AudioImporter::progressChanged, this, [&](int percent) {
            if (percent == 100 || left == 0)
                return;
            --left;
            fault();
            if (left > 0)
                retireOne(); // the one before is abandoned
        });
        const TrackHandle track = importer.importFile(path);
        const bool isGood = isAnotherRetiring && faults == 1;
        QCOMPARE(left, 0);
        QCOMPARE(!track.isNull(), isGood);
        QCOMPARE(errors.size(), isGood ? 0 : 1);
        if (track)
            QCOMPARE(track->length(), 30 * kRateHz);
    }
};

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    prepareMediaPlatform();
    const QGuiApplication application(argc, argv);
    TestDecoderRun suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_decoderrun.moc"
