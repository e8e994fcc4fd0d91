#include "support/logcatcher.h"
#include "widgets/scopelayout.h"

#include <QImage>
#include <QPainter>
#include <QTest>

#include <memory>

class TestScopeLayout : public QObject {
    Q_OBJECT

private:
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
};

QTEST_MAIN(TestScopeLayout)
#include "tst_scopelayout.moc"
