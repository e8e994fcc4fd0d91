#include "engine/takewriter.h"
#include "support/allocationcounter.h"
#include "support/signalmakers.h"

#include <QTest>

#include <optional>

namespace {

constexpr int kRateHz = 44100;

TrackHandle newTake(int channels = 1)
{
    return TrackHandle::create(QStringLiteral("Recording"), channels, kRateHz);
}

} // namespace

class TestTakeWriter : public QObject {
    Q_OBJECT

private slots:

    void appendContinuesAMonoTakeInOrder()
    {
        const TrackHandle take = newTake();
        TakeWriter writer(take);
        const QList<float> captured = signal_makers::counter(5000);
        qsizetype done = 0;
        for (const qsizetype chunk :
             {qsizetype{1}, qsizetype{1023}, qsizetype{3000}, qsizetype{976}}) {
            writer.append(captured.constData() + done, chunk);
            done += chunk;
            QCOMPARE(take->length(), done);
        }
        QCOMPARE(take->samples, (QList<QList<float>>{captured}));
    }

    void appendMakesMissingChannelLists()
    {
        const TrackHandle take = newTake();
        take->samples.clear();
        const float sample = 0.5F;
        TakeWriter(take).append(&sample, 1);
        QCOMPARE(take->samples, (QList<QList<float>>{{0.5F}}));
    }

    void appendSplitsByTheTracksChannels()
    {
        const TrackHandle take = newTake(2);
        const QList<float> interleaved{1.0F, -1.0F, 2.0F, -2.0F, 3.0F, -3.0F};
        TakeWriter(take).append(interleaved.constData(), 3);
        QCOMPARE(take->samples, (QList<QList<float>>{{1.0F, 2.0F, 3.0F}, {-1.0F, -2.0F, -3.0F}}));
    }

    void copyKeepsItsSamplesAndTheTakeGrowsOnWithoutCopyingThem()
    {
        const TrackHandle take = newTake();
        TakeWriter writer(take);
        const QList<float> captured = signal_makers::counter(9000);
        writer.append(captured.constData(), 3000);
        const Track copy = *take;
        const float* const memory = copy.samples.constFirst().constData();
        writer.append(captured.constData() + 3000, 1); // parts the lists of channels
        {
            const AllocationCounter counter;
            writer.append(captured.constData() + 3001, 2999);
            QCOMPARE(counter.count(), 0);
        }
        const Track later = *take;
        writer.append(captured.constData() + 6000, 3000);
        QCOMPARE(take->samples.constFirst().constData(), memory);
        QCOMPARE(take->samples.constFirst(), captured);
        QCOMPARE(copy.samples.constFirst(), captured.mid(0, 3000));
        QCOMPARE(later.samples.constFirst(), captured.mid(0, 6000));
    }

    void changingACopyDoesNotReachTheTake()
    {
        const TrackHandle take = newTake();
        TakeWriter writer(take);
        const QList<float> captured = signal_makers::counter(200);
        writer.append(captured.constData(), 100);
        Track copy = *take;
        copy.samples[0].append(0.5F);
        copy.samples[0][0] = 0.5F;
        writer.append(captured.constData() + 100, 100);
        QCOMPARE(take->samples.constFirst(), captured);
        QCOMPARE(copy.samples.constFirst().size(), 101);
    }

    // The memory that is taken ahead is not written to, so this costs little of it.
    void roomAheadIsThereWheneverACopyIsMade()
    {
        const TrackHandle take = newTake();
        TakeWriter writer(take);
        const QList<float> block = signal_makers::noise(1 << 20, 1);
        for (int blocks = 1; blocks <= 34; ++blocks) {
            writer.append(block.constData(), block.size());
            QVERIFY(take->samples.constFirst().capacity() - take->length() >=
                    TakeWriter::kRoomAheadFrames);
        }
    }

    void samplesAreCopiedOnlyWhenACopyOutlivesTheRoomAhead()
    {
        const TrackHandle take = newTake();
        TakeWriter writer(take);
        const QList<float> block = signal_makers::counter(1 << 20);
        writer.append(block.constData(), block.size());
        std::optional<Track> copy = *take;
        const qsizetype room = take->samples.constFirst().capacity();
        const float* const memory = take->samples.constFirst().constData();
        qsizetype blocks = 1;
        for (; (blocks + 1) * block.size() <= room; ++blocks)
            writer.append(block.constData(), block.size());
        QCOMPARE(take->samples.constFirst().constData(), memory);
        writer.append(block.constData(), block.size());
        ++blocks;
        QVERIFY(take->samples.constFirst().constData() != memory);
        QCOMPARE(copy->samples.constFirst(), block);
        copy.reset();
        writer.append(block.constData(), block.size());
        ++blocks;
        QCOMPARE(take->length(), blocks * block.size());
        for (qsizetype b = 0; b < blocks; ++b)
            QCOMPARE(take->samples.constFirst().mid(b * block.size(), block.size()), block);
    }

    void takeStaysWhenTheWriterIsGone()
    {
        const TrackHandle take = newTake();
        const QList<float> captured = signal_makers::counter(100);
        TakeWriter(take).append(captured.constData(), 100);
        take->samples[0].append(0.5F);
        QCOMPARE(take->length(), 101);
        QCOMPARE(take->samples.constFirst().mid(0, 100), captured);
    }
};

QTEST_APPLESS_MAIN(TestTakeWriter)
#include "tst_takewriter.moc"
