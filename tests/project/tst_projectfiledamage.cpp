#include "project/projectfile.h"
#include "project/projectsamples.h"
#include "project/projectserializer.h"
#include "support/files.h"
#include "support/foldersuite.h"
#include "support/signalmakers.h"

#include <QDir>
#include <QTest>

#include <atomic>
#include <sys/stat.h>

using namespace project_samples;

using SaveOutcome = ProjectFile::SaveResult::Outcome;
using LoadOutcome = ProjectFile::LoadResult::Outcome;

namespace {

constexpr qsizetype kLargeFrames = 200'000; // 1.6 MB: takes the streamed road

} // namespace

/// Files that are not what they should be.
class TestProjectFileDamage : public FolderSuite {
    Q_OBJECT

private:
    [[nodiscard]] QString path(const QString& name = QStringLiteral("song.vela")) const
    {
        return in(name);
    }

    ProjectFile::LoadResult loadBytes(const QByteArray& bytes)
    {
        writeFile(path(), bytes);
        return ProjectFile::load(path());
    }

private slots:

    void foreignAndFutureFilesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<LoadOutcome>("outcome");
        const QByteArray rest = QByteArray("\0\0\0\1\1\0\0\0\0", 9);
        QTest::newRow("nothing") << QByteArray() << LoadOutcome::WrongMagic;
        QTest::newRow("three bytes") << QByteArray("VEL") << LoadOutcome::WrongMagic;
        QTest::newRow("other fourth byte") << "VELB" + rest << LoadOutcome::WrongMagic;
        QTest::newRow("zeros in the magic")
            << QByteArray("VE\0\0", 4) + rest << LoadOutcome::WrongMagic;
        QTest::newRow("lower case") << "vela" + rest << LoadOutcome::WrongMagic;
        QTest::newRow("magic alone") << QByteArray("VELA") << LoadOutcome::WrongVersion;
        QTest::newRow("cut version") << QByteArray("VELA\0\0\1", 7) << LoadOutcome::WrongVersion;
        QTest::newRow("version 2") << "VELA" + be32(2) + rest << LoadOutcome::WrongVersion;
        QTest::newRow("version 1 the other way round")
            << "VELA" + be32(0x01000000) + rest << LoadOutcome::WrongVersion;
    }

    void foreignAndFutureFilesAreRefused()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(LoadOutcome, outcome);
        const auto result = loadBytes(bytes);
        QCOMPARE(result.outcome, outcome);
        QVERIFY(result.loaded.isNull());
        QVERIFY(!result.reason.isEmpty());
    }

    void aDamagedBodyLoadsAsNothing_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray body = qCompress(emptyPayload(7), -1);
        const auto size = quint32(body.size());
        QTest::newRow("no length") << header(true);
        QTest::newRow("cut length") << header(true) + QByteArray(2, '\0');
        QTest::newRow("null array") << header(true) + be32(0xFFFFFFFF);
        QTest::newRow("longer than the file") << header(true) + be32(size + 1) + body;
        QTest::newRow("extended length") << header(true) + be32(0xFFFFFFFE) + be64(size) + body;
        QTest::newRow("cut stream") << header(true) + be32(size - 1) + body.chopped(1);
        QTest::newRow("shorter than its own length") << header(true) + be32(3) + "abc";
        QTest::newRow("a length and no stream") << header(true) + be32(4) + be32(7);
        QTest::newRow("noise") << header(true) + be32(12) + "abcdefghijkl";
        QByteArray badSum = body;
        badSum.back() = char(badSum.back() ^ 1);
        QTest::newRow("wrong checksum") << header(true) + be32(size) + badSum;
        QByteArray badStart = body;
        badStart[4] = '\x79';
        QTest::newRow("wrong stream header") << header(true) + be32(size) + badStart;
    }

    void aDamagedBodyLoadsAsNothing()
    {
        QFETCH(QByteArray, bytes);
        const auto result = loadBytes(bytes);
        QCOMPARE(result.outcome, LoadOutcome::Loaded);
        QCOMPARE(result.reason, "the file is damaged");
        const auto nothing = VelaProject::create();
        QDataStream stream{QByteArray()};
        readProject(stream, nothing);
        QCOMPARE(difference(*result.loaded, *nothing), QString());
        QCOMPARE(result.loaded->sampleRate, 0);
        QCOMPARE(result.loaded->cursor.name, QString());
        QCOMPARE(result.loaded->selectionStart, 0);
    }

    void damageAtTheVeryEndOfALargeBodyLeavesNothingOfIt()
    {
        QCOMPARE(ProjectFile::save(noisy(kLargeFrames, 3), path()).outcome, SaveOutcome::Saved);
        QByteArray file = readFile(path());
        file.back() = char(file.back() ^ 0x10);
        const auto result = loadBytes(file);
        QCOMPARE(result.reason, "the file is damaged");
        QCOMPARE(result.loaded->sampleRate, 0);
        QVERIFY(result.loaded->tracks.isEmpty());
    }

    void aPayloadThatEndsEarlyInsideAWholeBodyKeepsWhatIsThere()
    {
        const auto result = loadBytes(compressedFile(emptyPayload(3).chopped(4)));
        QCOMPARE(result.outcome, LoadOutcome::Loaded);
        QCOMPARE(result.reason, "the file is damaged");
        QCOMPARE(result.loaded->sampleRate, 44100);
        QCOMPARE(result.loaded->trackCounter, 3);
    }

    void damageBehindThePayloadInsideTheBodyLeavesNothingOfIt()
    {
        QByteArray body = qCompress(emptyPayload(7) + QByteArray(1'000'000, 'x'), -1);
        body.back() = char(body.back() ^ 1);
        const auto result = loadBytes(header(true) + be32(quint32(body.size())) + body);
        QCOMPARE(result.reason, "the file is damaged");
        QCOMPARE(result.loaded->trackCounter, 0);
    }

    void theClaimedSizeOfAPayloadIsOnlyAHint_data()
    {
        QTest::addColumn<quint32>("claim");
        QTest::newRow("zero") << 0U;
        QTest::newRow("too small") << 5U;
        QTest::newRow("four thousand million") << 0xFFFFFFFFU;
    }

    void theClaimedSizeOfAPayloadIsOnlyAHint()
    {
        QFETCH(quint32, claim);
        const QByteArray stream = qCompress(emptyPayload(6), -1).mid(4);
        const auto result =
            loadBytes(header(true) + be32(quint32(stream.size()) + 4) + be32(claim) + stream);
        QCOMPARE(result.reason, QString());
        QCOMPARE(result.loaded->trackCounter, 6);
    }

    void anEmptyBodyIsAnEmptyPayload_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("no bytes") << be32(0);
        QTest::newRow("nothing compressed") << be32(4) + be32(0);
    }

    void anEmptyBodyIsAnEmptyPayload()
    {
        QFETCH(QByteArray, body);
        const auto result = loadBytes(header(true) + body);
        QCOMPARE(result.outcome, LoadOutcome::Loaded);
        QCOMPARE(result.reason, QString());
        QCOMPARE(result.loaded->sampleRate, 0);
    }

    void aPlainFileCutShortKeepsWhatIsThere()
    {
        const auto result = loadBytes(plainFile(emptyPayload(3).chopped(4 + 4 + 8)));
        QCOMPARE(result.outcome, LoadOutcome::Loaded);
        QCOMPARE(result.reason, "the file is damaged");
        QCOMPARE(result.loaded->sampleRate, 44100);
        QCOMPARE(result.loaded->cursor.name, "cursor");
        QCOMPARE(result.loaded->selectionEnd, -1);
        QCOMPARE(result.loaded->trackCounter, 0);
    }

    void moreThanMayBeHeldIsRefused()
    {
        const auto silent = VelaProject::create();
        silent->addTrack({}, 1)->samples[0] = signal_makers::constant(1'000'000, 0.0F);
        QCOMPARE(ProjectFile::save(silent, path()).outcome, SaveOutcome::Saved);
        QFile file(path());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto refused = ProjectFile::read(file, 2'000'000);
        QCOMPARE(refused.outcome, LoadOutcome::TooLarge);
        QVERIFY(!refused.reason.isEmpty());
        QVERIFY(file.seek(0));
        QCOMPARE(ProjectFile::read(file, 5'000'000).outcome, LoadOutcome::Loaded);
    }

    void whatIsNoFileIsNotOpened()
    {
        QVERIFY(QDir(folder()).mkdir(QStringLiteral("folder.vela")));
        QCOMPARE(::mkfifo(QFile::encodeName(path("pipe.vela")).constData(), 0600), 0);
        for (const char* name : {"missing.vela", "folder.vela", "pipe.vela"}) {
            const auto result = ProjectFile::load(path(QString::fromLatin1(name)));
            QCOMPARE(result.outcome, LoadOutcome::CouldNotOpen);
            QVERIFY(!result.reason.isEmpty());
        }
    }

    void anAbandonedLoadGivesNothing()
    {
        QCOMPARE(ProjectFile::save(awkward(), path()).outcome, SaveOutcome::Saved);
        const std::atomic_bool abandon = true;
        const auto result = ProjectFile::load(path(), &abandon);
        QCOMPARE(result.outcome, LoadOutcome::Abandoned);
        QVERIFY(result.loaded.isNull());
    }
};

QTEST_GUILESS_MAIN(TestProjectFileDamage)
#include "tst_projectfiledamage.moc"
