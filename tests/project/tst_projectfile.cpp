#include "project/projectfile.h"
#include "project/projectsamples.h"
#include "project/projectserializer.h"
#include "support/files.h"
#include "support/foldersuite.h"
#include "support/signalmakers.h"

#include <QTest>

using namespace project_samples;

using SaveOutcome = ProjectFile::SaveResult::Outcome;
using LoadOutcome = ProjectFile::LoadResult::Outcome;

namespace {

constexpr qsizetype kLargeFrames = 200'000; // 1.6 MB: takes the streamed road

} // namespace

class TestProjectFile : public FolderSuite {
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
        const QByteArray payload = payloadOf(project);
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
        const QByteArray expected = payloadOf(project);
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
        const QByteArray expected = payloadOf(project);
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
        const QByteArray payload = payloadOf(awkward());
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
        QVERIFY(!copy->tracks[0]->samples.isSharedWith(project->tracks[0]->samples));
        QVERIFY(copy->tracks[0]->samples[0].isSharedWith(project->tracks[0]->samples[0]));
        project->tracks[0]->samples[0].append(1.0F);
        project->tracks[0]->name = QStringLiteral("renamed");
        QCOMPARE(copy->tracks[0]->samples[0].size(), 1000);
        QCOMPARE(copy->tracks[0]->name, "noise");
    }
};

QTEST_GUILESS_MAIN(TestProjectFile)
#include "tst_projectfile.moc"
