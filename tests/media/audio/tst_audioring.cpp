#include "media/audio/audioring.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"

#include <QTest>

#include <memory>
#include <random>
#include <thread>
#include <vector>

using media::audio::AudioRing;

namespace {

// Whole numbers up to 2^24 are exact in a float.
float numbered(quint64 position)
{
    return static_cast<float>(position % (quint64{1} << 24));
}

std::vector<float> numberedSamples(quint64 first, quint64 count)
{
    std::vector<float> samples;
    for (quint64 i = 0; i < count; ++i)
        samples.push_back(numbered(first + i));
    return samples;
}

std::vector<float> readUpTo(AudioRing& ring, quint64 count)
{
    std::vector<float> samples(count);
    samples.resize(ring.read(samples.data(), count));
    return samples;
}

/// What the two sides of a race found out, to be judged after the join.
struct Race {
    quint64 total = 0;
    quint64 mostPerWrite = 0;
    quint64 mostPerRead = 0;
    int producerNaps = 0; ///< one yield after every so many writes; 0 = none
    int consumerNaps = 0;

    quint64 firstWrong = ~quint64{0};
    quint64 received = 0;
    quint64 largestAvailable = 0;
    quint64 largestFree = 0;
};

void napAfter(int calls, int every)
{
    if (every > 0 && calls % every == 0)
        std::this_thread::yield();
}

void produce(AudioRing& ring, Race& race)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<quint64> size(1, race.mostPerWrite);
    quint64 sent = 0;
    for (int calls = 1; sent < race.total; ++calls) {
        const std::vector<float> block =
            numberedSamples(sent, std::min(size(random), race.total - sent));
        race.largestFree = std::max(race.largestFree, ring.freeSamples());
        const quint64 taken = ring.write(block.data(), block.size());
        sent += taken;
        if (taken == 0)
            std::this_thread::yield();
        napAfter(calls, race.producerNaps);
    }
}

void consume(AudioRing& ring, Race& race)
{
    std::mt19937 random(2);
    std::uniform_int_distribution<quint64> size(1, race.mostPerRead);
    for (int calls = 1; race.received < race.total; ++calls) {
        race.largestAvailable = std::max(race.largestAvailable, ring.available());
        const std::vector<float> block = readUpTo(ring, size(random));
        for (const float sample : block) {
            if (sample != numbered(race.received))
                race.firstWrong = std::min(race.firstWrong, race.received);
            ++race.received;
        }
        if (block.empty())
            std::this_thread::yield();
        napAfter(calls, race.consumerNaps);
    }
}

} // namespace

class TestAudioRing : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void aRingWithoutCapacityTakesAndGivesNothing()
    {
        AudioRing ring;
        float sample = 0.5F;
        QCOMPARE(ring.write(&sample, 1), quint64{0});
        QCOMPARE(ring.read(&sample, 1), quint64{0});
        QCOMPARE(sample, 0.5F);
        QCOMPARE(ring.available(), quint64{0});
        QCOMPARE(ring.freeSamples(), quint64{0});
        QCOMPARE(ring.capacity(), quint64{0});
    }

    void setCapacityRoundsTheRequestAndTheEmptySlotUpToAPowerOfTwo_data()
    {
        QTest::addColumn<quint64>("requested");
        QTest::addColumn<quint64>("capacity");
        QTest::newRow("nothing leaves one slot, which stays empty") << quint64{0} << quint64{0};
        QTest::newRow("one needs two slots") << quint64{1} << quint64{1};
        QTest::newRow("two need four") << quint64{2} << quint64{3};
        QTest::newRow("three fill four") << quint64{3} << quint64{3};
        QTest::newRow("8191 fill 8192") << quint64{8191} << quint64{8191};
        QTest::newRow("8192 need 16384") << quint64{8192} << quint64{16383};
        QTest::newRow("16384 need 32768") << quint64{16384} << quint64{32767};
        QTest::newRow("the bound itself, unclamped") << quint64{16777216} << quint64{33554431};
    }

    void setCapacityRoundsTheRequestAndTheEmptySlotUpToAPowerOfTwo()
    {
        QFETCH(quint64, requested);
        QFETCH(quint64, capacity);
        AudioRing ring;
        ring.setCapacity(requested);
        QCOMPARE(ring.capacity(), capacity);
        QCOMPARE(ring.freeSamples(), capacity);
        QCOMPARE(ring.available(), quint64{0});
    }

    void setCapacityAboveTheBoundWarnsAndClamps_data()
    {
        QTest::addColumn<quint64>("requested");
        QTest::newRow("one too many") << quint64{16777217};
        QTest::newRow("a product that overflowed") << ~quint64{0};
    }

    void setCapacityAboveTheBoundWarnsAndClamps()
    {
        QFETCH(quint64, requested);
        AudioRing ring;
        ring.setCapacity(requested);
        const QString expected =
            QString::fromUtf8("AudioRing::setCapacity: clamping request %1 → 16777216 (over "
                              "kMaxRingFrames). Caller likely passed a junk channelCount or "
                              "sample rate. Investigate upstream.")
                .arg(requested);
        QCOMPARE(m_log->take(QtWarningMsg, expected), 1);
        QCOMPARE(ring.capacity(), quint64{33554431});
    }

    void writeAcceptsTheCapacityAndThenReturnsShort()
    {
        AudioRing ring;
        ring.setCapacity(8192);
        const std::vector<float> samples = numberedSamples(0, 20000);
        QCOMPARE(ring.write(samples.data(), 16000), quint64{16000});
        QCOMPARE(ring.freeSamples(), quint64{383});
        QCOMPARE(ring.write(samples.data() + 16000, 4000), quint64{383});
        QCOMPARE(ring.freeSamples(), quint64{0});
        QCOMPARE(ring.write(samples.data(), 1), quint64{0});
        QCOMPARE(ring.available(), quint64{16383});
        QVERIFY(readUpTo(ring, 20000) == numberedSamples(0, 16383));
    }

    void writeStoresTheFirstSamplesThatFit()
    {
        AudioRing ring;
        ring.setCapacity(7);
        const std::vector<float> filler = numberedSamples(100, 3);
        QCOMPARE(ring.write(filler.data(), 3), quint64{3});
        const std::vector<float> samples = numberedSamples(1, 10);
        QCOMPARE(ring.write(samples.data(), 10), quint64{4});
        QCOMPARE(readUpTo(ring, 10), (std::vector<float>{100, 101, 102, 1, 2, 3, 4}));
    }

    void readReturnsWhatThereIsAndLeavesTheRestOfTheDestination()
    {
        AudioRing ring;
        ring.setCapacity(15);
        const std::vector<float> samples = numberedSamples(1, 3);
        ring.write(samples.data(), 3);
        std::vector<float> destination(10, -1.0F);
        QCOMPARE(ring.read(destination.data(), 10), quint64{3});
        QCOMPARE(destination, (std::vector<float>{1, 2, 3, -1, -1, -1, -1, -1, -1, -1}));
        QCOMPARE(ring.read(destination.data(), 10), quint64{0});
    }

    void nullBuffersAndCountsOfZeroMoveNothing()
    {
        AudioRing ring;
        ring.setCapacity(7);
        const std::vector<float> samples = numberedSamples(1, 3);
        ring.write(samples.data(), 3);
        QCOMPARE(ring.write(nullptr, 2), quint64{0});
        QCOMPARE(ring.read(nullptr, 2), quint64{0});
        QCOMPARE(ring.write(samples.data(), 0), quint64{0});
        float untouched = -1.0F;
        QCOMPARE(ring.read(&untouched, 0), quint64{0});
        QCOMPARE(untouched, -1.0F);
        QCOMPARE(ring.available(), quint64{3});
    }

    void setCapacityDropsWhatWasQueued_data()
    {
        QTest::addColumn<quint64>("requested");
        QTest::newRow("the same") << quint64{100};
        QTest::newRow("larger") << quint64{1000};
        QTest::newRow("smaller") << quint64{10};
    }

    void setCapacityDropsWhatWasQueued()
    {
        QFETCH(quint64, requested);
        AudioRing ring;
        ring.setCapacity(100);
        const std::vector<float> samples = numberedSamples(1, 90);
        ring.write(samples.data(), 90);
        readUpTo(ring, 50);
        ring.setCapacity(requested);
        QCOMPARE(ring.available(), quint64{0});
        QCOMPARE(ring.freeSamples(), ring.capacity());
        QVERIFY(readUpTo(ring, 10).empty());
        QCOMPARE(ring.write(samples.data(), 5), quint64{5});
        QCOMPARE(readUpTo(ring, 10), (std::vector<float>{1, 2, 3, 4, 5}));
    }

    void randomPiecesComeOutInOrderOverManyCycles_data()
    {
        QTest::addColumn<quint64>("capacity");
        QTest::addColumn<quint64>("mostAtOnce");
        QTest::addColumn<uint>("seed");
        QTest::newRow("a ring of one sample") << quint64{1} << quint64{3} << 11U;
        QTest::newRow("pieces up to the capacity") << quint64{63} << quint64{63} << 12U;
        QTest::newRow("pieces beyond the capacity") << quint64{127} << quint64{300} << 13U;
        QTest::newRow("small pieces in a large ring") << quint64{4095} << quint64{7} << 14U;
    }

    void randomPiecesComeOutInOrderOverManyCycles()
    {
        QFETCH(quint64, capacity);
        QFETCH(quint64, mostAtOnce);
        QFETCH(uint, seed);
        AudioRing ring;
        ring.setCapacity(capacity);
        QCOMPARE(ring.capacity(), capacity);
        std::mt19937 random(seed);
        std::uniform_int_distribution<quint64> size(0, mostAtOnce);
        quint64 sent = 0;
        quint64 received = 0;
        while (received < 100 * (capacity + 1)) {
            const quint64 queued = sent - received;
            const quint64 offered = size(random);
            const std::vector<float> block = numberedSamples(sent, offered);
            const quint64 taken = ring.write(block.data(), offered);
            QCOMPARE(taken, std::min(offered, capacity - queued));
            sent += taken;
            const quint64 wanted = size(random);
            const quint64 expected = std::min(wanted, sent - received);
            QVERIFY(readUpTo(ring, wanted) == numberedSamples(received, expected));
            received += expected;
            QCOMPARE(ring.available(), sent - received);
            QCOMPARE(ring.freeSamples(), capacity - (sent - received));
        }
    }

    void aMillionSamplesCrossTwoThreadsInOrder_data()
    {
        QTest::addColumn<quint64>("mostPerWrite");
        QTest::addColumn<quint64>("mostPerRead");
        QTest::addColumn<int>("producerNaps");
        QTest::addColumn<int>("consumerNaps");
        QTest::newRow("fast producer") << quint64{900} << quint64{200} << 0 << 1;
        QTest::newRow("fast consumer") << quint64{200} << quint64{900} << 1 << 0;
        QTest::newRow("both as fast as they can") << quint64{700} << quint64{700} << 0 << 0;
        QTest::newRow("single samples") << quint64{1} << quint64{1} << 0 << 0;
    }

    void aMillionSamplesCrossTwoThreadsInOrder()
    {
        Race race;
        race.total = 1'000'000;
        QFETCH(quint64, mostPerWrite);
        QFETCH(quint64, mostPerRead);
        QFETCH(int, producerNaps);
        QFETCH(int, consumerNaps);
        race.mostPerWrite = mostPerWrite;
        race.mostPerRead = mostPerRead;
        race.producerNaps = producerNaps;
        race.consumerNaps = consumerNaps;

        AudioRing ring;
        ring.setCapacity(1000);
        {
            const std::jthread producer([&] { produce(ring, race); });
            const std::jthread consumer([&] { consume(ring, race); });
        }
        QCOMPARE(race.received, race.total);
        QCOMPARE(race.firstWrong, ~quint64{0});
        QVERIFY(race.largestAvailable <= ring.capacity());
        QVERIFY(race.largestFree <= ring.capacity());
        QCOMPARE(ring.available(), quint64{0});
    }
};

QTEST_APPLESS_MAIN(TestAudioRing)
#include "tst_audioring.moc"
