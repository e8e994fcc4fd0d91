#include "support/contrast.h"
#include "support/logcatcher.h"
#include "widgets/scopelayout.h"

#include <QImage>
#include <QPainter>
#include <QTest>

#include <memory>

class TestScopeLayout : public QObject {
    Q_OBJECT

private:
    /// The same but for how a blend was rounded.
    static bool isNear(QRgb pixel, QRgb expected)
    {
        return qAbs(qRed(pixel) - qRed(expected)) <= 1 &&
               qAbs(qGreen(pixel) - qGreen(expected)) <= 1 &&
               qAbs(qBlue(pixel) - qBlue(expected)) <= 1;
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void gridColumnsIsTheRootRoundedUp()
    {
        const QList<int> expected{1, 2, 2, 2, 3, 3, 3, 3, 3, 4};
        for (int channels = 1; channels <= expected.size(); ++channels)
            QCOMPARE(scope_layout::gridColumns(channels), expected[channels - 1]);
    }

    void oneChannelHasTheWholeArea()
    {
        QCOMPARE(scope_layout::gridCell({320, 180}, 1, 0, 2), QRect(0, 0, 320, 180));
    }

    void cellsFillTheGridRowByRowWithGapsBetween()
    {
        QCOMPARE(scope_layout::gridCell({322, 182}, 2, 0, 2), QRect(0, 0, 160, 182));
        QCOMPARE(scope_layout::gridCell({322, 182}, 2, 1, 2), QRect(162, 0, 160, 182));
        QCOMPARE(scope_layout::gridCell({322, 182}, 3, 2, 2), QRect(0, 92, 160, 90));
        QCOMPARE(scope_layout::gridCell({322, 182}, 4, 3, 2), QRect(162, 92, 160, 90));
        QCOMPARE(scope_layout::gridCell({301, 100}, 9, 8, 0), QRect(200, 66, 101, 34));
    }

    void cellsOfNoRoomAreEmpty() { QVERIFY(scope_layout::gridCell({2, 2}, 16, 5, 2).isEmpty()); }

    void lanesAreEqualFromTheTop()
    {
        QCOMPARE(scope_layout::lane({160, 91}, 2, 0), QRect(0, 0, 160, 45));
        QCOMPARE(scope_layout::lane({160, 91}, 2, 1), QRect(0, 45, 160, 45));
    }

    void textIsWhiteAtAlpha160InTheNamedCorner()
    {
        QImage image(100, 60, QImage::Format_RGB32);
        image.fill(Qt::black);
        {
            QPainter painter(&image);
            scope_layout::paintText(painter, {50, 30, 50, 30}, Qt::AlignLeft | Qt::AlignTop,
                                    QStringLiteral("Ch 1"));
        }
        int brightest = 0;
        QRect inked;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const int grey = qGray(image.pixel(x, y));
                brightest = qMax(brightest, grey);
                if (grey > 0)
                    inked |= QRect(x, y, 1, 1);
            }
        }
        // White at alpha 160 over black is 160 at most.
        QVERIFY(brightest > 100 && brightest <= 160);
        QVERIFY(QRect(50, 30, 35, 20).contains(inked));
    }

    void textIsReadOnWhateverIsShown_data()
    {
        QTest::addColumn<QColor>("shown");
        QTest::addColumn<QColor>("plate");
        // a quarter of it, 63 of 255, is left under the plate
        QTest::newRow("a white spectrogram") << QColor(255, 255, 255) << QColor(63, 63, 63);
        QTest::newRow("a yellow meter") << QColor(253, 220, 0) << QColor(62, 54, 0);
        QTest::newRow("an orange meter") << QColor(248, 89, 0) << QColor(61, 22, 0);
        QTest::newRow("a cyan spectrogram") << QColor(0, 255, 255) << QColor(0, 63, 63);
    }

    void textIsReadOnWhateverIsShown()
    {
        QFETCH(QColor, shown);
        QFETCH(QColor, plate);
        QImage image(100, 60, QImage::Format_RGB32);
        image.fill(shown);
        {
            QPainter painter(&image);
            scope_layout::paintText(painter, image.rect(), Qt::AlignRight | Qt::AlignBottom,
                                    QStringLiteral("Level"));
        }
        // Left of the letters is the plate's margin, and below them the picture again.
        QRgb brightest = qRgb(0, 0, 0);
        int plateLeft = image.width();
        for (int x = image.width() - 1; x > 0; --x) {
            const QRgb pixel = image.pixel(x, 52);
            if (isNear(pixel, plate.rgb()))
                plateLeft = x;
            else if (pixel != shown.rgb() && qGray(pixel) > qGray(brightest))
                brightest = pixel;
        }
        QVERIFY(plateLeft < 75 && plateLeft > 50);
        QVERIFY(contrast(brightest, plate.rgb()) >= kTextContrast);
        QCOMPARE(image.pixel(99, 59), shown.rgb());
        QCOMPARE(image.pixel(30, 52), shown.rgb());
        QCOMPARE(image.pixel(80, 30), shown.rgb());
    }
};

QTEST_MAIN(TestScopeLayout)
#include "tst_scopelayout.moc"
