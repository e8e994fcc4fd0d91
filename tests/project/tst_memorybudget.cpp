#include "project/addressspacelimit.h"
#include "project/memorybudget.h"

#include <QTest>

#include <limits>
#include <unistd.h>

class TestMemoryBudget : public QObject {
    Q_OBJECT

private slots:

    void takeCountsDownToNothing()
    {
        MemoryBudget budget(100);
        QVERIFY(budget.take(60));
        QCOMPARE(budget.bytesLeft(), 40);
        QVERIFY(budget.take(40));
        QVERIFY(budget.take(0));
        QVERIFY(!budget.isExceeded());
    }

    void onceRefusedItGivesNothingMore()
    {
        MemoryBudget budget(100);
        QVERIFY(!budget.take(101));
        QVERIFY(budget.isExceeded());
        QVERIFY(!budget.take(1));
        QVERIFY(!MemoryBudget(5).take(std::numeric_limits<qint64>::max()));
    }

    void availableMemoryIsReadFromTheReport_data()
    {
        QTest::addColumn<QByteArray>("report");
        QTest::addColumn<qint64>("bytes");
        QTest::newRow("as the system writes it")
            << QByteArray("MemTotal:   16000000 kB\nMemFree:    100 kB\n"
                          "MemAvailable:    2048 kB\nBuffers:    7 kB\n")
            << qint64(2097152);
        QTest::newRow("nothing available") << QByteArray("MemAvailable: 0 kB\n") << qint64(0);
        QTest::newRow("an old system")
            << QByteArray("MemTotal: 16 kB\nMemFree: 8 kB\n") << qint64(-1);
        QTest::newRow("no number") << QByteArray("MemAvailable: lots\n") << qint64(-1);
        QTest::newRow("nothing") << QByteArray() << qint64(-1);
    }

    void availableMemoryIsReadFromTheReport()
    {
        QFETCH(QByteArray, report);
        QTEST(availableMemoryBytes(report), "bytes");
    }

    void allButAMarginIsAffordable_data()
    {
        QTest::addColumn<qint64>("availableMebibytes");
        QTest::addColumn<qint64>("mebibytes");
        QTest::newRow("a large machine") << qint64(16384) << qint64(15872);
        QTest::newRow("a small one") << qint64(2048) << qint64(1536);
        QTest::newRow("where the margin is half") << qint64(1024) << qint64(512);
        QTest::newRow("hardly anything") << qint64(100) << qint64(50);
        QTest::newRow("nothing") << qint64(0) << qint64(0);
    }

    void allButAMarginIsAffordable()
    {
        QFETCH(qint64, availableMebibytes);
        QFETCH(qint64, mebibytes);
        constexpr qint64 kMebibyte = qint64{1024} * 1024;
        QCOMPARE(affordableMemoryBytes(availableMebibytes * kMebibyte), mebibytes * kMebibyte);
    }

    void theLimitOfTheProcessCounts()
    {
        constexpr qint64 kMebibyte = qint64{1024} * 1024;
        const AddressSpaceLimit limit(64 * kMebibyte);
        QVERIFY(limit.isSet());
        const qint64 bytes = affordableMemoryBytes();
        QVERIFY2(bytes > 30 * kMebibyte && bytes <= 32 * kMebibyte,
                 qPrintable(QString::number(bytes)));
    }

    void lessThanTheInstalledMemoryIsAffordable()
    {
        const qint64 bytes = affordableMemoryBytes();
        QVERIFY(bytes > 0);
        const qint64 installed = qint64{::sysconf(_SC_PHYS_PAGES)} * ::sysconf(_SC_PAGESIZE);
        QVERIFY(bytes <= affordableMemoryBytes(installed));
    }
};

QTEST_APPLESS_MAIN(TestMemoryBudget)
#include "tst_memorybudget.moc"
