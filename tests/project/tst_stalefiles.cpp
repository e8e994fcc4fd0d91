#include "project/stalefiles.h"
#include "support/files.h"
#include "support/foldersuite.h"

#include <QFile>
#include <QTest>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

/// The files beside a project that is being saved.
class TestStaleFiles : public FolderSuite {
    Q_OBJECT

private:
    [[nodiscard]] QByteArray target(const QString& name = QStringLiteral("song.vela")) const
    {
        return QFile::encodeName(in(name));
    }

    void removeLeftovers() const { stale_files::removeLeftovers(target(), {}); }

private slots:

    void longNamesAreCutBetweenLetters_data()
    {
        QTest::addColumn<QString>("letter");
        QTest::newRow("1 byte") << QString(QLatin1Char('n'));
        QTest::newRow("2 bytes") << QString::fromUtf8("\xC3\xA4");
        QTest::newRow("3 bytes") << QString::fromUtf8("\xE3\x83\x99");
        QTest::newRow("4 bytes") << QString::fromUtf8("\xF0\x9F\x8E\xB5");
    }

    void longNamesAreCutBetweenLetters()
    {
        QFETCH(QString, letter);
        for (int before = 0; before < 4; ++before) {
            const QByteArray song =
                target(QString(before, QLatin1Char('n')) + letter.repeated(60) + ".vela");
            const QByteArray name = stale_files::newName(song);
            QCOMPARE(QString::fromUtf8(name).toUtf8(), name);
            QVERIFY(name.size() - name.lastIndexOf('/') - 1 <= 255);
            writeFile(QFile::decodeName(name), "left behind");
            stale_files::removeLeftovers(song, {});
            QCOMPARE(entries(), QStringList());
        }
    }

    void aFileThatALivingProgramHasStaysUntilItIsClosed()
    {
        const QByteArray name = stale_files::newName(target());
        const int fd = ::open(name.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        QVERIFY(fd >= 0);
        QVERIFY(stale_files::claim(fd));
        removeLeftovers();
        QCOMPARE(entries().size(), 1);
        ::close(fd);
        removeLeftovers();
        QCOMPARE(entries(), QStringList());
    }

    void twoWhoRemoveTheSameFileDoNotHinderEachOther()
    {
        const QByteArray name = stale_files::newName(target());
        writeFile(QFile::decodeName(name), "left behind");
        const int other = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
        QCOMPARE(::flock(other, LOCK_SH | LOCK_NB), 0);
        removeLeftovers();
        QCOMPARE(entries(), QStringList());
        ::close(other);
    }

    void aFileThatSomebodyRemovesCannotBeClaimed()
    {
        const QByteArray name = stale_files::newName(target());
        const int fd = ::open(name.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        const int other = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
        QCOMPARE(::flock(other, LOCK_SH | LOCK_NB), 0);
        QVERIFY(!stale_files::claim(fd));
        ::unlink(name.constData());
        ::close(other);
        QVERIFY(!stale_files::claim(fd));
        ::close(fd);
    }
};

QTEST_GUILESS_MAIN(TestStaleFiles)
#include "tst_stalefiles.moc"
