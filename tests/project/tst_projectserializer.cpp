#include "project/projectsamples.h"
#include "project/projectserializer.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"

#include <QTest>

#include <memory>

using namespace project_samples;

namespace {

ProjectHandle read(const QByteArray& payload)
{
    const auto project = VelaProject::create();
    QDataStream stream(payload);
    readProject(stream, project);
    return project;
}

// A track record up to its channel list count, which is `channelLists`.
QByteArray trackHead(const QString& name, quint32 channelLists)
{
    return text(name) + be32(2) + be32(44100) + QByteArray("\0\0", 2) + be32(channelLists);
}

} // namespace

class TestProjectSerializer : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void writesAnEmptyProjectFieldByField()
    {
        const auto project = VelaProject::create();
        project->trackCounter = 3;
        QCOMPARE(payloadOf(project), emptyPayload(3));
    }

    void writesSamplesInNativeOrderAndAllElseBigEndian()
    {
        const auto project = VelaProject::create(48000);
        project->cursor.position = 258;
        const TrackHandle track = project->addTrack(QStringLiteral("A"), 2);
        track->samples = {{1.0F, -2.0F}};
        track->solo = true;
        QCOMPARE(payloadOf(project).toHex(' '),
                 "00 00 bb 80" // 48000 Hz
                 " 00 00 00 0c 00 63 00 75 00 72 00 73 00 6f 00 72"
                 " 00 00 00 00 00 00 01 02"             // cursor at 258
                 " 00 00 00 08 00 70 00 6c 00 61 00 79" //
                 " 00 00 00 00 00 00 00 00"             // play at 0
                 " ff ff ff ff ff ff ff ff"             // no selection
                 " ff ff ff ff ff ff ff ff"             //
                 " 00 00 00 00 00 00 00 00"             // loop
                 " 00 00 00 00 00 00 00 00"             //
                 " 00 00 00 01"                         // counter
                 " 00 00 00 01"                         // one track
                 " 00 00 00 02 00 41"                   // "A"
                 " 00 00 00 02 00 00 bb 80 00 01"       // 2 channels, rate, solo
                 " 00 00 00 01"                         // but one list is held
                 " 00 00 00 00 00 00 00 02"             // two samples
                 " 00 00 80 3f 00 00 00 c0");           // 1.0, -2.0, low byte first
    }

    void readIsTheMirrorOfWriteToTheBit()
    {
        const auto project = awkward();
        const auto copy = read(payloadOf(project));
        QCOMPARE(difference(*project, *copy), QString());
        QCOMPARE(payloadOf(copy), payloadOf(project));
    }

    void payloadSizeIsWhatIsWritten()
    {
        for (const auto& project : {VelaProject::create(), awkward(), noisy(100'000, 1)})
            QCOMPARE(payloadSize(*project), payloadOf(project).size());
    }

    void nullProjectWritesAndReadsNothing()
    {
        QCOMPARE(payloadOf({}), QByteArray());
        QDataStream stream(emptyPayload());
        readProject(stream, {});
        QCOMPARE(stream.device()->pos(), 0);
    }

    void readLeavesTheStreamBehindThePayload()
    {
        const auto project = VelaProject::create();
        QDataStream stream(emptyPayload() + "rest");
        readProject(stream, project);
        QCOMPARE(stream.device()->readAll(), "rest");
    }

    void readReplacesTracksAndCounterAndDoesNotTaint()
    {
        const auto project = VelaProject::create(8000);
        project->addTrack({}, 2);
        project->untaint({});
        QDataStream stream(payloadOf(awkward()));
        readProject(stream, project);
        QCOMPARE(project->tracks.size(), 2);
        QVERIFY(!project->tainted);
        QCOMPARE(project->addTrack({}, 1)->name, "Track 42");
    }

    void readKeepsWhatIsNotSaved()
    {
        const auto project = VelaProject::create();
        project->viewStart = 5;
        project->viewEnd = 50;
        project->viewScale = 3.5;
        project->looping = true;
        QDataStream stream(emptyPayload());
        readProject(stream, project);
        QCOMPARE(project->viewStart, 5);
        QCOMPARE(project->viewEnd, 50);
        QCOMPARE(project->viewScale, 3.5);
        QVERIFY(project->looping);
    }

    void nothingAtAllReadsAsZeroAndEmpty()
    {
        const auto project = awkward();
        QDataStream stream{QByteArray()};
        readProject(stream, project);
        QCOMPARE(payloadOf(project), zeroFields() + be32(0));
    }

    void aPayloadCutAnywhereReadsAsZeroAndEmptyFromThere()
    {
        const QByteArray whole = payloadOf(awkward());
        for (qsizetype length = 0; length < whole.size(); ++length) {
            const auto project = read(whole.left(length));
            QVERIFY(project->tracks.size() <= 2);
            if (length < 4)
                QCOMPARE(project->sampleRate, 0);
            else
                QCOMPARE(project->sampleRate, 48000);
            if (length < zeroFields().size())
                QCOMPARE(project->trackCounter, 0);
        }
    }

    void aChannelCutShortKeepsTheWholeSamplesThatAreThere()
    {
        const QByteArray start = zeroFields() + be32(1) + trackHead("cut", 2) + be64(1000);
        const auto project = read(start + QByteArray("\0\0\x80\x3f\0\0\0", 7));
        QCOMPARE(project->tracks.size(), 1);
        QCOMPARE(project->tracks[0]->samples, (QList<QList<float>>{{1.0F}}));
    }

    void trackStartsAsTheDefaultTrackOnlyToBeReadOver()
    {
        const auto project = read(zeroFields() + be32(1) + text({}));
        QCOMPARE(project->tracks.size(), 1);
        QVERIFY(project->tracks[0]->name.isEmpty());
        QCOMPARE(project->tracks[0]->channels, 0);
        QCOMPARE(project->tracks[0]->sampleRate, 0);
        QVERIFY(project->tracks[0]->samples.isEmpty());
    }

    void readTrustsTheNumberOfListsOverTheNumberOfChannels()
    {
        const auto project =
            read(zeroFields() + be32(1) + trackHead("x", 3) + be64(0) + be64(0) + be64(0));
        QCOMPARE(project->tracks[0]->channels, 2);
        QCOMPARE(project->tracks[0]->samples.size(), 3);
    }

    void hostileCountsTakeNoMoreThanTheDataHold_data()
    {
        QTest::addColumn<QByteArray>("rest");
        QTest::addColumn<int>("tracks");
        QTest::addColumn<int>("channelLists");
        QTest::newRow("negative number of tracks") << be32(0x80000000) << 0 << 0;
        QTest::newRow("tracks without data") << be32(0x7FFFFFFF) << 0 << 0;
        QTest::newRow("one track of two thousand million")
            << be32(0x7FFFFFFF) + trackHead("x", 0) << 1 << 0;
        const QByteArray one = be32(1);
        QTest::newRow("negative number of lists") << one + trackHead("x", 0xFFFFFFFF) << 1 << 0;
        QTest::newRow("lists without data") << one + trackHead("x", 0x7FFFFFFF) << 1 << 0;
        QTest::newRow("one list of two thousand million")
            << one + trackHead("x", 0x7FFFFFFF) + be64(0) << 1 << 1;
        QTest::newRow("longest channel without data")
            << one + trackHead("x", 1) + be64(quint64(kMaxChannelSamples)) << 1 << 0;
        QTest::newRow("negative length") << one + trackHead("x", 1) + be64(quint64(-1)) << 1 << 1;
        QTest::newRow("length wraps to a negative byte count")
            << one + trackHead("x", 1) + be64(quint64(1) << 29) << 1 << 1;
        QTest::newRow("length wraps to nothing")
            << one + trackHead("x", 1) + be64(quint64(1) << 30) << 1 << 1;
        QTest::newRow("largest length")
            << one + trackHead("x", 1) + be64(0x7FFFFFFFFFFFFFFF) << 1 << 1;
        QTest::newRow("name of four thousand million bytes") << one + be32(0xFFFFFFFE) << 0 << 0;
        QTest::newRow("name of an odd number of bytes")
            << one + be32(3) + "abc" + QByteArray(100, '\0') << 0 << 0;
    }

    void hostileCountsTakeNoMoreThanTheDataHold()
    {
        QFETCH(QByteArray, rest);
        QFETCH(int, tracks);
        QFETCH(int, channelLists);
        const auto project = read(zeroFields() + rest);
        QCOMPARE(project->tracks.size(), tracks);
        if (tracks > 0) {
            QCOMPARE(project->tracks[0]->samples.size(), channelLists);
            for (const auto& channel : project->tracks[0]->samples)
                QVERIFY(channel.isEmpty() && channel.capacity() < 1024);
        }
    }

    void aWrappedByteCountIsReadAsItWasWritten()
    {
        // 2^30 + 2 samples make 8 bytes in 32-bit arithmetic, and so many were written.
        const auto project =
            read(zeroFields() + be32(1) + trackHead("x", 2) + be64((quint64(1) << 30) + 2) +
                 QByteArray(8, '\0') + be64(1) + QByteArray("\0\0\x80\x3f", 4));
        QCOMPARE(project->tracks[0]->samples, (QList<QList<float>>{{0.0F, 0.0F}, {1.0F}}));
    }

    void aChannelBeyondTheFormatsLimitIsNotWritten()
    {
        const auto project = overlong();
        QCOMPARE(project->length(), kMaxChannelSamples + 1);
        QByteArray payload;
        QDataStream stream(&payload, QIODevice::WriteOnly);
        writeProject(stream, project);
        QCOMPARE(stream.status(), QDataStream::WriteFailed);
        QVERIFY(payload.size() < 1000);
    }
};

QTEST_APPLESS_MAIN(TestProjectSerializer)
#include "tst_projectserializer.moc"
