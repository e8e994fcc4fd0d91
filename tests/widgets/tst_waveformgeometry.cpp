#include "support/logcatcher.h"
#include "widgets/waveformgeometry.h"

#include <QTest>

#include <limits>
#include <memory>

namespace {

constexpr qint64 kHighest = std::numeric_limits<qint64>::max();
constexpr qint64 kLowest = std::numeric_limits<qint64>::min();

} // namespace

class TestWaveformGeometry : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void xToSampleTruncatesTowardZero()
    {
        const WaveformGeometry geometry({1000, 1010}, 4); // 2.5 frames a pixel
        QCOMPARE(geometry.xToSample(0), 1000);
        QCOMPARE(geometry.xToSample(1), 1002);
        QCOMPARE(geometry.xToSample(2), 1005);
        QCOMPARE(geometry.xToSample(3), 1007);
        QCOMPARE(geometry.xToSample(4), 1010);
        QCOMPARE(geometry.xToSample(-1), 998); // −2.5 → −2
    }

    void xToSampleWithoutAWidthIsTheBegin()
    {
        QCOMPARE(WaveformGeometry({70, 90}, 0).xToSample(5), 70);
    }

    void sampleToXTruncatesTowardZero()
    {
        const WaveformGeometry geometry({1000, 1003}, 10); // 3.33 pixels a frame
        QCOMPARE(geometry.sampleToX(1000), 0);
        QCOMPARE(geometry.sampleToX(1001), 3);
        QCOMPARE(geometry.sampleToX(1002), 6);
        QCOMPARE(geometry.sampleToX(1003), 10);
        QCOMPARE(geometry.sampleToX(999), -3);
        // −0.8 of a pixel is pixel 0, not −1.
        QCOMPARE(WaveformGeometry({5, 15}, 8).sampleToX(4), 0);
    }

    void sampleToXIsZeroWithoutSpanOrWidth()
    {
        QCOMPARE(WaveformGeometry({10, 10}, 100).sampleToX(50), 0);
        QCOMPARE(WaveformGeometry({10, 5}, 100).sampleToX(50), 0);
        QCOMPARE(WaveformGeometry({0, 10}, 0).sampleToX(50), 0);
    }

    void samplesPerPixelIsSpanOverWidthAndOneWithoutAWidth()
    {
        QCOMPARE(WaveformGeometry({10, 35}, 10).samplesPerPixel(), 2.5);
        QCOMPARE(WaveformGeometry({10, 35}, 0).samplesPerPixel(), 1.0);
    }

    void visibleRangeSlidesRightToFrameZeroAndKeepsTheSpan()
    {
        QCOMPARE(visibleRange(5, 3), (FrameRange{5, 3}));
        QCOMPARE(visibleRange(0, 0), (FrameRange{0, 0}));
        QCOMPARE(visibleRange(-30, 70), (FrameRange{0, 100}));
        QCOMPARE(visibleRange(-30, -40), (FrameRange{0, 1}));
        QCOMPARE(visibleRange(kLowest, kHighest), (FrameRange{0, kHighest}));
    }

    void pannedMovesByTruncatedFramesFromTheAnchor()
    {
        const WaveformGeometry geometry({100, 125}, 10);          // 2.5 frames a pixel
        QCOMPARE(geometry.panned(100, 3), (FrameRange{93, 118})); // 7.5 → 7
        QCOMPARE(geometry.panned(100, -3), (FrameRange{107, 132}));
        QCOMPARE(geometry.panned(40, 0), (FrameRange{40, 65}));
        // Without a width, one frame a pixel.
        QCOMPARE(WaveformGeometry({0, 5}, 0).panned(50, 3), (FrameRange{47, 52}));
    }

    void zoomedKeepsTheFrameUnderThePointer()
    {
        const WaveformGeometry geometry({1000, 2000}, 100);
        // In: 800 frames, the pointer's frame 1250 stays a quarter in.
        QCOMPARE(geometry.zoomed(1, 25), (FrameRange{1050, 1850}));
        // Out: 1000 / 0.8.
        QCOMPARE(geometry.zoomed(-1, 50), (FrameRange{875, 2125}));
        QCOMPARE(geometry.zoomed(0, 33), (FrameRange{1000, 2000}));
        // Half a notch: 1000 × √0.8 = 894.4.
        QCOMPARE(geometry.zoomed(0.5, 0), (FrameRange{1000, 1894}));
        // Without a width the middle counts: 1000 − 400.
        QCOMPARE(WaveformGeometry({1000, 2000}, 0).zoomed(1, 0), (FrameRange{600, 1400}));
    }

    void zoomedNeverGoesBelowSixteenFrames()
    {
        QCOMPARE(WaveformGeometry({0, 17}, 100).zoomed(1, 0), (FrameRange{0, 16}));
        QCOMPARE(WaveformGeometry({0, 16}, 100).zoomed(1, 0), (FrameRange{0, 16}));
        QCOMPARE(WaveformGeometry({8, 8}, 100).zoomed(-1, 0), (FrameRange{8, 24}));
    }

    void zoomingOutWithoutEndSaturatesAndComesBack()
    {
        FrameRange range{0, 44100};
        for (int i = 0; i < 1000; ++i) {
            const FrameRange out = WaveformGeometry(range, 1000).zoomed(-1, 500);
            range = visibleRange(out.begin, out.end);
            QVERIFY(range.isValid());
        }
        QCOMPARE(range, (FrameRange{0, kHighest}));
        for (int i = 0; i < 1000; ++i) {
            const FrameRange in = WaveformGeometry(range, 1000).zoomed(1, 0);
            range = visibleRange(in.begin, in.end);
        }
        QCOMPARE(range, (FrameRange{0, 16}));
    }

    void hostileRangesSaturate()
    {
        const WaveformGeometry geometry({kLowest, kHighest}, 1000);
        QCOMPARE(geometry.range().span(), kHighest);
        QCOMPARE(geometry.sampleToX(kHighest), 1000);
        QCOMPARE(geometry.sampleToX(kLowest), 0);
        QCOMPARE(WaveformGeometry({kHighest - 20, kHighest}, 10).xToSample(100), kHighest);
        // Far outside a narrow view: as far as an int can say.
        QCOMPARE(WaveformGeometry({0, 16}, 1000).sampleToX(kHighest),
                 std::numeric_limits<int>::max());
        QCOMPARE(WaveformGeometry({0, 16}, 1000).sampleToX(kLowest),
                 std::numeric_limits<int>::min());
        const WaveformGeometry top({kHighest - 100, kHighest}, 10);
        QCOMPARE(top.panned(kHighest - 100, -50), (FrameRange{kHighest, kHighest}));
    }
};

QTEST_APPLESS_MAIN(TestWaveformGeometry)
#include "tst_waveformgeometry.moc"
