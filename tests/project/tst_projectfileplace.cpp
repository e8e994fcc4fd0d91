#include "project/projectfile.h"
#include "project/projectsamples.h"
#include "project/projectserializer.h"
#include "support/files.h"
#include "support/foldersuite.h"

#include <QDateTime>
#include <QDir>
#include <QTest>

#include <array>
#include <fcntl.h>
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

/// What a save does to the place it writes to.
class TestProjectFilePlace : public FolderSuite {
    Q_OBJECT

private:
    [[nodiscard]] QString path(const QString& name = QStringLiteral("song.vela")) const
    {
        return in(name);
    }

private slots:

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
        QVERIFY(QDir(folder()).mkdir(QStringLiteral("songs")));
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
        QVERIFY(QDir(folder()).mkdir(QStringLiteral("folder.vela")));
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

    void aSmallBodyBeyondTheLimitLeavesTheOldFile()
    {
        writeFile(path(), "old");
        QCOMPARE(ProjectFile::save(awkward(), path("fits.vela")).outcome, SaveOutcome::Saved);
        const qint64 body = QFileInfo(path("fits.vela")).size() - 13;
        QCOMPARE(ProjectFile::save(awkward(), path(), body - 1).outcome, SaveOutcome::TooLarge);
        QCOMPARE(readFile(path()), "old");
        QCOMPARE(ProjectFile::save(awkward(), path(), body).outcome, SaveOutcome::Saved);
    }

    void aChannelBeyondTheLimitIsRefusedBeforeTheFolderIsTouched()
    {
        writeFile(path(), "old");
        const QDateTime longAgo = QDateTime::fromSecsSinceEpoch(1'000'000'000);
        const timespec then{1'000'000'000, 0};
        const std::array times{then, then};
        const QByteArray folderName = QFile::encodeName(folder());
        QCOMPARE(::utimensat(AT_FDCWD, folderName.constData(), times.data(), 0), 0);
        const auto project = overlong();
        QCOMPARE(project->length(), kMaxChannelSamples + 1);
        const auto result = ProjectFile::save(project, path());
        QCOMPARE(result.outcome, SaveOutcome::TooLarge);
        QCOMPARE(result.reason, "a track is longer than a project file can hold");
        QCOMPARE(readFile(path()), "old");
        QCOMPARE(QFileInfo(folder()).lastModified(), longAgo);
    }
};

QTEST_GUILESS_MAIN(TestProjectFilePlace)
#include "tst_projectfileplace.moc"
