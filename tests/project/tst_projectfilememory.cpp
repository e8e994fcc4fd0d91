// Small files that expand to very much, loaded in a process whose growth is measured.

#include "project/projectfile.h"
#include "project/projectsamples.h"
#include "support/files.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace project_samples;

using LoadOutcome = ProjectFile::LoadResult::Outcome;

namespace {

constexpr qint64 kMebibyte = qint64{1024} * 1024;
constexpr qint64 kBudgetBytes = 16 * kMebibyte;
constexpr qint64 kPayloadBytes = 32 * kMebibyte;

// What a load needs besides: buffers, pages of code, what the allocator keeps.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr qint64 kMostGrowth = 8 * kBudgetBytes;
#else
constexpr qint64 kMostGrowth = kBudgetBytes + 8 * kMebibyte;
#endif

struct Load {
    int outcome = -1;
    qint64 growth = -1;
};

Load loadElsewhere(const QString& path, qint64 budgetBytes)
{
    QProcess loader;
    loader.start(QStringLiteral(VELA_PROJECT_LOADER), {path, QString::number(budgetBytes)});
    if (!loader.waitForFinished() || loader.exitCode() != 0)
        return {};
    const QByteArrayList words = loader.readAllStandardOutput().simplified().split(' ');
    return {words.value(0).toInt(), words.value(1).toLongLong()};
}

// A payload of about kPayloadBytes.
QByteArray manyTimes(const QByteArray& start, const QByteArray& piece)
{
    return start + piece.repeated((kPayloadBytes - start.size()) / piece.size());
}

} // namespace

class TestProjectFileMemory : public QObject {
    Q_OBJECT

private slots:

    void aSmallFileNeverTakesMoreThanItMay_data()
    {
        QTest::addColumn<QByteArray>("payload");
        const QByteArray tracks = zeroFields() + be32(0x7FFFFFFF);
        const QByteArray afterName = be32(2) + be32(44100) + QByteArray("\0\0", 2);
        const QByteArray lists = zeroFields() + be32(1) + text("x") + afterName + be32(0x7FFFFFFF);
        QTest::newRow("tracks of zeros") << manyTimes(tracks, QByteArray(1, '\0'));
        QTest::newRow("tracks with a letter for a name")
            << manyTimes(tracks, text("x") + afterName + be32(0));
        QTest::newRow("tracks with one list of one sample")
            << manyTimes(tracks, text("x") + afterName + be32(1) + be64(1) + be32(0));
        QTest::newRow("empty lists") << manyTimes(lists, be64(0));
        QTest::newRow("lists of one sample") << manyTimes(lists, be64(1) + be32(0));
        QTest::newRow("lists of thirteen samples")
            << manyTimes(lists, be64(13) + QByteArray(52, '\0'));
        QTest::newRow("one long channel of silence") << manyTimes(
            zeroFields() + be32(1) + text("x") + afterName + be32(1) + be64(kPayloadBytes),
            QByteArray(1, '\0'));
        QTest::newRow("a marker's name")
            << manyTimes(be32(44100) + be32(0x7FFFFFF0), QByteArray(1, '\0'));
        QTest::newRow("a track's name")
            << manyTimes(zeroFields() + be32(1) + be32(0x7FFFFFF0), QByteArray(1, '\0'));
    }

    void aSmallFileNeverTakesMoreThanItMay()
    {
        QFETCH(QByteArray, payload);
        const QTemporaryDir folder;
        const QString packed = folder.filePath(QStringLiteral("packed.vela"));
        writeFile(packed, compressedFile(payload));
        QVERIFY(QFileInfo(packed).size() < kMebibyte);
        const QString plain = folder.filePath(QStringLiteral("plain.vela"));
        writeFile(plain, plainFile(payload));
        for (const QString& path : {packed, plain}) {
            const Load load = loadElsewhere(path, kBudgetBytes);
            QCOMPARE(load.outcome, static_cast<int>(LoadOutcome::TooLarge));
            QVERIFY2(load.growth < kMostGrowth, qPrintable(QString::number(load.growth)));
        }
    }

    void whatFitsIsLoaded()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("song.vela"));
        // 2 MiB of samples a channel.
        QCOMPARE(ProjectFile::save(noisy(kMebibyte / 2, 1), path).outcome,
                 ProjectFile::SaveResult::Outcome::Saved);
        QCOMPARE(loadElsewhere(path, 5 * kMebibyte).outcome, static_cast<int>(LoadOutcome::Loaded));
        QCOMPARE(loadElsewhere(path, 4 * kMebibyte).outcome,
                 static_cast<int>(LoadOutcome::TooLarge));
    }
};

QTEST_APPLESS_MAIN(TestProjectFileMemory)
#include "tst_projectfilememory.moc"
