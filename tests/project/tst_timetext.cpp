#include "project/timetext.h"

#include <QTest>

#include <limits>

class TestTimeText : public QObject {
    Q_OBJECT

private slots:

    void formatsPosition_data()
    {
        QTest::addColumn<qint64>("frame");
        QTest::addColumn<qint32>("rate");
        QTest::addColumn<QString>("text");

        QTest::newRow("zero") << qint64{0} << 44100 << "00:00:00.000";
        QTest::newRow("an hour, a minute, a second and a half")
            << qint64{44100} * 3661 + 22050 << 44100 << "01:01:01.500";
        QTest::newRow("the last frame before a second truncates")
            << qint64{47999} << 48000 << "00:00:00.999";
        QTest::newRow("one frame is less than a millisecond")
            << qint64{1} << 44100 << "00:00:00.000";
        QTest::newRow("hours do not wrap") << qint64{8000} * 3600 * 100 << 8000 << "100:00:00.000";
        constexpr qint64 kLast = std::numeric_limits<qint64>::max();
        QTest::newRow("the last frame of all") << kLast << 44100 << "58096321723:42:03.714";
        // 2⁶³ − 1 ms, the most that 64 bits hold.
        QTest::newRow("a second for every frame") << kLast << 1 << "2562047788015:12:55.807";
        QTest::newRow("a millisecond for every frame")
            << kLast << 1000 << "2562047788015:12:55.807";
        QTest::newRow("rate of zero") << qint64{5000} << 0 << "00:00:00.000";
        QTest::newRow("negative rate") << qint64{5000} << -1 << "00:00:00.000";
    }

    void formatsPosition()
    {
        QFETCH(qint64, frame);
        QFETCH(qint32, rate);
        QFETCH(QString, text);
        QCOMPARE(timeText(frame, rate), text);
    }
};

QTEST_APPLESS_MAIN(TestTimeText)
#include "tst_timetext.moc"
