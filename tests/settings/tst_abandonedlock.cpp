#include "settings/abandonedlock.h"
#include "support/attempts.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <cstdio>
#include <thread>

class TestAbandonedLock : public QObject {
    Q_OBJECT

private:
    static void makeLock(const QString& path, const QByteArray& content, int ageMs)
    {
        QFile lock(path + ".lock");
        QVERIFY(lock.open(QIODevice::WriteOnly));
        lock.write(content);
        QVERIFY(lock.flush());
        QVERIFY(lock.setFileTime(QDateTime::currentDateTimeUtc().addMSecs(-ageMs),
                                 QFileDevice::FileModificationTime));
    }

    // Other processes lock and unlock meanwhile; at each look there is a lock without
    // a name, and each time another one.
    static bool isLeftAlone()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath("Vela.ini");
        const QByteArray lock = QFile::encodeName(path + ".lock");
        makeLock(path, {}, 0);
        std::atomic_bool done = false;
        bool removed = false;
        std::thread others([&] {
            const QString next = folder.filePath("next");
            while (!done && !removed) {
                QFile fresh(next);
                removed = !fresh.open(QIODevice::WriteOnly) || !QFile::exists(path + ".lock") ||
                          std::rename(QFile::encodeName(next).constData(), lock.constData()) != 0;
                std::this_thread::sleep_for(kEmptyLockGrace / 20);
            }
        });
        removeAbandonedLock(path);
        done = true;
        others.join();
        return !removed && QFile::exists(path + ".lock");
    }

private slots:

    void anEmptyLockIsRemovedWhateverItsAge_data()
    {
        QTest::addColumn<int>("ageMs");
        QTest::newRow("just made") << 0;
        QTest::newRow("an hour old") << 3'600'000;
        QTest::newRow("from the future") << -3'600'000;
    }

    void anEmptyLockIsRemovedWhateverItsAge()
    {
        QFETCH(const int, ageMs);
        const QTemporaryDir folder;
        const QString path = folder.filePath("Vela.ini");
        makeLock(path, {}, ageMs);
        removeAbandonedLock(path);
        QVERIFY(!QFile::exists(path + ".lock"));
    }

    void aLockWithAnOwnerIsLeftAlone()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath("Vela.ini");
        makeLock(path, "123\nprogram\nhost\n", 3'600'000);
        removeAbandonedLock(path);
        QVERIFY(QFile::exists(path + ".lock"));
    }

    void aLockThatIsJustBeingMadeIsLeftAlone()
    {
        // One in which they get no turn for as long as a lock may be without a name is spoiled.
        QVERIFY(inThreeAttempts(&isLeftAlone));
    }

    void noLockIsNoTrouble()
    {
        const QTemporaryDir folder;
        removeAbandonedLock(folder.filePath("none/Vela.ini"));
        QVERIFY(!QFile::exists(folder.filePath("none")));
    }
};

QTEST_APPLESS_MAIN(TestAbandonedLock)
#include "tst_abandonedlock.moc"
