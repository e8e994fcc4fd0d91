// The format as strangers see it: a reader and writer that knows only the
// description, the bytes that the description shows, and files made to do harm.

#include "project/projectfile.h"
#include "project/projectsamples.h"
#include "project/projectserializer.h"
#include "support/files.h"
#include "support/foldersuite.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <cstring>
#include <memory>

using namespace project_samples;

using SaveOutcome = ProjectFile::SaveResult::Outcome;
using LoadOutcome = ProjectFile::LoadResult::Outcome;

namespace {

constexpr qsizetype kLargeFrames = 200'000; // 1.6 MB: takes the streamed road
constexpr qint64 kMaxPayloadBytes = qint64{256} * 1024 * 1024;

QString hexOf(const QList<float>& samples)
{
    const QByteArray raw(reinterpret_cast<const char*>(samples.constData()),
                         samples.size() * qsizetype(sizeof(float)));
    return QString::fromLatin1(raw.toHex());
}

QJsonObject marker(const Marker& marker)
{
    return {{"name", marker.name}, {"position", marker.position}};
}

// The JSON that the script prints and reads.
QJsonObject description(const VelaProject& project)
{
    QJsonArray tracks;
    for (const TrackHandle& track : project.tracks) {
        QJsonArray channels;
        for (const auto& channel : std::as_const(track->samples))
            channels.append(hexOf(channel));
        tracks.append(QJsonObject{{"name", track->name},
                                  {"channels", track->channels},
                                  {"sampleRate", track->sampleRate},
                                  {"muted", track->muted},
                                  {"solo", track->solo},
                                  {"samples", channels}});
    }
    return {{"sampleRate", project.sampleRate},
            {"cursor", marker(project.cursor)},
            {"play", marker(project.play)},
            {"selectionStart", project.selectionStart},
            {"selectionEnd", project.selectionEnd},
            {"loopStart", project.loopStart},
            {"loopEnd", project.loopEnd},
            {"trackCounter", project.trackCounter},
            {"tracks", tracks}};
}

// The project of the description's example.
ProjectHandle example()
{
    const auto project = VelaProject::create(48000);
    project->cursor.position = 258;
    const TrackHandle track = project->addTrack(QStringLiteral("A"), 1);
    track->samples[0] = {1.0F, -2.0F, -0.0F};
    track->muted = true;
    return project;
}

// The bytes of each hexadecimal dump in the description, in order.
QList<QByteArray> dumpsInDescription()
{
    const QString page =
        QString::fromUtf8(readFile(QStringLiteral(VELA_SOURCE_DIR "/docs/file-format.md")));
    static const QRegularExpression fence(QStringLiteral("```text\n(.*?)```"),
                                          QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression line(
        QStringLiteral("^([0-9a-f]{8})  ((?:[0-9a-f]{2} ?)+) +\\|.*\\|$"),
        QRegularExpression::MultilineOption);
    QList<QByteArray> dumps;
    for (const auto& block : fence.globalMatch(page)) {
        QByteArray bytes;
        for (const auto& row : line.globalMatch(block.captured(1))) {
            if (row.captured(1).toLongLong(nullptr, 16) != bytes.size())
                return {};
            bytes += QByteArray::fromHex(row.captured(2).toLatin1());
        }
        dumps.append(bytes);
    }
    return dumps;
}

} // namespace

class TestProjectFileFormat : public FolderSuite {
    Q_OBJECT

private:
    [[nodiscard]] QString path() const { return in(QStringLiteral("song.vela")); }

    static QByteArray runScript(const QStringList& arguments, const QByteArray& input = {})
    {
        QProcess python;
        python.start(QStringLiteral("python3"),
                     QStringList{"-B", VELA_SOURCE_DIR "/tests/project/velafile.py"} + arguments);
        python.write(input);
        python.closeWriteChannel();
        if (!python.waitForFinished() || python.exitCode() != 0)
            QTest::qFail(python.readAllStandardError().constData(), __FILE__, __LINE__);
        return python.readAllStandardOutput();
    }

    static void projectRows()
    {
        QTest::addColumn<ProjectHandle>("project");
        QTest::newRow("empty") << VelaProject::create(8000);
        QTest::newRow("awkward samples") << awkward();
        QTest::newRow("large") << noisy(kLargeFrames, 7);
        const auto silent = VelaProject::create();
        silent->addTrack({}, 1)->samples[0] = QList<float>(1'000'000);
        QTest::newRow("silence") << silent;
    }

private slots:

    void aStrangerReadsWhatWeWrite_data() { projectRows(); }

    void aStrangerReadsWhatWeWrite()
    {
        QFETCH(ProjectHandle, project);
        QCOMPARE(ProjectFile::save(project, path()).outcome, SaveOutcome::Saved);
        const QByteArray printed = runScript({"describe", path()});
        QVERIFY(QJsonDocument::fromJson(printed).object() == description(*project));
    }

    void weReadWhatAStrangerWrites_data() { projectRows(); }

    void weReadWhatAStrangerWrites()
    {
        QFETCH(ProjectHandle, project);
        const QByteArray json = QJsonDocument(description(*project)).toJson();
        for (const QStringList& more : {QStringList{}, QStringList{"--plain"}}) {
            runScript(QStringList{"write", path()} + more, json);
            QCOMPARE(readFile(path()).at(8), more.isEmpty() ? '\1' : '\0');
            const auto result = ProjectFile::load(path());
            QCOMPARE(result.outcome, LoadOutcome::Loaded);
            QCOMPARE(result.reason, QString());
            QCOMPARE(difference(*result.loaded, *project), QString());
        }
    }

    void theDescriptionShowsRealBytes()
    {
        const QList<QByteArray> dumps = dumpsInDescription();
        QCOMPARE(dumps.size(), 2);
        QCOMPARE(dumps[0].toHex(' '), plainFile(payloadOf(example())).toHex(' '));
        QCOMPARE(ProjectFile::save(example(), path()).outcome, SaveOutcome::Saved);
        QCOMPARE(dumps[1].toHex(' '), readFile(path()).toHex(' '));
        for (const QByteArray& dump : dumps) {
            writeFile(path(), dump);
            QCOMPARE(difference(*ProjectFile::load(path()).loaded, *example()), QString());
        }
    }

    void hostileFilesTakeNoMoreThanTheyHold_data()
    {
        QTest::addColumn<QString>("file");
        const QDir corpus(QStringLiteral(VELA_SOURCE_DIR "/tests/project/corpus"));
        const QStringList files = corpus.entryList({"*.vela"}, QDir::Files);
        QVERIFY(files.size() > 40);
        for (const QString& file : files)
            QTest::newRow(qPrintable(file)) << corpus.filePath(file);
    }

    void hostileFilesTakeNoMoreThanTheyHold()
    {
        QFETCH(QString, file);
        QFile device(file);
        QVERIFY(device.open(QIODevice::ReadOnly));
        const auto result = ProjectFile::read(device, kMaxPayloadBytes);
        if (result.outcome != LoadOutcome::Loaded) {
            QVERIFY(result.loaded.isNull() && !result.reason.isEmpty());
            return;
        }
        qint64 reserved = 0;
        for (const TrackHandle& track : result.loaded->tracks) {
            for (const auto& channel : std::as_const(track->samples))
                reserved += qint64{sizeof(float)} * channel.capacity();
        }
        const QByteArray bytes = readFile(file);
        const bool isCompressed = bytes.size() > 8 && bytes[8] != 0;
        // A deflate stream grows to 1032 times its size at the most.
        const qint64 honest = isCompressed ? 1032 * bytes.size() : bytes.size();
        QVERIFY2(reserved <= 2 * honest, qPrintable(QString::number(reserved)));
        // Whatever it was, it is a project now, and can be saved and loaded.
        QCOMPARE(ProjectFile::save(result.loaded, path()).outcome, SaveOutcome::Saved);
        QCOMPARE(difference(*ProjectFile::load(path()).loaded, *result.loaded), QString());
    }

    void hostileFilesReadAsTheirKindDoes_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("tracks");
        QTest::addColumn<qint64>("samples"); // in all tracks
        QTest::addColumn<bool>("damaged");
        QTest::newRow("whole-compressed") << "whole-compressed" << 2 << qint64(5) << false;
        QTest::newRow("whole-plain") << "whole-plain" << 2 << qint64(5) << false;
        QTest::newRow("stored blocks") << "stored-blocks" << 2 << qint64(5) << false;
        QTest::newRow("claims four gigabytes")
            << "claims-four-gigabytes" << 2 << qint64(5) << false;
        QTest::newRow("claims nothing") << "claims-nothing" << 2 << qint64(5) << false;
        QTest::newRow("bytes behind the body") << "bytes-behind-body" << 2 << qint64(5) << false;
        QTest::newRow("bytes behind the stream")
            << "bytes-behind-stream" << 2 << qint64(5) << false;
        QTest::newRow("bomb behind the project")
            << "bomb-behind-the-project" << 2 << qint64(5) << false;
        QTest::newRow("checksum") << "checksum-wrong" << 0 << qint64(0) << true;
        QTest::newRow("bomb with a wrong checksum")
            << "bomb-with-wrong-checksum" << 0 << qint64(0) << true;
        QTest::newRow("cut stream") << "stream-cut" << 0 << qint64(0) << true;
        QTest::newRow("stream with a dictionary")
            << "stream-with-dictionary" << 0 << qint64(0) << true;
        QTest::newRow("another wrapper") << "gzip-instead" << 0 << qint64(0) << true;
        QTest::newRow("wrapped count of eight bytes")
            << "channel-count-wraps-to-eight" << 1 << qint64(2) << false;
        QTest::newRow("cut inside a sample")
            << "channel-cut-inside-a-sample" << 1 << qint64(1) << true;
        // 32 MiB of zeros follow a channel that claims four times as much.
        QTest::newRow("bomb of silence")
            << "bomb-of-silence" << 1 << qint64(8 * 1024 * 1024) << true;
    }

    void hostileFilesReadAsTheirKindDoes()
    {
        QFETCH(QString, file);
        QFETCH(int, tracks);
        QFETCH(qint64, samples);
        QFETCH(bool, damaged);
        const auto result = ProjectFile::load(
            QStringLiteral(VELA_SOURCE_DIR "/tests/project/corpus/%1.vela").arg(file));
        QCOMPARE(result.outcome, LoadOutcome::Loaded);
        QCOMPARE(result.reason, damaged ? QStringLiteral("the file is damaged") : QString());
        QCOMPARE(result.loaded->tracks.size(), tracks);
        qint64 held = 0;
        for (const TrackHandle& track : result.loaded->tracks) {
            for (const auto& channel : std::as_const(track->samples))
                held += channel.size();
        }
        QCOMPARE(held, samples);
    }
};

QTEST_GUILESS_MAIN(TestProjectFileFormat)
#include "tst_projectfileformat.moc"
