#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/tracerenderer.h"

#include <QImage>
#include <QTest>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace {

constexpr QRgb kBack = qRgb(0, 0, 0);
constexpr QRgb kFirst = qRgb(220, 0, 255);
constexpr QRgb kSecond = qRgb(0, 255, 128);

} // namespace

class TestTraceRenderer : public QObject {
    Q_OBJECT

private:
    static QImage blank(int width, int height)
    {
        QImage image(width, height, QImage::Format_RGB32);
        image.fill(Qt::black);
        return image;
    }

    static TraceLane laneOf(const std::vector<float>& samples, QRgb colour = kFirst)
    {
        return {samples.data(), static_cast<qint32>(samples.size()), colour};
    }

    /// Rows of column `x` that carry `colour`, from the top.
    static QList<int> rows(const QImage& image, int x, QRgb colour = kFirst)
    {
        QList<int> found;
        for (int y = 0; y < image.height(); ++y) {
            if (image.pixel(x, y) == colour)
                found.append(y);
        }
        return found;
    }

    /// The picture drawn the plain way, pixel by pixel, column by column.
    static void drawPlainly(QImage& image, std::vector<TraceLane>& lanes)
    {
        int longest = 0;
        for (const TraceLane& lane : lanes)
            longest = qMax(longest, lane.count);
        const int columns = qMin(longest, image.width());
        const QImage before = image.copy();
        image.fill(Qt::black);
        for (int x = 0; x < image.width() - columns; ++x) {
            for (int y = 0; y < image.height(); ++y)
                image.setPixel(x, y, before.pixel(x + columns, y));
        }
        const int h = image.height() / static_cast<int>(lanes.size());
        const int reach = (h - 2) / 2;
        for (int c = 0; c < static_cast<int>(lanes.size()); ++c) {
            TraceLane& lane = lanes[static_cast<size_t>(c)];
            for (int j = 0; j < columns && longest - columns + j < lane.count; ++j) {
                const float sample = qBound(-1.0F, lane.samples[longest - columns + j], 1.0F);
                const int y =
                    qBound(0, h * c - static_cast<int>(sample * static_cast<float>(reach)) + h / 2,
                           image.height() - 1);
                const int x = image.width() - columns + j;
                image.setPixel(x, y, lane.colour);
                if (lane.previousY >= 0 && lane.previousY < image.height()) {
                    for (int row = qMin(y, lane.previousY) + 1; row < qMax(y, lane.previousY);
                         ++row)
                        image.setPixel(x, row, lane.colour);
                }
                lane.previousY = y;
            }
        }
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void noSamplesChangeNothing()
    {
        QImage image = blank(10, 20);
        image.setPixel(3, 4, kSecond);
        const QImage before = image.copy();
        std::array lanes{laneOf({})};
        QVERIFY(!drawTraces(image, lanes, kBack));
        QCOMPARE(image, before);
        QCOMPARE(lanes[0].previousY, TraceLane::kNoPreviousY);
    }

    void aSampleStandsAtItsRow_data()
    {
        QTest::addColumn<float>("sample");
        QTest::addColumn<int>("row");
        // height 50: row 25 − truncate(sample × 24)
        QTest::newRow("silence is in the middle") << 0.0F << 25;
        QTest::newRow("full scale is a pixel below the top") << 1.0F << 1;
        QTest::newRow("negative full scale is a pixel above the bottom") << -1.0F << 49;
        QTest::newRow("half up") << 0.5F << 13;
        QTest::newRow("fractions of a row are dropped towards the middle") << 0.499F << 14;
        QTest::newRow("also below it") << -0.499F << 36;
        QTest::newRow("too loud is clipped") << 17.0F << 1;
        QTest::newRow("infinite is clipped") << -std::numeric_limits<float>::infinity() << 49;
        QTest::newRow("not a number is in the middle")
            << std::numeric_limits<float>::quiet_NaN() << 25;
    }

    void aSampleStandsAtItsRow()
    {
        QFETCH(float, sample);
        QFETCH(int, row);
        QImage image = blank(4, 50);
        const std::vector<float> samples{sample};
        std::array lanes{laneOf(samples)};
        QVERIFY(drawTraces(image, lanes, kBack));
        QCOMPARE(rows(image, 3), QList<int>{row});
        QCOMPARE(rows(image, 2), QList<int>{});
        QCOMPARE(lanes[0].previousY, row);
    }

    void columnsJoinWithoutTouchingThePreviousRow()
    {
        QImage image = blank(3, 12);
        // height 12: row 6 − truncate(sample × 5)
        const std::vector<float> samples{0.0F, 0.6F, -0.4F};
        std::array lanes{laneOf(samples)};
        drawTraces(image, lanes, kBack);
        QCOMPARE(rows(image, 0), QList<int>({6}));
        QCOMPARE(rows(image, 1), QList<int>({3, 4, 5}));
        QCOMPARE(rows(image, 2), QList<int>({4, 5, 6, 7, 8}));
    }

    void theNextCallScrollsAndJoinsOn()
    {
        QImage image = blank(4, 12);
        const std::vector<float> first{0.0F, 0.6F};
        const std::vector<float> second{0.0F};
        std::array lanes{laneOf(first)};
        drawTraces(image, lanes, kBack);
        lanes[0].samples = second.data();
        lanes[0].count = 1;
        drawTraces(image, lanes, kBack);
        QCOMPARE(rows(image, 0), QList<int>{});
        QCOMPARE(rows(image, 1), QList<int>({6}));
        QCOMPARE(rows(image, 2), QList<int>({3, 4, 5}));
        QCOMPARE(rows(image, 3), QList<int>({4, 5, 6}));
    }

    void aPreviousRowOutsideTheImageDoesNotJoin()
    {
        QImage image = blank(2, 12);
        const std::vector<float> samples{0.0F};
        std::array lanes{laneOf(samples)};
        lanes[0].previousY = 12;
        drawTraces(image, lanes, kBack);
        QCOMPARE(rows(image, 1), QList<int>({6}));
    }

    void ofMoreSamplesThanColumnsTheNewestFillTheImage()
    {
        QImage image = blank(3, 12);
        image.fill(Qt::white);
        const std::vector<float> samples{1.0F, 1.0F, 0.0F, 0.0F, 0.0F};
        std::array lanes{laneOf(samples)};
        drawTraces(image, lanes, kBack);
        for (int x = 0; x < 3; ++x) {
            QCOMPARE(rows(image, x), QList<int>({6}));
            QCOMPARE(rows(image, x, kBack).size(), 11);
        }
    }

    void everyLaneKeepsToItsShareAndAShorterOneStopsEarly()
    {
        QImage image = blank(4, 41);
        const std::vector<float> first{1.0F, -1.0F, 0.0F};
        const std::vector<float> second{0.0F};
        std::array lanes{laneOf(first), laneOf(second, kSecond)};
        drawTraces(image, lanes, kBack);
        // lanes of 20 rows: 10 and 30 in the middle, ±9 at full scale
        QCOMPARE(rows(image, 1), QList<int>({1}));
        QCOMPARE(rows(image, 2).first(), 2);
        QCOMPARE(rows(image, 2).last(), 19);
        QCOMPARE(rows(image, 3).first(), 10);
        QCOMPARE(rows(image, 1, kSecond), QList<int>({30}));
        QCOMPARE(rows(image, 2, kSecond), QList<int>{});
        QCOMPARE(rows(image, 3, kSecond), QList<int>{});
    }

    void lanesWithoutRoomStayInTheImage()
    {
        QImage image = blank(5, 2);
        const QList<float> noise = signal_makers::noise(9, 3, 2.0F);
        std::vector<TraceLane> lanes(4);
        for (TraceLane& lane : lanes)
            lane = {noise.constData(), static_cast<qint32>(noise.size()), kFirst};
        QVERIFY(drawTraces(image, lanes, kBack));
        for (const TraceLane& lane : lanes)
            QVERIFY(lane.previousY == 0 || lane.previousY == 1);
    }

    void thePictureIsThatOfThePlainWay_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("lanes");
        QTest::newRow("small") << QSize(160, 90) << 1;
        QTest::newRow("two lanes, odd sizes") << QSize(333, 181) << 2;
        QTest::newRow("five lanes") << QSize(70, 301) << 5;
    }

    void thePictureIsThatOfThePlainWay()
    {
        QFETCH(QSize, size);
        QFETCH(int, lanes);
        QImage image = blank(size.width(), size.height());
        QImage expected = image.copy();
        std::vector<TraceLane> drawn(static_cast<size_t>(lanes));
        std::vector<TraceLane> drawnPlainly(static_cast<size_t>(lanes));
        for (quint32 round = 0; round < 12; ++round) {
            std::vector<QList<float>> signal;
            for (quint32 c = 0; c < drawn.size(); ++c)
                signal.push_back(
                    signal_makers::noise(5 + 17 * round + 3 * c, round * 10 + c, 1.2F));
            for (size_t c = 0; c < drawn.size(); ++c) {
                const auto count = static_cast<qint32>(signal[c].size());
                const QRgb colour = qRgb(static_cast<int>(10 * c), 255, 0);
                for (TraceLane* lane : {&drawn[c], &drawnPlainly[c]}) {
                    lane->samples = signal[c].constData();
                    lane->count = count;
                    lane->colour = colour;
                }
            }
            drawTraces(image, drawn, kBack);
            drawPlainly(expected, drawnPlainly);
            QCOMPARE(image, expected);
        }
    }
};

QTEST_APPLESS_MAIN(TestTraceRenderer)
#include "tst_tracerenderer.moc"
