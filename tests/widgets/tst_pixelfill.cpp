#include "support/logcatcher.h"
#include "widgets/pixelfill.h"

#include <QImage>
#include <QTest>

#include <memory>

class TestPixelFill : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void fillsWhatLiesInsideTheImage_data()
    {
        QTest::addColumn<QRect>("rect");
        QTest::addColumn<QRect>("filled");
        QTest::newRow("inside") << QRect(2, 1, 3, 2) << QRect(2, 1, 3, 2);
        QTest::newRow("across a corner") << QRect(-5, -5, 7, 8) << QRect(0, 0, 2, 3);
        QTest::newRow("larger than the image") << QRect(-1, -1, 50, 50) << QRect(0, 0, 8, 6);
        QTest::newRow("outside") << QRect(8, 0, 4, 4) << QRect();
        QTest::newRow("empty") << QRect(2, 2, 0, 3) << QRect();
    }

    void fillsWhatLiesInsideTheImage()
    {
        QFETCH(QRect, rect);
        QFETCH(QRect, filled);
        QImage image(8, 6, QImage::Format_RGB32);
        image.fill(Qt::black);
        fillPixels(image, rect, qRgb(1, 2, 3));
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                QCOMPARE(image.pixel(x, y), filled.contains(x, y) ? qRgb(1, 2, 3) : qRgb(0, 0, 0));
        }
    }
};

QTEST_APPLESS_MAIN(TestPixelFill)
#include "tst_pixelfill.moc"
