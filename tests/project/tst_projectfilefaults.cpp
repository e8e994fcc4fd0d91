// A save is struck in every way the system knows, in a process of its own; the
// file that was there must come through whole, or the new one must be there whole.

#include "project/projectfile.h"
#include "project/projectsamples.h"

#include <QDir>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace project_samples;

namespace {

constexpr int kSaved = 0;
constexpr int kKeptTainted = 3;
constexpr int kSavedWithWarning = 5;
constexpr int kSmallFrames = 10;
constexpr int kLargeFrames = 200'000; // 1.6 MB: takes the streamed road
constexpr uid_t kNobody = 65534;
constexpr int kKills = 200;
constexpr quint32 kLongestDelayUs = 40'000;

struct Run {
    int exitCode = -1; ///< −1: killed
    int calls = 0;     ///< how many system calls could have been struck
    QString log;
};

} // namespace

class TestProjectFileFaults : public QObject {
    Q_OBJECT

private:
    [[nodiscard]] QString path() const { return m_folder->filePath(QStringLiteral("song.vela")); }

    [[nodiscard]] QStringList entries() const
    {
        return QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden);
    }

    static QString number(int value) { return QString::number(value); }

    static Run run(const QString& program, const QStringList& arguments)
    {
        QProcess process;
        process.start(program, arguments);
        if (!process.waitForFinished(30'000)) {
            process.kill();
            process.waitForFinished();
        }
        Run result;
        if (process.exitStatus() == QProcess::NormalExit)
            result.exitCode = process.exitCode();
        result.calls = process.readAllStandardOutput().trimmed().toInt();
        result.log = QString::fromUtf8(process.readAllStandardError());
        return result;
    }

    [[nodiscard]] Run save(int seed, int frames, const QStringList& more) const
    {
        return run(QStringLiteral(VELA_PROJECT_SAVER),
                   QStringList{path(), "--seed", number(seed), "--frames", number(frames)} + more);
    }

    // Which project is on disk, whole: its seed, or 0 for none.
    [[nodiscard]] int seedOnDisk(int frames, std::initializer_list<int> candidates) const
    {
        const auto result = ProjectFile::load(path());
        if (result.outcome != ProjectFile::LoadResult::Outcome::Loaded)
            return 0;
        for (const int seed : candidates) {
            if (difference(*result.loaded, *noisy(frames, quint32(seed))).isEmpty())
                return seed;
        }
        return 0;
    }

    // Saves `noisy` 1 untroubled: the file that was there.
    void saveOld(int frames) { QCOMPARE(save(1, frames, {}).exitCode, kSaved); }

    std::unique_ptr<QTemporaryDir> m_folder;

private slots:

    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        // Somebody without rights must be able to reach the folder.
        QCOMPARE(::chmod(QFile::encodeName(m_folder->path()).constData(), 0755), 0);
    }

    void cleanup() { m_folder.reset(); }

    void anErrorAtAnySystemCallLeavesTheOldFileOrSaysThatTheNewIsThere_data()
    {
        QTest::addColumn<int>("frames");
        QTest::addColumn<int>("error");
        QTest::newRow("disk full, small") << kSmallFrames << ENOSPC;
        QTest::newRow("disk full, large") << kLargeFrames << ENOSPC;
        QTest::newRow("device error, large") << kLargeFrames << EIO;
        QTest::newRow("over quota, small") << kSmallFrames << EDQUOT;
    }

    void anErrorAtAnySystemCallLeavesTheOldFileOrSaysThatTheNewIsThere()
    {
        QFETCH(int, frames);
        QFETCH(int, error);
        saveOld(frames);
        const int calls = save(1, frames, {}).calls;
        QVERIFY(calls >= 6);
        for (int call = 1; call <= calls; ++call) {
            const Run result =
                save(2, frames,
                     {"--strike", number(call), "--fault", "error", "--errno", number(error)});
            // The very last call puts the folder on disk, after the exchange.
            const bool isInPlace = call == calls;
            QCOMPARE(result.exitCode, isInPlace ? kSavedWithWarning : kKeptTainted);
            QVERIFY2(result.log.contains(qt_error_string(error)), qPrintable(result.log));
            QCOMPARE(result.log.contains("saved, but perhaps not on disk yet"), isInPlace);
            QCOMPARE(entries(), QStringList{"song.vela"});
            QCOMPARE(seedOnDisk(frames, {1, 2}), isInPlace ? 2 : 1);
        }
    }

    void aFileSystemThatCannotKeepModesOrSynchroniseIsSavedInto_data()
    {
        QTest::addColumn<int>("callsBeforeTheLast");
        QTest::addColumn<int>("error");
        QTest::addColumn<int>("mode");
        // The last calls of a save: fchmod, fsync, rename, fsync of the folder.
        constexpr int kSync = 2;
        constexpr int kChangeMode = 3;
        QTest::newRow("modes are forbidden") << kChangeMode << EPERM << 0600;
        QTest::newRow("modes are not supported") << kChangeMode << ENOTSUP << 0600;
        QTest::newRow("modes are not known") << kChangeMode << ENOSYS << 0600;
        QTest::newRow("synchronising is invalid") << kSync << EINVAL << 0664;
        QTest::newRow("synchronising is not supported") << kSync << ENOTSUP << 0664;
        QTest::newRow("nor that of the folder") << 0 << ENOTSUP << 0664;
    }

    void aFileSystemThatCannotKeepModesOrSynchroniseIsSavedInto()
    {
        QFETCH(int, callsBeforeTheLast);
        QFETCH(int, error);
        QFETCH(int, mode);
        saveOld(kSmallFrames);
        const QByteArray name = QFile::encodeName(path());
        QCOMPARE(::chmod(name.constData(), 0664), 0);
        const int calls = save(1, kSmallFrames, {}).calls;
        const Run result = save(2, kSmallFrames,
                                {"--strike", number(calls - callsBeforeTheLast), "--fault", "error",
                                 "--errno", number(error)});
        QCOMPARE(result.exitCode, kSaved);
        QCOMPARE(seedOnDisk(kSmallFrames, {1, 2}), 2);
        struct stat after = {};
        QCOMPARE(::stat(name.constData(), &after), 0);
        QCOMPARE(after.st_mode & 07777, static_cast<mode_t>(mode));
    }

    void aModeThatIsRightAlreadyIsNotSet()
    {
        saveOld(kSmallFrames);
        const QByteArray name = QFile::encodeName(path());
        QCOMPARE(::chmod(name.constData(), 0664), 0);
        const int calls = save(1, kSmallFrames, {}).calls;
        QCOMPARE(::chmod(name.constData(), 0600), 0);
        QCOMPARE(save(1, kSmallFrames, {}).calls, calls - 1);
    }

    void aProcessKilledAroundAnySystemCallLeavesTheOldOrTheNewFile_data()
    {
        QTest::addColumn<int>("frames");
        QTest::addColumn<QString>("fault");
        QTest::newRow("small, before") << kSmallFrames << "kill-before";
        QTest::newRow("small, after") << kSmallFrames << "kill-after";
        QTest::newRow("large, before") << kLargeFrames << "kill-before";
        QTest::newRow("large, after") << kLargeFrames << "kill-after";
    }

    void aProcessKilledAroundAnySystemCallLeavesTheOldOrTheNewFile()
    {
        QFETCH(int, frames);
        QFETCH(QString, fault);
        saveOld(frames);
        const int calls = save(1, frames, {}).calls;
        int seed = 1;
        for (int call = 1; call <= calls; ++call) {
            const Run result = save(2, frames, {"--strike", number(call), "--fault", fault});
            QCOMPARE(result.exitCode, -1);
            const int now = seedOnDisk(frames, {1, 2});
            QVERIFY(now >= seed); // the new file, once there, stays
            seed = now;
        }
        QCOMPARE(seed, 2);
        QCOMPARE(save(1, frames, {}).exitCode, kSaved);
        QCOMPARE(entries(), QStringList{"song.vela"});
    }

    void aProcessEndsBesideACallThatNeverComesBack_data()
    {
        QTest::addColumn<int>("frames");
        QTest::newRow("small") << kSmallFrames;
        QTest::newRow("large") << kLargeFrames;
    }

    void aProcessEndsBesideACallThatNeverComesBack()
    {
        QFETCH(int, frames);
        saveOld(frames);
        const int calls = save(1, frames, {}).calls;
        for (int call = 1; call <= calls; ++call) {
            const Run result =
                save(2, frames, {"--strike", number(call), "--fault", "stall", "--stopped"});
            QCOMPARE(result.exitCode, kKeptTainted);
            QVERIFY(result.log.contains("the disk does not answer, skipping..."));
            const bool isInPlace = call == calls; // but its folder may not be on disk
            QCOMPARE(seedOnDisk(frames, {1, 2}), isInPlace ? 2 : 1);
        }
        QCOMPARE(save(1, frames, {}).exitCode, kSaved);
        QCOMPARE(entries(), QStringList{"song.vela"});
    }

    void aWriteThatTakesOnlyAPartIsGoneOnWith()
    {
        const int calls = save(1, kLargeFrames, {}).calls;
        for (int call = 1; call <= calls; ++call) {
            const int seed = 1 + call % 2;
            const Run result =
                save(seed, kLargeFrames, {"--strike", number(call), "--fault", "short-write"});
            QCOMPARE(result.exitCode, kSaved);
            QCOMPARE(seedOnDisk(kLargeFrames, {1, 2}), seed);
        }
    }

    void aFileSizeLimitAtAnyByteLeavesTheOldFile()
    {
        saveOld(kSmallFrames);
        const auto size = int(QFileInfo(path()).size());
        for (int limit = 0; limit < size; ++limit) {
            const Run result = save(2, kSmallFrames, {"--file-size-limit", number(limit)});
            QCOMPARE(result.exitCode, kKeptTainted);
            QVERIFY2(result.log.contains(qt_error_string(EFBIG)), qPrintable(result.log));
            QCOMPARE(seedOnDisk(kSmallFrames, {1, 2}), 1);
            QCOMPARE(entries(), QStringList{"song.vela"});
        }
    }

    void aFileSizeLimitWithinALargeSaveLeavesTheOldFile()
    {
        saveOld(kLargeFrames);
        for (const int limit : {0, 9, 100'000, 262'144, 1'000'000}) {
            const Run result = save(2, kLargeFrames, {"--file-size-limit", number(limit)});
            QCOMPARE(result.exitCode, kKeptTainted);
            QCOMPARE(seedOnDisk(kLargeFrames, {1, 2}), 1);
            QCOMPARE(entries(), QStringList{"song.vela"});
        }
    }

    void aKillAtARandomMomentLeavesTheOldOrTheNewFile()
    {
        saveOld(kLargeFrames);
        QRandomGenerator random(20240229);
        for (int i = 0; i < kKills; ++i) {
            QProcess process;
            process.start(QStringLiteral(VELA_PROJECT_SAVER),
                          {path(), "--for-ever", "--seed", "2", "--frames", number(kLargeFrames)});
            QVERIFY(process.waitForReadyRead(30'000));
            QThread::usleep(random.bounded(kLongestDelayUs));
            process.kill();
            QVERIFY(process.waitForFinished(30'000));
            QVERIFY2(seedOnDisk(kLargeFrames, {1, 2, 3}) != 0, qPrintable(number(i)));
        }
        QCOMPARE(save(1, kLargeFrames, {}).exitCode, kSaved);
        QCOMPARE(entries(), QStringList{"song.vela"});
    }

    void aFolderThatTakesNoNewFileLeavesTheOldFile()
    {
        saveOld(kSmallFrames);
        QCOMPARE(::chmod(QFile::encodeName(path()).constData(), 0666), 0);
        QCOMPARE(::chmod(QFile::encodeName(m_folder->path()).constData(), 0555), 0);
        const Run result = save(2, kSmallFrames, {"--as-nobody"});
        QCOMPARE(::chmod(QFile::encodeName(m_folder->path()).constData(), 0755), 0);
        QCOMPARE(result.exitCode, kKeptTainted);
        QVERIFY(result.log.contains("Could not open file for saving, skipping..."));
        QVERIFY(result.log.contains(qt_error_string(EACCES)));
        QCOMPARE(seedOnDisk(kSmallFrames, {1, 2}), 1);
    }

    void aFileThatMayNotBeWrittenStays()
    {
        saveOld(kSmallFrames);
        QCOMPARE(::chmod(QFile::encodeName(m_folder->path()).constData(), 0777), 0);
        QCOMPARE(::chmod(QFile::encodeName(path()).constData(), 0444), 0);
        const Run result = save(2, kSmallFrames, {"--as-nobody"});
        QCOMPARE(result.exitCode, kKeptTainted);
        QVERIFY(result.log.contains("Could not open file for saving, skipping..."));
        QCOMPARE(seedOnDisk(kSmallFrames, {1, 2}), 1);
    }

    void theOwnerOfTheFileStaysTheOwner()
    {
        saveOld(kSmallFrames);
        const QByteArray name = QFile::encodeName(path());
        if (::geteuid() == 0)
            QCOMPARE(::chown(name.constData(), kNobody, kNobody), 0);
        struct stat before = {};
        QCOMPARE(::stat(name.constData(), &before), 0);
        QCOMPARE(save(2, kSmallFrames, {}).exitCode, kSaved);
        struct stat after = {};
        QCOMPARE(::stat(name.constData(), &after), 0);
        QVERIFY(after.st_ino != before.st_ino);
        QCOMPARE(after.st_uid, before.st_uid);
        QCOMPARE(after.st_gid, before.st_gid);
        QCOMPARE(after.st_mode, before.st_mode);
    }

    void aFullFileSystemLeavesTheOldFile()
    {
        // A mount of its own namespace needs no clean-up: it goes with the process.
        // It holds the old file of 1.5 MB but not the new one beside it.
        const QString script = QStringLiteral(
            "mount -t tmpfs -o size=2400k none \"$1\" || exit 99; f=\"$1/song.vela\"; shift\n"
            "\"$0\" \"$f\" --seed 1 \"$@\" >/dev/null 2>&1 || exit 98\n"
            "before=$(cksum <\"$f\")\n"
            "\"$0\" \"$f\" --seed 2 \"$@\" >/dev/null; result=$?\n"
            "[ \"$before\" = \"$(cksum <\"$f\")\" ] || exit 97\n"
            "[ \"$(ls -A \"${f%/*}\")\" = song.vela ] || exit 96\n"
            "exit $result");
        QStringList arguments{"--mount",
                              "sh",
                              "-c",
                              script,
                              VELA_PROJECT_SAVER,
                              m_folder->path(),
                              "--frames",
                              number(kLargeFrames)};
        if (::geteuid() != 0)
            arguments = QStringList{"--user", "--map-root-user"} + arguments;
        const Run result = run(QStringLiteral("unshare"), arguments);
        QVERIFY2(result.exitCode != 99, "this test must be allowed to mount a file system");
        QCOMPARE(result.exitCode, kKeptTainted);
        QVERIFY2(result.log.contains(qt_error_string(ENOSPC)), qPrintable(result.log));
    }
};

QTEST_GUILESS_MAIN(TestProjectFileFaults)
#include "tst_projectfilefaults.moc"
