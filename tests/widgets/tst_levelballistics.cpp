#include "support/logcatcher.h"
#include "widgets/levelballistics.h"

#include <QTest>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

class TestLevelBallistics : public QObject {
    Q_OBJECT

private:
    static void addConstant(LevelBallistics& meter, float level, int count, qint64 nowMs)
    {
        const std::vector<float> samples(static_cast<size_t>(count), level);
        meter.addBlock(samples.data(), count, nowMs);
    }

    static void compareNear(double actual, double expected)
    {
        QVERIFY2(std::abs(actual - expected) < 1e-9,
                 qPrintable(QStringLiteral("%1, not %2").arg(actual).arg(expected)));
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void restsAtZero()
    {
        LevelBallistics meter;
        meter.advance(10000);
        QCOMPARE(meter.reading(), LevelReading{});
    }

    void rmsMovesATenthPer128Samples()
    {
        LevelBallistics meter;
        addConstant(meter, -0.5F, 128, 0);
        compareNear(meter.reading().smoothedRms, 0.05);
        addConstant(meter, 1.0F, 256, 0);
        // a = 0.9²: 0.19 × 1 + 0.81 × 0.05
        compareNear(meter.reading().smoothedRms, 0.2305);
    }

    void rmsIsTheRootOfTheMeanSquare()
    {
        LevelBallistics meter;
        std::vector<float> samples(128, 0.0F);
        samples[3] = 1.0F;
        samples[77] = -1.0F;
        meter.addBlock(samples.data(), 128, 0);
        // sqrt(2 / 128) = 0.125
        compareNear(meter.reading().smoothedRms, 0.0125);
        compareNear(meter.reading().displayedPeak, 1.0);
    }

    void peakFallsHalfOfFullScaleASecond()
    {
        LevelBallistics meter;
        addConstant(meter, -0.75F, 64, 1000);
        meter.advance(1000);
        compareNear(meter.reading().displayedPeak, 0.75);
        meter.advance(1400);
        compareNear(meter.reading().displayedPeak, 0.55);
        meter.advance(2500);
        QCOMPARE(meter.reading().displayedPeak, 0.0);
    }

    void peakRestartsOnlyFromALouderBlock()
    {
        LevelBallistics meter;
        addConstant(meter, 0.75F, 64, 0);
        meter.advance(400);
        addConstant(meter, 0.5F, 64, 400);
        meter.advance(500);
        compareNear(meter.reading().displayedPeak, 0.5);
        addConstant(meter, 0.625F, 64, 500);
        meter.advance(600);
        compareNear(meter.reading().displayedPeak, 0.575);
    }

    void holdStaysHalfASecondThenFallsEverFaster()
    {
        LevelBallistics meter;
        addConstant(meter, 0.5F, 64, 0);
        meter.advance(500);
        compareNear(meter.reading().peakHold, 0.5);
        meter.advance(501);
        compareNear(meter.reading().peakHold, 0.498);
        meter.advance(502);
        // 1.002^1.1 = 1.002200219978…
        compareNear(meter.reading().peakHold, 0.498 - (std::pow(1.002, 1.1) - 1));
        meter.advance(503);
        compareNear(meter.reading().peakHold,
                    0.498 - (std::pow(1.002, 1.1) - 1) - (std::pow(1.002, 1.21) - 1));
        for (int i = 0; i < 1000; ++i)
            meter.advance(504 + i);
        QCOMPARE(meter.reading().peakHold, 0.0);
    }

    void holdStartsAnewFromALouderBlock()
    {
        LevelBallistics meter;
        addConstant(meter, 0.5F, 64, 0);
        for (int i = 0; i < 10; ++i)
            meter.advance(501);
        addConstant(meter, 0.75F, 64, 600);
        meter.advance(1100);
        compareNear(meter.reading().peakHold, 0.75);
        meter.advance(1101);
        compareNear(meter.reading().peakHold, 0.748);
    }

    void anEquallyLoudBlockLetsTheHoldFall()
    {
        LevelBallistics meter;
        addConstant(meter, 0.5F, 64, 0);
        addConstant(meter, 0.5F, 64, 400);
        meter.advance(501);
        compareNear(meter.reading().peakHold, 0.498);
    }

    void samplesThatAreNotFiniteCountAsSilence()
    {
        LevelBallistics meter;
        std::vector<float> samples(128, 0.5F);
        for (size_t i = 0; i < 96; i += 3) {
            samples[i] = std::numeric_limits<float>::quiet_NaN();
            samples[i + 1] = std::numeric_limits<float>::infinity();
            samples[i + 2] = -std::numeric_limits<float>::infinity();
        }
        meter.addBlock(samples.data(), 128, 0);
        // sqrt(32 × 0.25 / 128) = 0.25
        compareNear(meter.reading().smoothedRms, 0.025);
        compareNear(meter.reading().displayedPeak, 0.5);
        compareNear(meter.reading().peakHold, 0.5);
    }

    void anEmptyBlockChangesNothing()
    {
        LevelBallistics meter;
        addConstant(meter, 0.5F, 64, 0);
        const LevelReading before = meter.reading();
        meter.addBlock(nullptr, 0, 100);
        QCOMPARE(meter.reading(), before);
    }
};

QTEST_APPLESS_MAIN(TestLevelBallistics)
#include "tst_levelballistics.moc"
