#include "support/logcatcher.h"
#include "widgets/levelballistics.h"
#include "widgets/levelmeterpainter.h"

#include <QColor>
#include <QImage>
#include <QTest>

#include <memory>

namespace {

constexpr QRgb kEmpty = qRgb(34, 34, 34);
constexpr QRgb kAround = qRgb(1, 2, 3);

} // namespace

class TestLevelMeterPainter : public QObject {
    Q_OBJECT

private:
    /// A picture with the cell at (3, 5), painted around in a colour of its own.
    static QImage painted(QSize cell, const LevelReading& reading)
    {
        QImage image(cell + QSize(6, 10), QImage::Format_RGB32);
        image.fill(QColor::fromRgb(kAround));
        level_meter::paint(image, QRect(QPoint(3, 5), cell), reading, 2);
        return image;
    }

    static bool allOf(const QImage& image, const QRect& rect, QRgb colour)
    {
        for (int y = rect.top(); y <= rect.bottom(); ++y) {
            for (int x = rect.left(); x <= rect.right(); ++x) {
                if (image.pixel(x, y) != colour)
                    return false;
            }
        }
        return true;
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void colourGoesFromGreenThroughYellowToOrange()
    {
        QCOMPARE(level_meter::colour(0.0), qRgb(0, 81, 0));
        QCOMPARE(level_meter::colour(0.25), qRgb(126, 150, 0));
        QCOMPARE(level_meter::colour(0.5), qRgb(253, 220, 0));
        QCOMPARE(level_meter::colour(0.75), qRgb(250, 154, 0));
        QCOMPARE(level_meter::colour(1.0), qRgb(248, 89, 0));
        QCOMPARE(level_meter::colour(-1.0), level_meter::colour(0.0));
        QCOMPARE(level_meter::colour(7.0), level_meter::colour(1.0));
    }

    void silenceLeavesTheCellEmptyAndItsSurroundingsAlone()
    {
        const QImage image = painted({20, 40}, {0.001, 0.001, 0.001});
        QVERIFY(allOf(image, {3, 5, 20, 40}, kEmpty));
        QVERIFY(allOf(image, {0, 0, 26, 5}, kAround));
        QVERIFY(allOf(image, {0, 45, 26, 5}, kAround));
        QVERIFY(allOf(image, {0, 0, 3, 50}, kAround));
        QVERIFY(allOf(image, {23, 0, 3, 50}, kAround));
    }

    void aHoldThatIsAsGoodAsSilentIsNotDrawn()
    {
        QVERIFY(allOf(painted({20, 40}, {0, 0, 0.001}), {3, 5, 20, 40}, kEmpty));
    }

    void theLowestHoldStandsOnTheCellsFoot()
    {
        // Half a row from the foot, where a line of two rows would stick out of the cell.
        const QImage upright = painted({20, 40}, {0, 0, 0.0125});
        QVERIFY(allOf(upright, {3, 43, 20, 2}, qRgb(6, 84, 0)));
        QVERIFY(allOf(upright, {3, 5, 20, 38}, kEmpty));
        const QImage lying = painted({40, 20}, {0, 0, 0.0125});
        QVERIFY(allOf(lying, {3, 5, 2, 20}, qRgb(6, 84, 0)));
        QVERIFY(allOf(lying, {5, 5, 38, 20}, kEmpty));
    }

    void aCellAsWideAsHighGrowsFromTheBottom()
    {
        const QImage image = painted({40, 40}, {0.25, 0.5, 0.75});
        // hold at truncate(0.25 × 40) = 10, peak at 20, RMS at 30; darker is × 100 / 250
        QVERIFY(allOf(image, {3, 5, 40, 10}, kEmpty));
        QVERIFY(allOf(image, {3, 15, 40, 2}, qRgb(250, 154, 0)));
        QVERIFY(allOf(image, {3, 17, 40, 8}, kEmpty));
        QVERIFY(
            allOf(image, {3, 25, 40, 10}, QColor::fromRgb(qRgb(253, 220, 0)).darker(250).rgb()));
        QVERIFY(allOf(image, {3, 35, 40, 10}, qRgb(126, 150, 0)));
        QVERIFY(allOf(image, {0, 45, 46, 5}, kAround));
    }

    void aCellWiderThanHighGrowsFromTheLeft()
    {
        const QImage image = painted({41, 40}, {0.25, 0.5, 0.75});
        // RMS truncate(10.25) wide, peak truncate(20.5), hold at truncate(30.75)
        QVERIFY(allOf(image, {3, 5, 10, 40}, qRgb(126, 150, 0)));
        QVERIFY(
            allOf(image, {13, 5, 10, 40}, QColor::fromRgb(qRgb(253, 220, 0)).darker(250).rgb()));
        QVERIFY(allOf(image, {23, 5, 10, 40}, kEmpty));
        QVERIFY(allOf(image, {33, 5, 2, 40}, qRgb(250, 154, 0)));
        QVERIFY(allOf(image, {35, 5, 9, 40}, kEmpty));
    }

    void theDarkenedPeakHasFortyPercent()
    {
        const QColor dark = QColor::fromRgb(painted({10, 10}, {0, 0.5, 0}).pixel(5, 14));
        QVERIFY(qAbs(dark.red() - 101) <= 1);
        QVERIFY(qAbs(dark.green() - 88) <= 1);
        QCOMPARE(dark.blue(), 0);
    }

    void theHoldIsDrawnOnlyAboveThePeak()
    {
        const QImage image = painted({10, 100}, {0, 0.5, 0.5});
        QVERIFY(allOf(image, {3, 5, 10, 50}, kEmpty));
        QCOMPARE(image.pixel(5, 55), QColor::fromRgb(qRgb(253, 220, 0)).darker(250).rgb());
    }

    void fullScaleAndBeyondStayInsideTheCell_data()
    {
        QTest::addColumn<QSize>("cell");
        QTest::addColumn<QRect>("holdLine");
        QTest::newRow("upright") << QSize(20, 40) << QRect(3, 5, 20, 2);
        QTest::newRow("lying") << QSize(40, 20) << QRect(41, 5, 2, 20);
    }

    void fullScaleAndBeyondStayInsideTheCell()
    {
        QFETCH(QSize, cell);
        QFETCH(QRect, holdLine);
        const QRgb loudest = qRgb(248, 89, 0);
        QVERIFY(allOf(painted(cell, {1.5, 3.0, 3.0}), QRect(QPoint(3, 5), cell), loudest));
        const QImage held = painted(cell, {0.0, 0.0, 1.0});
        QVERIFY(allOf(held, holdLine, loudest));
        QVERIFY(allOf(held, {0, 0, held.width(), 5}, kAround));
        QVERIFY(allOf(held, {3 + cell.width(), 0, 3, held.height()}, kAround));
    }
};

QTEST_APPLESS_MAIN(TestLevelMeterPainter)
#include "tst_levelmeterpainter.moc"
