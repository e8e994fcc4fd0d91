#include "plainwaveform.h"
#include "project/track.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/peakcache.h"
#include "widgets/waveformrenderer.h"

#include <QImage>
#include <QPainter>
#include <QTest>

#include <limits>
#include <memory>

namespace {

constexpr QRgb kBackground = qRgb(30, 30, 30);
constexpr QRgb kRuler = qRgb(45, 45, 45);
constexpr QRgb kTick = qRgb(100, 100, 100);
constexpr QRgb kCentre = qRgb(60, 60, 60);
constexpr QRgb kPeak = qRgb(80, 180, 255);
constexpr QRgb kRms = qRgb(40, 100, 180);

/// A scene with the track and peaks that it reads.
struct Stage {
    Track track;
    PeakCache peaks;
    WaveformScene scene;

    Stage(const QList<QList<float>>& channels, FrameRange range, QSize size, double ratio = 1.0)
    {
        track = Track("t", static_cast<qint32>(channels.size()), 1000);
        track.samples = channels;
        peaks.update(&track);
        scene.track = &track;
        scene.peaks = &peaks;
        scene.range = range;
        scene.size = size;
        scene.devicePixelRatio = ratio;
        scene.sampleRate = 1000;
    }

    Q_DISABLE_COPY_MOVE(Stage)
    ~Stage() = default;

    [[nodiscard]] QImage rendered() const
    {
        QImage image;
        WaveformRenderer().render(image, scene);
        return image;
    }
};

QList<float> alternating(qsizetype frames, float first, float second)
{
    QList<float> samples(frames, first);
    for (qsizetype i = 1; i < frames; i += 2)
        samples[i] = second;
    return samples;
}

QList<QRgb> column(const QImage& image, int x, int top, int bottom)
{
    QList<QRgb> pixels;
    for (int y = top; y < bottom; ++y)
        pixels.append(image.pixel(x, y));
    return pixels;
}

} // namespace

class TestWaveformRenderer : public QObject {
    Q_OBJECT

private:
    static void compareImages(const QImage& actual, const QImage& expected)
    {
        QCOMPARE(actual.size(), expected.size());
        for (int y = 0; y < actual.height(); ++y) {
            for (int x = 0; x < actual.width(); ++x) {
                if (actual.pixel(x, y) != expected.pixel(x, y))
                    QFAIL(qPrintable(QStringLiteral("pixel %1, %2 is %3, not %4")
                                         .arg(x)
                                         .arg(y)
                                         .arg(actual.pixel(x, y), 8, 16)
                                         .arg(expected.pixel(x, y), 8, 16)));
            }
        }
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void imageIsInDevicePixelsTruncated()
    {
        Stage stage({}, {}, {7, 61}, 1.5);
        QCOMPARE(stage.rendered().size(), QSize(10, 91));
        QCOMPARE(stage.rendered().format(), QImage::Format_ARGB32_Premultiplied);
        stage.scene.devicePixelRatio = 2;
        QCOMPARE(stage.rendered().size(), QSize(14, 122));
        stage.scene.size = {1, 1};
        stage.scene.devicePixelRatio = 0.5;
        QCOMPARE(stage.rendered().size(), QSize(1, 1));
        stage.scene.size = {40000, 1};
        stage.scene.devicePixelRatio = 1;
        QCOMPARE(stage.rendered().size(), QSize(32767, 1));
    }

    void withoutTrackChannelsOrSpanThereIsBackgroundAndRulerStrip_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<qint64>("end");
        QTest::addColumn<bool>("ticks");
        QTest::newRow("no channels") << 0 << qint64{100} << false;
        QTest::newRow("an empty range, which has no ticks") << 2 << qint64{0} << true;
        QTest::newRow("more channels than rows") << 81 << qint64{100} << false;
    }

    void withoutTrackChannelsOrSpanThereIsBackgroundAndRulerStrip()
    {
        QFETCH(int, channels);
        QFETCH(qint64, end);
        const QList<QList<float>> samples(channels, signal_makers::constant(100, 0.5F));
        QFETCH(bool, ticks);
        Stage stage(samples, {0, end}, {30, 100});
        stage.scene.showTicks = ticks;
        QImage expected(30, 100, QImage::Format_ARGB32_Premultiplied);
        expected.fill(kBackground);
        QPainter(&expected).fillRect(0, 0, 30, 20, QColor(kRuler));
        compareImages(stage.rendered(), expected);
        stage.scene.track = nullptr;
        compareImages(stage.rendered(), expected);
    }

    // They are of the time line, not of the track.
    void aTrackWithoutChannelsStillHasItsTicks()
    {
        Stage stage({}, {0, 100}, {30, 100});
        stage.scene.showTicks = true;
        const QImage image = stage.rendered();
        QCOMPARE(image.pixel(0, 19), qRgb(100, 100, 100));
        QCOMPARE(image.pixel(0, 20), kBackground);
    }

    void silenceIsAOnePixelLineAcrossTheCentre()
    {
        // Lane 20 … 120, centre 70: half of row 69 and half of row 70, which
        // holds the centre line. Half is 127 of 255.
        const Stage stage({signal_makers::constant(100, 0.0F)}, {0, 100}, {10, 120});
        const QImage image = stage.rendered();
        for (const int x : {0, 9}) {
            QCOMPARE(image.pixel(x, 68), kBackground);
            QCOMPARE(image.pixel(x, 69), qRgb(54, 104, 142));
            QCOMPARE(image.pixel(x, 70), qRgb(69, 119, 157));
            QCOMPARE(image.pixel(x, 71), kBackground);
        }
    }

    void rmsLiesOverThePeakSpan()
    {
        // Constant 0.5: peak span 44.5 … 45.5, rms span 45 … 95.
        const Stage stage({signal_makers::constant(100, 0.5F)}, {0, 100}, {10, 120});
        const QImage image = stage.rendered();
        QCOMPARE(image.pixel(5, 43), kBackground);
        QCOMPARE(image.pixel(5, 44), qRgb(54, 104, 142));
        for (int y = 45; y < 95; ++y)
            QCOMPARE(image.pixel(5, y), kRms);
        QCOMPARE(image.pixel(5, 95), kBackground);
    }

    void partlyCoveredRowsAreBlendedByTheirCoverage()
    {
        // Lane 20 … 30, half 5, centre 25, from the peak cache: 0.25 reaches up
        // to 23.75 (a quarter of row 23), −0.75 down to 28.75 (three quarters).
        const Stage stage({alternating(1024, 0.25F, -0.75F)}, {0, 1024}, {4, 30});
        const QList<QRgb> expected{
            kBackground, kBackground, kBackground, qRgb(42, 67, 85),   kPeak,
            kPeak,       kPeak,       kPeak,       qRgb(67, 142, 198), kBackground};
        for (int x = 0; x < 4; ++x)
            QCOMPARE(column(stage.rendered(), x, 20, 30), expected);
    }

    void rmsIsShownBelow256SamplesAPixelOnly()
    {
        const QList<QList<float>> samples{alternating(1024, 0.5F, -0.5F)};
        const QImage from256 = Stage(samples, {0, 1024}, {4, 120}).rendered();
        const QImage below = Stage(samples, {0, 1023}, {4, 120}).rendered();
        QCOMPARE(from256.pixel(1, 70), kPeak);
        QCOMPARE(below.pixel(1, 70), kRms);
    }

    void from256SamplesAPixelOnThePeakCacheIsDrawnNotTheSamples()
    {
        Stage stage({alternating(1024, 0.5F, -0.5F)}, {0, 1024}, {4, 120});
        const QImage before = stage.rendered();
        stage.track.samples[0].fill(0.0F);
        compareImages(stage.rendered(), before);
        stage.scene.range.end = 1023;
        QCOMPARE(stage.rendered().pixel(1, 50), kBackground);
    }

    void devicePixelsDecideWhetherThePeakCacheServes()
    {
        // 256 samples a logical pixel are 128 a device pixel.
        const Stage stage({alternating(1024, 0.5F, -0.5F)}, {0, 1024}, {4, 120}, 2.0);
        QCOMPARE(stage.rendered().pixel(1, 140), kRms);
    }

    void zoomedInTheLineIsInterpolatedBetweenSamples()
    {
        // Half a frame a pixel. Column 0 runs from 0 to 0.25 (12.5 rows of 50),
        // column 1 from 0.25 to 0.5; the last ones hold the last sample.
        const Stage stage({{0.0F, 0.5F, -0.5F}}, {0, 4}, {8, 120});
        const QImage image = stage.rendered();
        QCOMPARE(image.pixel(0, 56), kBackground);
        QCOMPARE(image.pixel(0, 57), qRgb(54, 104, 142));
        for (int y = 58; y < 70; ++y)
            QCOMPARE(image.pixel(0, y), kPeak);
        QCOMPARE(image.pixel(0, 70), kCentre);
        QCOMPARE(image.pixel(1, 44), kBackground);
        for (int y = 45; y < 57; ++y)
            QCOMPARE(image.pixel(1, y), kPeak);
        QCOMPARE(image.pixel(1, 57), qRgb(54, 104, 142));
        // Past the end: −0.5 at 95, drawn 94.5 … 95.5.
        for (const int x : {4, 7}) {
            QCOMPARE(image.pixel(x, 94), qRgb(54, 104, 142));
            QCOMPARE(image.pixel(x, 95), qRgb(54, 104, 142));
            QCOMPARE(image.pixel(x, 96), kBackground);
        }
    }

    void aColumnBeyondTheEndShowsTheCentreMark()
    {
        const Stage stage({signal_makers::constant(50, 1.0F)}, {0, 100}, {10, 120});
        const QImage image = stage.rendered();
        QCOMPARE(image.pixel(4, 30), kRms);
        QCOMPARE(image.pixel(5, 30), kBackground);
        QCOMPARE(image.pixel(5, 69), qRgb(54, 104, 142));
        QCOMPARE(image.pixel(5, 70), qRgb(69, 119, 157));
    }

    void eachChannelHasALaneAndWhatDoesNotDivideStaysEmpty()
    {
        // 101 rows for two channels: 20 … 70, 70 … 120, row 120 left over.
        const Stage stage({signal_makers::constant(100, 1.0F), {}}, {0, 100}, {10, 121});
        const QImage image = stage.rendered();
        QCOMPARE(image.pixel(3, 20), kRms);
        QCOMPARE(image.pixel(3, 69), kRms);
        for (int y = 70; y < 121; ++y) // no samples: the centre line alone
            QCOMPARE(image.pixel(3, y), y == 95 ? kCentre : kBackground);
    }

    void oneRowALaneIsEnough()
    {
        const QList<QList<float>> samples(80, signal_makers::constant(100, 0.0F));
        const QImage image = Stage(samples, {0, 100}, {4, 100}).rendered();
        // Lane 20 … 21, centre 20.5, span 20 … 21.
        for (int y = 20; y < 100; ++y)
            QCOMPARE(image.pixel(0, y), kPeak);
    }

    void samplesBeyondFullScaleEndAtTheirLane()
    {
        const Stage stage({alternating(100, 3.0F, -3.0F), signal_makers::constant(100, 0.0F)},
                          {0, 100}, {10, 120});
        const QImage image = stage.rendered();
        QCOMPARE(image.pixel(2, 19), kRuler);
        QCOMPARE(image.pixel(2, 20), kRms);
        QCOMPARE(image.pixel(2, 69), kRms);
        QCOMPARE(image.pixel(2, 70), kBackground);
    }

    void samplesThatAreNoNumbersAreHarmless()
    {
        constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        for (const qint64 end : {qint64{5}, qint64{1000}, qint64{5120}}) {
            const Stage nan({signal_makers::constant(5120, kNan)}, {0, end}, {10, 120});
            const Stage silent({signal_makers::constant(5120, 0.0F)}, {0, end}, {10, 120});
            compareImages(nan.rendered(), silent.rendered());
            const Stage both({alternating(5120, kInfinity, -kInfinity)}, {0, end}, {10, 120});
            const QImage image = both.rendered();
            QCOMPARE(image.pixel(1, 19), kRuler);
            if (end >= 1000) {
                QVERIFY(image.pixel(1, 20) == kPeak || image.pixel(1, 20) == kRms);
                QVERIFY(image.pixel(1, 119) == kPeak || image.pixel(1, 119) == kRms);
            }
        }
    }

    void atTwiceTheScaleEverythingIsDrawnInDevicePixels()
    {
        const Stage stage({signal_makers::constant(100, 0.0F)}, {0, 100}, {10, 60}, 2.0);
        const QImage image = stage.rendered();
        // Ruler to row 40, lane 40 … 120, centre 80.
        QCOMPARE(image.pixel(0, 39), kRuler);
        QCOMPARE(image.pixel(0, 40), kBackground);
        QCOMPARE(image.pixel(19, 78), kBackground);
        QCOMPARE(image.pixel(19, 79), qRgb(54, 104, 142));
        QCOMPARE(image.pixel(19, 80), qRgb(69, 119, 157));
        QCOMPARE(image.pixel(19, 81), kBackground);
    }

    void lanesAreTheSameToTheBitAsDrawnThePlainWay_data()
    {
        QTest::addColumn<qint64>("begin");
        QTest::addColumn<qint64>("end");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<double>("ratio");
        const QSize usual(613, 171);
        QTest::newRow("a few samples") << qint64{100} << qint64{131} << usual << 1.0;
        QTest::newRow("just below a sample a pixel") << qint64{7} << qint64{619} << usual << 1.0;
        QTest::newRow("a sample a pixel") << qint64{7} << qint64{620} << usual << 1.0;
        QTest::newRow("three and a half a pixel") << qint64{50} << qint64{2200} << usual << 1.0;
        QTest::newRow("forty a pixel") << qint64{3} << qint64{24803} << usual << 1.0;
        QTest::newRow("just below the cache") << qint64{0} << qint64{613 * 256 - 1} << usual << 1.0;
        QTest::newRow("just from the cache") << qint64{0} << qint64{613 * 256} << usual << 1.0;
        QTest::newRow("from the cache, off its grid")
            << qint64{77} << qint64{190001} << usual << 1.0;
        QTest::newRow("mostly beyond the end") << qint64{0} << qint64{9000000} << usual << 1.0;
        QTest::newRow("before the beginning") << qint64{-5000} << qint64{20000} << usual << 1.0;
        QTest::newRow("twice the scale") << qint64{500} << qint64{50000} << usual << 2.0;
        QTest::newRow("half as much again") << qint64{500} << qint64{9000} << QSize(301, 77) << 1.5;
        QTest::newRow("very wide") << qint64{500} << qint64{90000} << QSize(5001, 41) << 1.0;
        QTest::newRow("very high") << qint64{500} << qint64{9000} << QSize(3, 32767) << 1.0;
        QTest::newRow("one column") << qint64{500} << qint64{700} << QSize(1, 61) << 1.0;
    }

    void lanesAreTheSameToTheBitAsDrawnThePlainWay()
    {
        QFETCH(qint64, begin);
        QFETCH(qint64, end);
        QFETCH(QSize, size);
        QFETCH(double, ratio);
        QList<float> sine = signal_makers::sine(200000, 83.0, 44100.0, 0.9F);
        const QList<float> noise = signal_makers::noise(200000, 11, 1.2F);
        for (qsizetype i = 0; i < sine.size(); ++i)
            sine[i] = sine[i] * static_cast<float>(i) / 200000.0F + 0.1F * noise[i];
        const Stage stage({sine, noise, noise.mid(0, 30000)}, {begin, end}, size, ratio);
        const QImage actual = stage.rendered();
        QImage expected(actual.size(), QImage::Format_ARGB32_Premultiplied);
        expected.fill(kBackground);
        const int top = static_cast<int>(20 * ratio);
        plain_waveform::drawLanes(expected, top, stage.track, {begin, end});
        const QRect lanes(0, top, actual.width(), actual.height() - top);
        compareImages(actual.copy(lanes), expected.copy(lanes));
    }

    void ticksStandInTheLastRowsOfTheRuler()
    {
        // 100 ms over 100 pixels at 1000 Hz: a tick every 5 ms, every 5 pixels.
        Stage stage({}, {0, 100}, {100, 60});
        stage.scene.showTicks = true;
        const QImage image = stage.rendered();
        for (int x = 0; x < 100; ++x) {
            for (int y = 15; y < 20; ++y)
                QCOMPARE(image.pixel(x, y), x % 5 == 0 ? kTick : kRuler);
            QCOMPARE(image.pixel(x, 14), kRuler);
            QCOMPARE(image.pixel(x, 20), kBackground);
        }
    }

    void labelsStandRightOfTheirTicks()
    {
        // 0.6 ms at 1000000 Hz leaves the tick at 2 ms alone in the view.
        Stage stage({}, {1900, 2500}, {300, 60});
        stage.scene.sampleRate = 1000000;
        stage.scene.showTicks = true;
        QImage expected(300, 20, QImage::Format_ARGB32_Premultiplied);
        expected.fill(kRuler);
        QPainter painter(&expected);
        painter.fillRect(50, 15, 1, 5, QColor(kTick)); // 300 × 100 / 600
        QFont font = painter.font();
        font.setPixelSize(10);
        painter.setFont(font);
        painter.setPen(QColor(180, 180, 180));
        painter.drawText(52, 13, QStringLiteral("00:00:00.002"));
        painter.end();
        compareImages(stage.rendered().copy(0, 0, 300, 20), expected);
    }

    void withoutTicksTheRulerIsEmpty()
    {
        const Stage stage({}, {0, 100}, {100, 60});
        QImage expected(100, 20, QImage::Format_ARGB32_Premultiplied);
        expected.fill(kRuler);
        compareImages(stage.rendered().copy(0, 0, 100, 20), expected);
    }

    void renderReusesAnImageWithoutATrace()
    {
        Stage stage({signal_makers::noise(5000, 3)}, {0, 5000}, {100, 120});
        stage.scene.showTicks = true;
        QImage image;
        WaveformRenderer renderer;
        renderer.render(image, stage.scene);
        const uchar* const memory = image.constBits();
        stage.scene.range = {2000, 2050};
        renderer.render(image, stage.scene);
        QCOMPARE(image.constBits(), memory);
        compareImages(image, stage.rendered());
        stage.scene.track = nullptr;
        renderer.render(image, stage.scene);
        compareImages(image, stage.rendered());
    }

    void scrollEqualsAFreshRender_data()
    {
        QTest::addColumn<double>("ratio");
        QTest::addColumn<int>("shift");
        for (const double ratio : {1.0, 1.5, 2.0, 1.33}) {
            for (const int shift : {1, -1, 37, -37, 99, -99})
                QTest::addRow("shift %d at scale %g", shift, ratio) << ratio << shift;
        }
    }

    void scrollEqualsAFreshRender()
    {
        QFETCH(double, ratio);
        QFETCH(int, shift);
        Stage stage({signal_makers::noise(5000, 3), signal_makers::sine(5000, 5, 1000)}, {1000, 0},
                    {101, 121}, ratio);
        stage.scene.showTicks = true;
        // Four frames a device pixel, so that a shift is a whole number of both.
        const qint64 span = qint64{4} * stage.scene.imageSize().width();
        stage.scene.range.end = stage.scene.range.begin + span;
        QImage image = stage.rendered();
        const qint64 begin = 1000 - qint64{4} * shift;
        stage.scene.range = {begin, begin + span};
        WaveformRenderer().scroll(image, stage.scene, shift);
        compareImages(image, stage.rendered());
    }
};

QTEST_MAIN(TestWaveformRenderer)
#include "tst_waveformrenderer.moc"
