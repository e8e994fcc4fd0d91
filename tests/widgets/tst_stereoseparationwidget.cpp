#include "support/logcatcher.h"
#include "support/paintcounter.h"
#include "support/signalmakers.h"
#include "widgets/stereoseparationwidget.h"

#include <QTest>

#include <limits>
#include <memory>

namespace {

constexpr QRgb kBlack = qRgb(0, 0, 0);
constexpr QRgb kCentre = qRgb(30, 30, 30);
constexpr QRgb kGreen = qRgb(0, 200, 0);
constexpr QRgb kBlue = qRgb(0, 180, 255);
constexpr QRgb kOrange = qRgb(255, 100, 0);

} // namespace

class TestStereoSeparationWidget : public QObject {
    Q_OBJECT

private:
    static std::unique_ptr<StereoSeparationWidget> widgetOf(int width, int height)
    {
        auto widget = std::make_unique<StereoSeparationWidget>();
        widget->setFixedHeight(height);
        widget->resize(width, height);
        return widget;
    }

    static QImage pictureOf(QWidget& widget)
    {
        return widget.grab().toImage().convertToFormat(QImage::Format_RGB32);
    }

    /// Every row's colour in the newest column.
    static QList<QRgb> newestColumn(QWidget& widget)
    {
        const QImage picture = pictureOf(widget);
        QList<QRgb> colours;
        for (int y = 0; y < picture.height(); ++y)
            colours.append(picture.pixel(picture.width() - 1, y));
        return colours;
    }

    static QList<QRgb> column(int height, const QMap<int, QRgb>& lit)
    {
        QList<QRgb> colours(height, kBlack);
        for (auto it = lit.begin(); it != lit.end(); ++it)
            colours[it.key()] = it.value();
        return colours;
    }

    /// The picture of all frames drawn the plain way, frame by frame.
    static QImage drawnPlainly(QSize size, const QList<float>& left, const QList<float>& right)
    {
        QImage ring(size, QImage::Format_RGB32);
        ring.fill(Qt::black);
        const int half = size.height() / 2;
        int write = 0;
        for (qsizetype i = 0; i < left.size(); ++i) {
            for (int y = 0; y < size.height(); ++y)
                ring.setPixel(write, y, y == half ? kCentre : kBlack);
            const float middle = (left[i] + right[i]) * 0.5F;
            const float side = (left[i] - right[i]) * 0.5F;
            const int middleRow = half - static_cast<int>(middle * static_cast<float>(half));
            const int sideRow = half - static_cast<int>(side * static_cast<float>(half));
            if (middleRow >= 0 && middleRow < size.height())
                ring.setPixel(write, middleRow, kGreen);
            if (sideRow >= 0 && sideRow < size.height())
                ring.setPixel(write, sideRow, side >= 0 ? kBlue : kOrange);
            write = (write + 1) % size.width();
        }
        QImage picture(size, QImage::Format_RGB32);
        for (int x = 0; x < size.width(); ++x) {
            for (int y = 0; y < size.height(); ++y)
                picture.setPixel(x, y, ring.pixel((write + x) % size.width(), y));
        }
        return picture;
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void isFiftyHighAndGrowsSideways()
    {
        const StereoSeparationWidget widget;
        QCOMPARE(widget.minimumWidth(), 80);
        QCOMPARE(widget.minimumHeight(), 50);
        QCOMPARE(widget.maximumHeight(), 50);
        QCOMPARE(widget.sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
        QCOMPARE(widget.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
        QVERIFY(!widget.accessibleName().isEmpty());
    }

    void startsBlack()
    {
        const auto widget = widgetOf(80, 50);
        QImage black(80, 50, QImage::Format_RGB32);
        black.fill(Qt::black);
        QCOMPARE(pictureOf(*widget), black);
    }

    void aFrameLightsMiddleAndSide_data()
    {
        const float nan = std::numeric_limits<float>::quiet_NaN();
        const float inf = std::numeric_limits<float>::infinity();
        QTest::addColumn<int>("height");
        QTest::addColumn<float>("left");
        QTest::addColumn<float>("right");
        QTest::addColumn<QList<QRgb>>("expected");
        QTest::newRow("both full: green at the top, side blue on the centre")
            << 50 << 1.0F << 1.0F << column(50, {{0, kGreen}, {25, kBlue}});
        QTest::newRow("opposite: green on the centre, blue at the top")
            << 50 << 1.0F << -1.0F << column(50, {{25, kGreen}, {0, kBlue}});
        QTest::newRow("opposite the other way: orange is below an even height")
            << 50 << -1.0F << 1.0F << column(50, {{25, kGreen}});
        QTest::newRow("and in the last row of an odd one")
            << 51 << -1.0F << 1.0F << column(51, {{25, kGreen}, {50, kOrange}});
        QTest::newRow("left alone: blue over green")
            << 50 << 0.5F << 0.0F << column(50, {{25, kCentre}, {19, kBlue}});
        QTest::newRow("right alone")
            << 50 << 0.0F << 0.5F << column(50, {{25, kCentre}, {19, kGreen}, {31, kOrange}});
        QTest::newRow("silence: blue on the centre")
            << 50 << 0.0F << 0.0F << column(50, {{25, kBlue}});
        QTest::newRow("not a number draws nothing")
            << 50 << nan << 0.0F << column(50, {{25, kCentre}});
        QTest::newRow("infinite draws nothing") << 50 << inf << inf << column(50, {{25, kCentre}});
        QTest::newRow("far too loud draws nothing")
            << 50 << 3e38F << 0.0F << column(50, {{25, kCentre}});
    }

    void aFrameLightsMiddleAndSide()
    {
        QFETCH(int, height);
        QFETCH(float, left);
        QFETCH(float, right);
        QFETCH(QList<QRgb>, expected);
        const auto widget = widgetOf(80, height);
        widget->pushFrames({left}, {right});
        QCOMPARE(newestColumn(*widget), expected);
    }

    void theNewestColumnIsAtTheRight()
    {
        const auto widget = widgetOf(80, 50);
        widget->pushFrames({1.0F, 0.5F}, {1.0F, 0.5F});
        const QImage picture = pictureOf(*widget);
        QCOMPARE(picture.pixel(78, 0), kGreen);
        QCOMPARE(picture.pixel(79, 13), kGreen);
        QCOMPARE(picture.pixel(77, 25), kBlack);
    }

    void thePictureIsThatOfThePlainWayHoweverItIsPushed_data()
    {
        QTest::addColumn<int>("total");
        QTest::addColumn<int>("block");
        QTest::newRow("less than the width") << 70 << 70;
        QTest::newRow("exactly the width") << 123 << 123;
        QTest::newRow("small blocks across the wrap") << 1000 << 37;
        QTest::newRow("blocks wider than the widget") << 5000 << 1024;
    }

    void thePictureIsThatOfThePlainWayHoweverItIsPushed()
    {
        QFETCH(int, total);
        QFETCH(int, block);
        const auto widget = widgetOf(123, 50);
        const QList<float> left = signal_makers::noise(total, 1);
        const QList<float> right = signal_makers::noise(total, 2);
        for (int begin = 0; begin < total; begin += block)
            widget->pushFrames(left.mid(begin, block), right.mid(begin, block));
        QCOMPARE(pictureOf(*widget), drawnPlainly({123, 50}, left, right));
    }

    void aShorterRightListCountsAsSilenceThere()
    {
        const auto widget = widgetOf(80, 50);
        widget->pushFrames({0.5F, 0.5F}, {0.5F});
        QCOMPARE(newestColumn(*widget), column(50, {{25, kCentre}, {19, kBlue}}));
    }

    void whatIsPushedIsPaintedSoon()
    {
        const auto widget = widgetOf(80, 50);
        widget->show();
        QVERIFY(QTest::qWaitForWindowExposed(widget.get()));
        QCoreApplication::processEvents();
        const PaintCounter paints(*widget);
        widget->pushFrames({1.0F}, {1.0F});
        QTRY_COMPARE(paints.count(), 1);
    }

    void withoutRoomNothingIsDrawn()
    {
        const auto widget = widgetOf(80, 50);
        widget->setMinimumSize(0, 0);
        for (const QSize size : {QSize(0, 50), QSize(80, 0)}) {
            widget->setFixedHeight(size.height());
            widget->resize(size);
            widget->pushFrames({1.0F}, {1.0F});
            QCOMPARE(widget->size(), size);
        }
        widget->setFixedHeight(50);
        widget->resize(80, 50);
        QCOMPARE(newestColumn(*widget), column(50, {}));
    }

    void resizingStartsAnew()
    {
        const auto widget = widgetOf(80, 50);
        widget->pushFrames(signal_makers::noise(60, 1), signal_makers::noise(60, 2));
        widget->resize(90, 50);
        QImage black(90, 50, QImage::Format_RGB32);
        black.fill(Qt::black);
        QCOMPARE(pictureOf(*widget), black);
        widget->pushFrames({1.0F}, {1.0F});
        QCOMPARE(pictureOf(*widget).pixel(89, 0), kGreen);
        QCOMPARE(pictureOf(*widget).pixel(88, 25), kBlack);
    }

    void atTwiceTheScaleTheHistoryFillsTheWidget()
    {
        const auto widget = widgetOf(80, 50);
        widget->pushFrames(QList<float>(100, 1.0F), QList<float>(100, 1.0F));
        QPixmap picture(160, 100);
        picture.setDevicePixelRatio(2);
        widget->render(&picture);
        const QImage image = picture.toImage();
        for (int x = 0; x < 160; ++x) {
            QCOMPARE(image.pixel(x, 0), kGreen);
            QCOMPARE(image.pixel(x, 1), kGreen);
            QCOMPARE(image.pixel(x, 50), kBlue);
        }
    }
};

QTEST_MAIN(TestStereoSeparationWidget)
#include "tst_stereoseparationwidget.moc"
