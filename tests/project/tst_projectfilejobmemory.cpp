// Memory runs out while a project is loaded. A suite of its own, as the sanitizers know
// no limit of the address space.

#include "project/addressspacelimit.h"
#include "project/projectfilejob.h"
#include "project/projectsamples.h"
#include "support/files.h"
#include "support/foldersuite.h"

#include <QSignalSpy>
#include <QTest>

#include <limits>
#include <memory>
#include <new>
#include <vector>

using namespace project_samples;

namespace {

constexpr qint64 kMebibyte = qint64{1024} * 1024;
constexpr qint64 kLongFileBytes = 512 * kMebibyte;

} // namespace

class TestProjectFileJobMemory : public FolderSuite {
    Q_OBJECT

private:
    /// In pieces that leave room for a few words.
    static std::vector<std::unique_ptr<char[]>> allFreeMemory()
    {
        constexpr std::size_t kPieceBytes = 16384;
        std::vector<std::unique_ptr<char[]>> pieces;
        try {
            while (true)
                pieces.push_back(std::make_unique<char[]>(kPieceBytes));
        } catch (const std::bad_alloc&) {
            return pieces;
        }
    }

    [[nodiscard]] QString longFile() const
    {
        QString path = in(QStringLiteral("song.vela"));
        writeFile(path, plainFileOfOneChannel(kLongFileBytes / qint64{sizeof(float)}));
        QFile file(path);
        return file.resize(file.size() + kLongFileBytes) ? path : QString(); // zeros, in a hole
    }

private slots:

    void aLoadThatDoesNotFitSaysSoAndLeavesTheProjectAlone()
    {
        const QString path = longFile();
        const auto project = awkward();
        ProjectFileJob job;
        const QSignalSpy errors(&job, &ProjectFileJob::errorOccurred);
        {
            const AddressSpaceLimit limit(128 * kMebibyte);
            QVERIFY(limit.isSet());
            QVERIFY(!job.load(path, project));
        }
        const QString reason = QStringLiteral("the project does not fit into memory");
        QCOMPARE(log().take(QtWarningMsg, "ProjectFile: not loaded: " + reason + ", skipping..."),
                 1);
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors[0][0].toString(), "Could not load song.vela: " + reason + '.');
        QVERIFY(project->tainted);
        QCOMPARE(difference(*project, *awkward()), QString());
    }

    void aSaveThatMemoryRunsOutInSaysSoAndLeavesTheFileAlone()
    {
        const QString path = in(QStringLiteral("song.vela"));
        writeFile(path, "old");
        const auto project = VelaProject::create();
        project->addTrack({}, 1)->samples[0].resize(kLongFileBytes / 16);
        ProjectFile::SaveResult result;
        {
            const AddressSpaceLimit limit(0);
            QVERIFY(limit.isSet());
            const std::vector<std::unique_ptr<char[]>> taken = allFreeMemory();
            result = ProjectFile::save(project, path);
        }
        QCOMPARE(result.outcome, ProjectFile::SaveResult::Outcome::WriteFailed);
        QCOMPARE(result.reason, "there is not enough memory left");
        QCOMPARE(readFile(path), "old");
        QCOMPARE(entries(), QStringList{"song.vela"});
    }

    void memoryThatRunsOutWithinTheBudgetIsTheSame()
    {
        QFile file(longFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const AddressSpaceLimit limit(128 * kMebibyte);
        QVERIFY(limit.isSet());
        const ProjectFile::LoadResult result =
            ProjectFile::read(file, std::numeric_limits<qint64>::max());
        QCOMPARE(result.outcome, ProjectFile::LoadResult::Outcome::TooLarge);
    }
};

QTEST_GUILESS_MAIN(TestProjectFileJobMemory)
#include "tst_projectfilejobmemory.moc"
