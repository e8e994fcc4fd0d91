#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/scopering.h"

#include <QTest>

#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

class TestScopeRing : public QObject {
    Q_OBJECT

private:
    static std::vector<float> drained(ScopeRing& ring)
    {
        std::vector<float> samples(ScopeRing::kMaxHeldSamples);
        samples.resize(static_cast<size_t>(ring.drain(samples.data())));
        return samples;
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void startsEmpty()
    {
        const auto ring = std::make_unique<ScopeRing>();
        QCOMPARE(ring->heldSamples(), 0);
        QCOMPARE(ring->writeIndex(), 0);
        QCOMPARE(ring->readIndex(), 0);
        QCOMPARE(ring->overflowCount(), 0U);
        QVERIFY(drained(*ring).empty());
    }

    void drainGivesWhatWasPushedInOrderOnce()
    {
        const auto ring = std::make_unique<ScopeRing>();
        const std::vector<float> first{0.25F, -0.5F};
        const std::vector<float> second{1.0F};
        ring->push(first.data(), 2);
        ring->push(second.data(), 1);
        QCOMPARE(ring->heldSamples(), 3);
        QCOMPARE(drained(*ring), (std::vector<float>{0.25F, -0.5F, 1.0F}));
        QVERIFY(drained(*ring).empty());
        QCOMPARE(ring->readIndex(), 3);
    }

    void pushOfNothingDoesNothing()
    {
        const auto ring = std::make_unique<ScopeRing>();
        const float sample = 1.0F;
        ring->push(&sample, 0);
        ring->push(&sample, -3);
        QCOMPARE(ring->heldSamples(), 0);
        QCOMPARE(ring->writeIndex(), 0);
    }

    void pushKeepsTheNewestAndCountsTheOverflow_data()
    {
        QTest::addColumn<int>("heldBefore");
        QTest::addColumn<int>("pushed");
        QTest::addColumn<int>("held");
        QTest::addColumn<int>("overflow");
        QTest::addColumn<int>("writeIndex");
        QTest::addColumn<int>("readIndex");
        QTest::newRow("one less than the capacity fits") << 0 << 16383 << 16383 << 0 << 16383 << 0;
        QTest::newRow("the capacity loses one") << 0 << 16384 << 16383 << 1 << 0 << 1;
        QTest::newRow("20000 lose 3617") << 0 << 20000 << 16383 << 3617 << 3616 << 3617;
        QTest::newRow("one more on a full ring") << 16383 << 1 << 16383 << 1 << 0 << 1;
        QTest::newRow("100 more with 10 free") << 16373 << 100 << 16383 << 90 << 89 << 90;
        QTest::newRow("three times the capacity")
            << 100 << 49152 << 16383 << 100 - 16384 + 49152 + 1 << 100 << 101;
    }

    void pushKeepsTheNewestAndCountsTheOverflow()
    {
        QFETCH(int, heldBefore);
        QFETCH(int, pushed);
        const auto ring = std::make_unique<ScopeRing>();
        const QList<float> all = signal_makers::counter(heldBefore + pushed);
        ring->push(all.constData(), heldBefore);
        ring->push(all.constData() + heldBefore, pushed);
        QTEST(ring->heldSamples(), "held");
        QTEST(static_cast<int>(ring->overflowCount()), "overflow");
        QTEST(ring->writeIndex(), "writeIndex");
        QTEST(ring->readIndex(), "readIndex");
        const std::vector<float> kept = drained(*ring);
        QCOMPARE(kept,
                 std::vector<float>(all.end() - static_cast<qsizetype>(kept.size()), all.end()));
    }

    void resetIndicesEmptiesAndKeepsTheCount()
    {
        const auto ring = std::make_unique<ScopeRing>();
        const QList<float> samples = signal_makers::counter(20000);
        ring->push(samples.constData(), 20000);
        ring->resetIndices();
        QCOMPARE(ring->heldSamples(), 0);
        QCOMPARE(ring->writeIndex(), 0);
        QCOMPARE(ring->readIndex(), 0);
        QCOMPARE(ring->overflowCount(), 3617U);
    }

    void randomSizesArriveInOrderAcrossTheWrap()
    {
        const auto ring = std::make_unique<ScopeRing>();
        const QList<float> all = signal_makers::counter(300000);
        std::mt19937 random(7);
        std::vector<float> arrived;
        for (qsizetype pushed = 0; pushed < all.size();) {
            const auto count =
                std::min(static_cast<qsizetype>(1 + random() % 9000), all.size() - pushed);
            ring->push(all.constData() + pushed, static_cast<qint32>(count));
            pushed += count;
            const std::vector<float> part = drained(*ring);
            arrived.insert(arrived.end(), part.begin(), part.end());
        }
        QCOMPARE(arrived, std::vector<float>(all.begin(), all.end()));
        QCOMPARE(ring->overflowCount(), 0U);
    }

    // The producer overruns the consumer all the time: what arrives must still rise
    // without a torn piece, and every sample is either seen or counted as lost.
    void anotherThreadMayFillItWhileItIsDrained()
    {
        constexpr qsizetype kSamples = 2'000'000;
        const auto ring = std::make_unique<ScopeRing>();
        const QList<float> all = signal_makers::counter(kSamples);
        std::atomic<bool> done{false};
        std::thread producer([&] {
            std::mt19937 random(11);
            for (qsizetype pushed = 0; pushed < kSamples;) {
                const auto count =
                    std::min(static_cast<qsizetype>(1 + random() % 20000), kSamples - pushed);
                ring->push(all.constData() + pushed, static_cast<qint32>(count));
                pushed += count;
            }
            done.store(true);
        });
        float newest = 0;
        quint64 arrived = 0;
        bool rising = true;
        for (bool last = false; !last;) {
            last = done.load();
            for (const float sample : drained(*ring)) {
                rising = rising && sample > newest;
                newest = sample;
                ++arrived;
            }
        }
        producer.join();
        QVERIFY(rising);
        QCOMPARE(newest, all.last());
        QCOMPARE(arrived + ring->overflowCount(), static_cast<quint64>(kSamples));
    }
};

QTEST_APPLESS_MAIN(TestScopeRing)
#include "tst_scopering.moc"
