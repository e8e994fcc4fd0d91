#include "support/logcatcher.h"
#include "widgets/timeruler.h"

#include <QTest>

#include <limits>
#include <memory>

class TestTimeRuler : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void stepIsTheSmallestThatLeavesThirtyTicks_data()
    {
        QTest::addColumn<double>("duration");
        QTest::addColumn<double>("step");
        QTest::newRow("nothing") << 0.0 << 0.001;
        QTest::newRow("the finest just fits") << 0.030 << 0.001;
        QTest::newRow("a little longer") << 0.0301 << 0.002;
        QTest::newRow("one second") << 1.0 << 0.05;
        QTest::newRow("thirty seconds") << 30.0 << 1.0;
        QTest::newRow("an hour") << 3600.0 << 120.0;
        QTest::newRow("the coarsest just fits") << 18000.0 << 600.0;
        QTest::newRow("beyond the table") << 18000.5 << 1.0;
    }

    void stepIsTheSmallestThatLeavesThirtyTicks()
    {
        QFETCH(double, duration);
        QTEST(rulerStepSeconds(duration), "step");
    }

    void ticksBeginAtTheFirstMultipleInsideAndEndWithTheRange()
    {
        // 1000 Hz, 60 ms: every 2 ms, from 7 → 8 to 67 → 66.
        const auto ticks = rulerTicks(WaveformGeometry({7, 67}, 600), 1000);
        QCOMPARE(ticks.size(), 30U);
        QCOMPARE(ticks.front(), (RulerTick{8, 10}));
        QCOMPARE(ticks.at(1), (RulerTick{10, 30}));
        QCOMPARE(ticks.back(), (RulerTick{66, 590}));
    }

    void aTickAtTheVeryEndBelongsToTheRange()
    {
        // 1 s at 1000 Hz: every 50 ms, the 21st at the right edge.
        const auto ticks = rulerTicks(WaveformGeometry({0, 1000}, 100), 1000);
        QCOMPARE(ticks.size(), 21U);
        QCOMPARE(ticks.front(), (RulerTick{0, 0}));
        QCOMPARE(ticks.back(), (RulerTick{1000, 100}));
    }

    void aTickBetweenTwoFramesIsTruncatedToTheEarlierOne()
    {
        // 1 ms is 44.1 frames.
        const auto ticks = rulerTicks(WaveformGeometry({0, 100}, 1000), 44100);
        QCOMPARE(ticks.size(), 3U);
        QCOMPARE(ticks.at(1), (RulerTick{44, 440}));
        QCOMPARE(ticks.at(2), (RulerTick{88, 880}));
    }

    void anInvalidRangeHasNoTicks()
    {
        QVERIFY(rulerTicks(WaveformGeometry({5, 5}, 100), 44100).empty());
        QVERIFY(rulerTicks(WaveformGeometry({9, 5}, 100), 44100).empty());
    }

    void anUnknownRateHasOneTickAtZero()
    {
        QCOMPARE(rulerTicks(WaveformGeometry({0, 500}, 100), 0), (std::vector<RulerTick>{{0, 0}}));
        QCOMPARE(rulerTicks(WaveformGeometry({50, 150}, 100), -1),
                 (std::vector<RulerTick>{{0, -50}}));
    }

    void aSpanOfDaysGivesOneTickAColumn()
    {
        // Three days at 100 Hz over 1000 pixels: 259.2 s a pixel, a tick a second.
        const qint64 frames = qint64{3} * 86400 * 100;
        const auto ticks = rulerTicks(WaveformGeometry({0, frames}, 1000), 100);
        QCOMPARE(ticks.size(), 1000U);
        for (std::size_t x = 0; x < ticks.size(); ++x)
            QCOMPARE(ticks[x].x, static_cast<int>(x));
        QCOMPARE(ticks[1].sample, 26000); // 259.2 s → 260 s
    }

    void hostileRangesGiveABoundedNumberOfTicks_data()
    {
        constexpr qint64 kHighest = std::numeric_limits<qint64>::max();
        constexpr qint64 kLowest = std::numeric_limits<qint64>::min();
        QTest::addColumn<qint64>("begin");
        QTest::addColumn<qint64>("end");
        QTest::addColumn<int>("rate");
        QTest::newRow("all of time") << kLowest << kHighest << 44100;
        QTest::newRow("all of time at one frame a second") << kLowest << kHighest << 1;
        QTest::newRow("the last frames") << kHighest - 16 << kHighest << 1;
        QTest::newRow("the last frames at the highest rate")
            << kHighest - 16 << kHighest << std::numeric_limits<int>::max();
        QTest::newRow("the first frames") << kLowest << kLowest + 16 << 1;
    }

    void hostileRangesGiveABoundedNumberOfTicks()
    {
        QFETCH(qint64, begin);
        QFETCH(qint64, end);
        QFETCH(int, rate);
        QVERIFY(rulerTicks(WaveformGeometry({begin, end}, 50), rate).size() <= 102);
    }
};

QTEST_APPLESS_MAIN(TestTimeRuler)
#include "tst_timeruler.moc"
