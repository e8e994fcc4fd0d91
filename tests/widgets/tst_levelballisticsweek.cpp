// A level meter that is left on for a week.

#include "support/logcatcher.h"
#include "widgets/levelballistics.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>

namespace {

constexpr qint64 kTickMs = 75;
constexpr qint64 kWeekMs = qint64{7} * 24 * 3600 * 1000;
constexpr int kBlockSamples = 16;
constexpr double kTolerance = 1e-9;

/// What the meter is given in one tick: a constant level, or nothing at all.
using Block = std::array<float, kBlockSamples>;

/// What a listener knows: which levels have been there, and since when.
class Listener {
public:
    void hear(double level, qint64 nowMs)
    {
        m_loudest = std::max(m_loudest, level);
        if (level != m_level || m_blocks == 0) {
            m_level = level;
            m_sinceMs = nowMs;
            m_blocks = 0;
            m_rmsBefore = m_rmsNow;
        }
        // An equally loud block is no news to the hold.
        if (level > m_shownHold) {
            m_heldLevel = level;
            m_heldSinceMs = nowMs;
        }
        ++m_blocks;
        // A level that stays pulls the mean nearer by the same factor each time.
        const double keep = std::pow(0.9, m_blocks * (kBlockSamples / 128.0));
        m_rmsNow = m_level + (m_rmsBefore - m_level) * keep;
    }

    [[nodiscard]] bool agrees(const LevelReading& reading, qint64 nowMs)
    {
        m_shownHold = reading.peakHold;
        if (!holdRestsThenFalls(nowMs))
            return false;
        const auto inRange = [this](double value) { return value >= 0 && value <= m_loudest; };
        if (!inRange(reading.displayedPeak) || !inRange(reading.peakHold))
            return false;
        // Whatever was there before has fallen by 0.5 a second from at most 1.
        const qint64 forMs = nowMs - m_sinceMs;
        if (m_level == 0 && forMs >= 2000 && reading.displayedPeak != 0)
            return false;
        if (m_level == 0 && forMs >= kHoldGoneMs && reading.peakHold != 0)
            return false;
        return std::abs(reading.smoothedRms - m_rmsNow) < kTolerance;
    }

private:
    [[nodiscard]] bool holdRestsThenFalls(qint64 nowMs) const
    {
        if (nowMs - m_heldSinceMs <= kHoldMs)
            return m_shownHold == m_heldLevel;
        return m_shownHold < m_heldLevel || m_heldLevel == 0;
    }

    static constexpr qint64 kHoldMs = 500;
    // After the rest come steps that grow by the power of 1.1: of full scale
    // nothing is left after 43 of them.
    static constexpr qint64 kHoldGoneMs = kHoldMs + 60 * kTickMs;

    double m_loudest = 0;
    double m_level = 0;
    qint64 m_sinceMs = 0;
    double m_shownHold = 0;
    double m_heldLevel = 0;
    qint64 m_heldSinceMs = 0;
    int m_blocks = 0;
    double m_rmsBefore = 0;
    double m_rmsNow = 0;
};

/// Runs the week and says when the meter first disagreed; −1: never.
qint64 firstDisagreement(qint64 startMs)
{
    std::mt19937 random(5);
    LevelBallistics meter;
    Listener listener;
    Block block{};
    qint64 changeMs = startMs;
    for (qint64 nowMs = startMs; nowMs < startMs + kWeekMs; nowMs += kTickMs) {
        if (nowMs >= changeMs) {
            changeMs = nowMs + 75 * static_cast<qint64>(1 + random() % 4000);
            // In sixteenths: squares and their sums are exact.
            block.fill(random() % 3 == 0 ? 0.0F : static_cast<float>(random() % 17) / 16.0F);
        }
        meter.addBlock(block.data(), kBlockSamples, nowMs);
        meter.advance(nowMs);
        listener.hear(static_cast<double>(block[0]), nowMs);
        if (!listener.agrees(meter.reading(), nowMs))
            return nowMs - startMs;
    }
    return -1;
}

} // namespace

class TestLevelBallisticsWeek : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void barsStayWhereTheLevelPutsThem_data()
    {
        QTest::addColumn<qint64>("startMs");
        QTest::newRow("from the beginning") << qint64{0};
        QTest::newRow("across 2^31 ms") << (qint64{1} << 31) - kWeekMs / 2;
        QTest::newRow("across 2^32 ms") << (qint64{1} << 32) - kWeekMs / 2;
        QTest::newRow("across 2^53 ms") << (qint64{1} << 53) - kWeekMs / 2;
    }

    void barsStayWhereTheLevelPutsThem()
    {
        QFETCH(qint64, startMs);
        QCOMPARE(firstDisagreement(startMs), qint64{-1});
    }

    /// What no loudspeaker should be sent, for a day.
    void barsStayFiniteWhateverComes()
    {
        std::mt19937 random(9);
        LevelBallistics meter;
        Block block{};
        qint64 nowMs = 0;
        bool finite = true;
        for (int tick = 0; tick < 1'152'000; ++tick, nowMs += kTickMs) {
            for (float& sample : block) {
                const auto bits = static_cast<quint32>(random());
                std::memcpy(&sample, &bits, sizeof sample);
            }
            if (random() % 50 == 0)
                meter.addBlock(block.data(), kBlockSamples, nowMs);
            meter.advance(nowMs);
            const LevelReading& reading = meter.reading();
            for (const double value :
                 {reading.smoothedRms, reading.displayedPeak, reading.peakHold})
                finite = finite && std::isfinite(value) && value >= 0;
        }
        QVERIFY(finite);
    }
};

QTEST_APPLESS_MAIN(TestLevelBallisticsWeek)
#include "tst_levelballisticsweek.moc"
