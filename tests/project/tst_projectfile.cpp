#include "project/projectfile.h"
#include "project/projectsamples.h"
#include "project/projectserializer.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace project_samples;

using SaveOutcome = ProjectFile::SaveResult::Outcome;
using LoadOutcome = ProjectFile::LoadResult::Outcome;

namespace {

constexpr qsizetype kLargeFrames = 200'000; // 1.6 MB: takes the streamed road

mode_t modeOf(const QString& path)
{
    struct stat status = {};
    ::stat(QFile::encodeName(path).constData(), &status);
    return status.st_mode & 07777;
}

} // namespace

class TestProjectFile : public QObject {
    Q_OBJECT

private:
    [[nodiscard]] QString path(const QString& name = QStringLiteral("song.vela")) const
    {
        return m_folder->filePath(name);
    }

    [[nodiscard]] QStringList entries() const
    {
        return QDir(m_folder->path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    ProjectFile::LoadResult loadBytes(const QByteArray& bytes)
    {
        writeFile(path(), bytes);
        return ProjectFile::load(path());
    }

    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<QTemporaryDir> m_folder;

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_folder = std::make_unique<QTemporaryDir>();
    }

    void cleanup()
    {
        m_folder.reset();
        m_log.reset();
    }

    // --- what is written

    void anEmptyProjectIsHeaderAndOneCompressedArray()
    {
        const auto project = VelaProject::create();
        project->trackCounter = 2;
        QCOMPARE(ProjectFile::save(project, path()).outcome, SaveOutcome::Saved);
        const QByteArray body = qCompress(emptyPayload(2), -1);
        QCOMPARE(readFile(path()),
                 QByteArray("VELA\0\0\0\1\1", 9) + be32(quint32(body.size())) + body);
        QCOMPARE(entries(), QStringList{"song.vela"});
    }

    void payloadsUpToTheLimitAreCompressedAsQCompressDoes_data()
    {
        QTest::addColumn<qint64>("excessBytes");
        QTest::newRow("one sample below") << qint64(-4);
        QTest::newRow("at the limit") << qint64(0);
    }

    void payloadsUpToTheLimitAreCompressedAsQCompressDoes()
    {
        QFETCH(qint64, excessBytes);
        const auto project = VelaProject::create();
        const TrackHandle track = project->addTrack(QStringLiteral("t"), 1);
        // Field sizes are even and samples take four bytes; the name makes up for the rest.
        if ((payloadSize(*project) + excessBytes) % 4 != 0)
            track->name += QLatin1Char('t');
        const qint64 room =
            ProjectFile::kMaxPlainPayloadBytes + excessBytes - payloadSize(*project);
        QCOMPARE(room % 4, 0);
        track->samples[0] = signal_makers::noise(room / 4, 5);
        QByteArray payload;
        QDataStream stream(&payload, QIODevice::WriteOnly);
        writeProject(stream, project);
        QCOMPARE(payload.size(), ProjectFile::kMaxPlainPayloadBytes + excessBytes);
        QCOMPARE(ProjectFile::save(project, path()).outcome, SaveOutcome::Saved);
        QVERIFY(readFile(path()) == compressedFile(payload));
    }

    void aLargerPayloadIsABodyThatQUncompressReads()
    {
        const auto project = noisy(kLargeFrames, 3);
        QCOMPARE(ProjectFile::save(project, path()).outcome, SaveOutcome::Saved);
        const QByteArray file = readFile(path());
        QVERIFY(file.startsWith(header(true)));
        QCOMPARE(file.mid(9, 4), be32(quint32(file.size()) - 13));
        QCOMPARE(file.mid(13, 4), be32(quint32(payloadSize(*project))));
        const QByteArray payload = qUncompress(file.mid(13));
        QByteArray expected;
        QDataStream stream(&expected, QIODevice::WriteOnly);
        writeProject(stream, project);
        QVERIFY(payload == expected);
        const auto size = double(qCompress(expected, -1).size());
        QVERIFY2(double(file.size()) <= 1.08 * size, qPrintable(QString::number(file.size())));
    }

    void silenceInALargeBodyReadsToTheBitAndStaysSmall_data()
    {
        QTest::addColumn<QList<int>>("kilosamples"); // sounding, silent, sounding, ...
        QTest::newRow("nothing but silence") << QList<int>{0, 4000};
        QTest::newRow("in the middle") << QList<int>{300, 2000, 300};
        QTest::newRow("at the start and the end") << QList<int>{0, 1000, 300, 1000};
        QTest::newRow("short pieces of it") << QList<int>{270, 10, 400, 263, 5, 270, 300, 526, 1};
    }

    void silenceInALargeBodyReadsToTheBitAndStaysSmall()
    {
        QFETCH(QList<int>, kilosamples);
        const auto project = VelaProject::create();
        QList<float>& samples = project->addTrack({}, 1)->samples[0];
        for (qsizetype i = 0; i < kilosamples.size(); ++i)
            samples += i % 2 == 0 ? signal_makers::noise(kilosamples[i] * 1000, quint32(i))
                                  : signal_makers::constant(kilosamples[i] * 1000, 0.0F);
        QCOMPARE(ProjectFile::save(project, path()).outcome, SaveOutcome::Saved);
        QByteArray expected;
        QDataStream stream(&expected, QIODevice::WriteOnly);
        writeProject(stream, project);
        const QByteArray file = readFile(path());
        QVERIFY(qUncompress(file.mid(13)) == expected);
        QCOMPARE(difference(*ProjectFile::load(path()).loaded, *project), QString());
        const auto plainSize = double(qCompress(expected, -1).size());
        QVERIFY2(double(file.size()) <= 1.08 * plainSize, qPrintable(QString::number(file.size())));
    }

    void savingTwiceGivesTheSameBytes()
    {
        const auto project = noisy(kLargeFrames, 3);
        QCOMPARE(ProjectFile::save(project, path("a.vela")).outcome, SaveOutcome::Saved);
        QCOMPARE(ProjectFile::save(project, path("b.vela")).outcome, SaveOutcome::Saved);
        QVERIFY(readFile(path("a.vela")) == readFile(path("b.vela")));
    }

    // --- round trips

    void whatIsSavedLoadsToTheBit_data()
    {
        QTest::addColumn<ProjectHandle>("project");
        QTest::newRow("empty") << VelaProject::create(8000);
        QTest::newRow("awkward samples") << awkward();
        QTest::newRow("large") << noisy(kLargeFrames, 7);
        const auto mixed = awkward();
        mixed->tracks.append(noisy(kLargeFrames, 8)->tracks);
        mixed->tracks.append(awkward()->tracks);
        QTest::newRow("awkward samples around large ones") << mixed;
        const auto silent = VelaProject::create();
        silent->addTrack({}, 1)->samples[0] = signal_makers::constant(3'000'000, 0.0F);
        QTest::newRow("silence") << silent;
    }

    void whatIsSavedLoadsToTheBit()
    {
        QFETCH(ProjectHandle, project);
        QCOMPARE(ProjectFile::save(project, path()).outcome, SaveOutcome::Saved);
        const auto result = ProjectFile::load(path());
        QCOMPARE(result.outcome, LoadOutcome::Loaded);
        QCOMPARE(result.reason, QString());
        QCOMPARE(difference(*project, *result.loaded), QString());
    }

    void anUncompressedFileLoads()
    {
        QByteArray payload;
        QDataStream stream(&payload, QIODevice::WriteOnly);
        writeProject(stream, awkward());
        const auto result = loadBytes(plainFile(payload));
        QCOMPARE(result.outcome, LoadOutcome::Loaded);
        QCOMPARE(result.reason, QString());
        QCOMPARE(difference(*awkward(), *result.loaded), QString());
    }

    void anyFlagButZeroMeansCompressed()
    {
        QByteArray file = compressedFile(emptyPayload(9));
        file[8] = '\x80';
        QCOMPARE(loadBytes(file).loaded->trackCounter, 9);
    }

    void whatFollowsTheBodyIsIgnored()
    {
        const auto result = loadBytes(compressedFile(emptyPayload(4)) + "more");
        QCOMPARE(result.reason, QString());
        QCOMPARE(result.loaded->trackCounter, 4);
    }

    void aSnapshotSharesTheSamplesAndStandsAlone()
    {
        const auto project = noisy(1000, 1);
        const auto copy = ProjectFile::snapshot(*project);
        QCOMPARE(difference(*project, *copy), QString());
        QVERIFY(copy->tracks[0]->samples[0].isSharedWith(project->tracks[0]->samples[0]));
        project->tracks[0]->samples[0].append(1.0F);
        project->tracks[0]->name = QStringLiteral("renamed");
        QCOMPARE(copy->tracks[0]->samples[0].size(), 1000);
        QCOMPARE(copy->tracks[0]->name, "noise");
    }

    // --- files that are not what they should be

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
        QTest::newRow("cut length") << header(true) + "\0\0";
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
        QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("folder.vela")));
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

    // --- what a save leaves in the folder

    void savingReplacesTheFileAndKeepsItsPermissions()
    {
        writeFile(path(), "old");
        QVERIFY(::chmod(QFile::encodeName(path()).constData(), 0640) == 0);
        QCOMPARE(ProjectFile::save(awkward(), path()).outcome, SaveOutcome::Saved);
        QCOMPARE(modeOf(path()), mode_t(0640));
        QCOMPARE(difference(*ProjectFile::load(path()).loaded, *awkward()), QString());
        QCOMPARE(entries(), QStringList{"song.vela"});
    }

    void aNewFileGetsWhatTheMaskLeaves()
    {
        const mode_t before = ::umask(027);
        QCOMPARE(ProjectFile::save(awkward(), path()).outcome, SaveOutcome::Saved);
        ::umask(before);
        QCOMPARE(modeOf(path()), mode_t(0640));
    }

    void extendedAttributesSurviveASave()
    {
        // The folder for temporary files may be on a file system without them.
        const QTemporaryDir onDisk(QCoreApplication::applicationDirPath() +
                                   QStringLiteral("/attributes-XXXXXX"));
        const QString song = onDisk.filePath(QStringLiteral("song.vela"));
        writeFile(song, "old");
        const QByteArray name = QFile::encodeName(song);
        QCOMPARE(::setxattr(name.constData(), "user.vela.test", "kept", 4, 0), 0);
        QCOMPARE(ProjectFile::save(awkward(), song).outcome, SaveOutcome::Saved);
        QByteArray value(4, '\0');
        QCOMPARE(::getxattr(name.constData(), "user.vela.test", value.data(), 4), ssize_t(4));
        QCOMPARE(value, "kept");
    }

    void aLinkSurvivesASaveAndItsTargetIsWritten_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("exists");
        QTest::newRow("relative") << "songs/real.vela" << true;
        QTest::newRow("to nothing yet") << "songs/new.vela" << false;
        QTest::newRow("a link to a link") << "second.vela" << true;
    }

    void aLinkSurvivesASaveAndItsTargetIsWritten()
    {
        QFETCH(QString, target);
        QFETCH(bool, exists);
        QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("songs")));
        writeFile(path("songs/real.vela"), "old");
        QVERIFY(QFile::link(path("songs/real.vela"), path("second.vela")));
        QCOMPARE(
            ::symlink(QFile::encodeName(target).constData(), QFile::encodeName(path()).constData()),
            0);
        QCOMPARE(QFile::exists(path()), exists);
        QCOMPARE(ProjectFile::save(awkward(), path()).outcome, SaveOutcome::Saved);
        QVERIFY(QFileInfo(path()).isSymLink() && QFileInfo(path("second.vela")).isSymLink());
        const QString real = exists ? QStringLiteral("songs/real.vela") : target;
        QVERIFY(!QFileInfo(path(real)).isSymLink());
        QCOMPARE(difference(*ProjectFile::load(path(real)).loaded, *awkward()), QString());
    }

    void aRingOfLinksCannotBeOpened()
    {
        QVERIFY(QFile::link(path("b.vela"), path("a.vela")));
        QVERIFY(QFile::link(path("a.vela"), path("b.vela")));
        const auto result = ProjectFile::save(awkward(), path("a.vela"));
        QCOMPARE(result.outcome, SaveOutcome::CouldNotOpen);
        QCOMPARE(result.reason, qt_error_string(ELOOP));
    }

    void whatIsNoFileIsNotReplaced()
    {
        QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("folder.vela")));
        QCOMPARE(::mkfifo(QFile::encodeName(path("pipe.vela")).constData(), 0600), 0);
        for (const char* name : {"folder.vela", "pipe.vela", "no/such/folder.vela"}) {
            const auto result = ProjectFile::save(awkward(), path(QString::fromLatin1(name)));
            QCOMPARE(result.outcome, SaveOutcome::CouldNotOpen);
            QVERIFY(!result.reason.isEmpty());
        }
        QCOMPARE(entries(), (QStringList{"folder.vela", "pipe.vela"}));
    }

    void namesOfAnyLengthAndScriptCanBeSaved()
    {
        const QString longest(255 - 5, QLatin1Char('n'));
        const QString stem = QString(120, QChar(0x00E4)); // 240 bytes
        for (const QString& name :
             {longest + ".vela", stem + ".vela", QString("\u30D9\u30E9.vela")}) {
            QCOMPARE(ProjectFile::save(awkward(), path(name)).outcome, SaveOutcome::Saved);
            QCOMPARE(ProjectFile::load(path(name)).outcome, LoadOutcome::Loaded);
        }
        QCOMPARE(entries().size(), 3);
    }

    void whatAKilledSaveLeftIsRemovedByTheNext()
    {
        writeFile(path(".song.vela.0123abcd.saving"), "left behind");
        // Names that only look alike belong to somebody else.
        const QStringList others{".song.vela.0123abcg.saving", ".song.vela.0123abcde.saving",
                                 ".other.vela.0123abcd.saving", ".song.vela.0123abcd.saved"};
        for (const QString& name : others)
            writeFile(path(name), "theirs");
        QCOMPARE(ProjectFile::save(awkward(), path()).outcome, SaveOutcome::Saved);
        QCOMPARE(entries().size(), others.size() + 1);
        QVERIFY(!QFile::exists(path(".song.vela.0123abcd.saving")));
    }

    void aBodyBeyondTheLimitLeavesTheOldFile()
    {
        writeFile(path(), "old");
        const auto project = noisy(kLargeFrames, 3);
        QCOMPARE(ProjectFile::save(project, path("fits.vela")).outcome, SaveOutcome::Saved);
        const qint64 body = QFileInfo(path("fits.vela")).size() - 13;
        const auto result = ProjectFile::save(project, path(), body - 1);
        QCOMPARE(result.outcome, SaveOutcome::TooLarge);
        QVERIFY(!result.reason.isEmpty());
        QCOMPARE(readFile(path()), "old");
        QCOMPARE(entries(), (QStringList{"fits.vela", "song.vela"}));
        QCOMPARE(ProjectFile::save(project, path(), body).outcome, SaveOutcome::Saved);
    }
};

QTEST_GUILESS_MAIN(TestProjectFile)
#include "tst_projectfile.moc"
