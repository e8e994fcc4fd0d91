#include "engine/playoutwait.h"

#include <QTest>

class TestPlayoutWait : public QObject {
    Q_OBJECT

private slots:

    void endsWhenEverythingIsPlayedOut()
    {
        PlayoutWait wait;
        QVERIFY(!wait.isOver(false, 100, 0));
        QVERIFY(!wait.isOver(false, 200, 20));
        QVERIFY(wait.isOver(true, 200, 25));
    }

    void endsWhenTheDeviceTookNothingForTheStallTime()
    {
        PlayoutWait wait;
        QVERIFY(!wait.isOver(false, 100, 5000));
        QVERIFY(!wait.isOver(false, 100, 7999));
        QVERIFY(wait.isOver(false, 100, 8000));
    }

    void beginsAgainWheneverTheDeviceTakesSomething()
    {
        PlayoutWait wait;
        QVERIFY(!wait.isOver(false, 100, 0));
        QVERIFY(!wait.isOver(false, 101, 2999));
        QVERIFY(!wait.isOver(false, 101, 5998));
        QVERIFY(wait.isOver(false, 101, 5999));
    }

    void resetForgetsTheOldWait()
    {
        PlayoutWait wait;
        QVERIFY(!wait.isOver(false, 100, 0));
        wait.reset();
        QVERIFY(!wait.isOver(false, 100, 10000));
        QVERIFY(wait.isOver(false, 100, 13000));
    }
};

QTEST_APPLESS_MAIN(TestPlayoutWait)
#include "tst_playoutwait.moc"
