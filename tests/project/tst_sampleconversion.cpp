#include "project/sampleconversion.h"
#include "support/logcatcher.h"

#include <QMap>
#include <QRandomGenerator>
#include <QTest>

#include <cmath>
#include <limits>
#include <memory>

namespace {

constexpr int kRateHz = 32000;

QAudioFormat formatOf(QAudioFormat::SampleFormat sampleFormat, int channels, int rateHz = kRateHz)
{
    QAudioFormat format;
    format.setSampleFormat(sampleFormat);
    format.setChannelCount(channels);
    format.setSampleRate(rateHz);
    return format;
}

template <typename Sample>
QAudioBuffer bufferOf(const QList<Sample>& values, QAudioFormat::SampleFormat sampleFormat,
                      int channels, int rateHz = kRateHz)
{
    const QByteArray bytes(reinterpret_cast<const char*>(values.constData()),
                           values.size() * static_cast<qsizetype>(sizeof(Sample)));
    return {bytes, formatOf(sampleFormat, channels, rateHz)};
}

QAudioBuffer floats(const QList<float>& values, int channels, int rateHz = kRateHz)
{
    return bufferOf(values, QAudioFormat::Float, channels, rateHz);
}

QList<QList<float>> channelsOf(const QList<QAudioBuffer>& buffers)
{
    SampleCollector collector;
    for (const QAudioBuffer& buffer : buffers)
        collector.add(buffer);
    return collector.takeChannels();
}

// What the rules say, value by value: the last buffer's count maps to the track's
// channels, and every buffer is read with that stride; what is missing is 0.
QList<QList<float>> expectedOf(const QList<QList<float>>& bufferValues, const QList<int>& counts)
{
    static const QMap<int, int> kKept{{1, 1}, {2, 2}, {6, 6}, {8, 8}};
    const int channels = kKept.value(counts.last(), 2);
    QList<QList<float>> expected(channels);
    for (qsizetype b = 0; b < bufferValues.size(); ++b) {
        const qsizetype frames = bufferValues[b].size() / counts[b];
        for (qsizetype i = 0; i < frames * channels; ++i)
            expected[i % channels].append(bufferValues[b].value(i, 0.0F));
    }
    return expected;
}

QList<float> distinctValues(qsizetype count, int& next)
{
    QList<float> values;
    for (qsizetype i = 0; i < count; ++i)
        values.append(static_cast<float>(++next) / 16777216.0F);
    return values;
}

} // namespace

class TestSampleConversion : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void trackChannelsAreTheFixedTable_data()
    {
        QTest::addColumn<int>("source");
        QTest::addColumn<int>("track");
        const QList<int> expected{2, 1, 2, 2, 2, 2, 6, 2, 8, 2, 2};
        for (int source = 0; source < expected.size(); ++source)
            QTest::addRow("%d channels", source) << source << expected[source];
        QTest::addRow("24 channels") << 24 << 2;
        QTest::addRow("nonsense") << -1 << 2;
    }

    void trackChannelsAreTheFixedTable()
    {
        QFETCH(int, source);
        QTEST(trackChannelsFor(source), "track");
    }

    void everyUInt8ValueIsItsDistanceFrom128Over128()
    {
        QList<quint8> values;
        for (int value = 0; value < 256; ++value)
            values.append(static_cast<quint8>(value));
        const auto channels = channelsOf({bufferOf(values, QAudioFormat::UInt8, 1)});
        QCOMPARE(channels.size(), 1);
        QCOMPARE(channels[0].size(), 256);
        for (int value = 0; value < 256; ++value)
            QVERIFY(channels[0][value] == static_cast<float>((value - 128) / 128.0));
        QVERIFY(channels[0][0x80] == 0.0F);
        QVERIFY(channels[0][0x00] == -1.0F);
        QVERIFY(channels[0][0xFF] == 0.9921875F);
    }

    void everyInt16ValueIsDividedBy32768()
    {
        QList<qint16> values;
        for (int value = -32768; value <= 32767; ++value)
            values.append(static_cast<qint16>(value));
        const auto channels = channelsOf({bufferOf(values, QAudioFormat::Int16, 1)});
        for (int i = 0; i < 65536; ++i)
            QVERIFY(channels[0][i] == static_cast<float>((i - 32768) / 32768.0));
        QVERIFY(channels[0][0] == -1.0F);
        QVERIFY(channels[0][65535] == 32767.0F / 32768.0F);
    }

    void int32ValuesAreDividedBy2To31InSinglePrecision()
    {
        const QList<qint32> values{std::numeric_limits<qint32>::min(),
                                   -1,
                                   0,
                                   1,
                                   1 << 30,
                                   0x7FFFFF00, // the largest 24-bit value
                                   std::numeric_limits<qint32>::max()};
        const QList<float> expected{
            -1.0F, -std::ldexp(1.0F, -31),       0.0F, std::ldexp(1.0F, -31),
            0.5F,  1.0F - std::ldexp(1.0F, -23), 1.0F}; // 2³¹ − 1 has no float of its own
        QCOMPARE(channelsOf({bufferOf(values, QAudioFormat::Int32, 1)}),
                 QList<QList<float>>{expected});
    }

    void floatsComeThroughUntouched()
    {
        const QList<float> values{0.0F, -1.0F, 1.5F, -123456.0F, 1e-42F, 0.1F};
        const auto channels = channelsOf({floats(values, 1)});
        QCOMPARE(channels.size(), 1);
        QVERIFY(std::equal(values.begin(), values.end(), channels[0].begin(), channels[0].end()));
    }

    void everyCountAndFormatIsReadWithTheTracksStride_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("frames");
        for (const int channels : {1, 2, 3, 4, 5, 6, 7, 8, 12}) {
            for (const int frames : {1, 3, 4, 31, 64, 1024})
                QTest::addRow("%d channels, %d frames", channels, frames) << channels << frames;
        }
    }

    void everyCountAndFormatIsReadWithTheTracksStride()
    {
        QFETCH(int, channels);
        QFETCH(int, frames);
        QRandomGenerator random(quint32(channels * 10000 + frames));
        QList<quint8> bytes;
        QList<qint16> shorts;
        QList<qint32> ints;
        QList<float> fromBytes;
        QList<float> fromShorts;
        QList<float> fromInts;
        for (int i = 0; i < channels * frames; ++i) {
            bytes.append(static_cast<quint8>(random.bounded(256)));
            fromBytes.append(static_cast<float>((bytes.last() - 128) / 128.0));
            shorts.append(static_cast<qint16>(random.bounded(-32768, 32768)));
            fromShorts.append(static_cast<float>(shorts.last() / 32768.0));
            ints.append(static_cast<qint32>(random.generate()));
            fromInts.append(static_cast<float>(ints.last() / 2147483648.0));
        }
        const QList<int> counts{channels};
        QCOMPARE(channelsOf({bufferOf(bytes, QAudioFormat::UInt8, channels)}),
                 expectedOf({fromBytes}, counts));
        QCOMPARE(channelsOf({bufferOf(shorts, QAudioFormat::Int16, channels)}),
                 expectedOf({fromShorts}, counts));
        QCOMPARE(channelsOf({bufferOf(ints, QAudioFormat::Int32, channels)}),
                 expectedOf({fromInts}, counts));
        QCOMPARE(channelsOf({floats(fromInts, channels)}), expectedOf({fromInts}, counts));
    }

    void fourChannelsGiveTwoFromTheFirstHalfOfEachBuffer()
    {
        const auto first = floats({1, 2, 3, 4, 5, 6, 7, 8}, 4);
        const auto second = floats({11, 12, 13, 14}, 4);
        const QList<QList<float>> expected{{1, 3, 11}, {2, 4, 12}};
        QCOMPARE(channelsOf({first, second}), expected);
    }

    void threeChannelsGiveTwoFromTheFirstTwoThirdsOfEachBuffer()
    {
        const auto buffer = floats({1, 2, 3, 4, 5, 6}, 3);
        const QList<QList<float>> expected{{1, 3}, {2, 4}};
        QCOMPARE(channelsOf({buffer}), expected);
    }

    void theLastBuffersLayoutRulesTheWholeTrack_data()
    {
        QTest::addColumn<QList<int>>("counts");
        QTest::newRow("mono grows to stereo") << QList<int>{1, 1, 2};
        QTest::newRow("stereo shrinks to mono") << QList<int>{2, 2, 1};
        QTest::newRow("stereo, then four") << QList<int>{2, 4};
        QTest::newRow("four, then mono") << QList<int>{4, 4, 1};
        QTest::newRow("eight, six, eight") << QList<int>{8, 6, 8};
        QTest::newRow("mono to eight") << QList<int>{1, 8};
        QTest::newRow("three, five, seven") << QList<int>{3, 5, 7};
        QTest::newRow("there and back") << QList<int>{2, 1, 2, 6, 2, 2};
    }

    void theLastBuffersLayoutRulesTheWholeTrack()
    {
        QFETCH(QList<int>, counts);
        QList<QList<float>> values;
        QList<QAudioBuffer> buffers;
        int next = 0;
        int frames = 5;
        for (const int count : std::as_const(counts)) {
            values.append(distinctValues(qsizetype{frames} * count, next));
            buffers.append(floats(values.last(), count));
            frames += 2;
        }
        QCOMPARE(channelsOf(buffers), expectedOf(values, counts));
    }

    void buffersOfDifferentFormatsEachUseTheirOwn()
    {
        const auto bytes = bufferOf(QList<quint8>{0x00, 0x80, 0xC0}, QAudioFormat::UInt8, 1);
        const auto shorts = bufferOf(QList<qint16>{16384}, QAudioFormat::Int16, 1);
        const QList<QList<float>> expected{{-1.0F, 0.0F, 0.5F, 0.5F, 0.25F}};
        QCOMPARE(channelsOf({bytes, shorts, floats({0.25F}, 1)}), expected);
    }

    void rateAndCountAreTheLastBuffers()
    {
        SampleCollector collector;
        QVERIFY(collector.isEmpty());
        QCOMPARE(collector.sampleRate(), 44100);
        QCOMPARE(collector.sourceChannels(), 2);
        collector.add(floats({1, 2, 3, 4}, 4, 8000));
        QVERIFY(!collector.isEmpty());
        QCOMPARE(collector.sourceChannels(), 4);
        collector.add(floats({1}, 1, 96000));
        QCOMPARE(collector.sampleRate(), 96000);
        QCOMPARE(collector.sourceChannels(), 1);
    }

    void whatIsExpectedIsRoomAndNothingElse_data()
    {
        QTest::addColumn<qsizetype>("frames");
        QTest::newRow("nothing") << qsizetype{0};
        QTest::newRow("too little") << qsizetype{1};
        QTest::newRow("too much") << qsizetype{5000};
    }

    void whatIsExpectedIsRoomAndNothingElse()
    {
        QFETCH(const qsizetype, frames);
        SampleCollector collector;
        collector.expect(frames);
        collector.add(floats({1, 2, 3, 4}, 2));
        collector.add(floats({5, 6}, 2));
        const QList<QList<float>> channels = collector.takeChannels();
        QCOMPARE(channels, (QList<QList<float>>{{1, 3, 5}, {2, 4, 6}}));
        QVERIFY(channels[0].capacity() >= frames && channels[1].capacity() >= frames);
    }

    void noMoreMemoryIsTakenThanWasGiven()
    {
        const auto frame = floats({1, 2}, 2); // of 8 bytes
        SampleCollector collector(16);
        collector.add(frame);
        collector.add(frame);
        QVERIFY_THROWS_EXCEPTION(std::bad_alloc, collector.add(frame));
        QCOMPARE(collector.takeChannels(), (QList<QList<float>>{{1, 1}, {2, 2}}));
        collector.expect(1000);
        collector.add(frame);
        QVERIFY(collector.takeChannels()[0].capacity() < 1000);
    }

    void convertingInTheEndTakesMemoryToo()
    {
        const auto frame = floats({1, 2, 3, 4}, 4); // of 16 bytes, and 8 more in the end
        SampleCollector enough(24);
        enough.add(frame);
        QCOMPARE(enough.takeChannels(), (QList<QList<float>>{{1}, {2}}));
        SampleCollector tooLittle(23);
        tooLittle.add(frame);
        QVERIFY_THROWS_EXCEPTION(std::bad_alloc, (void)tooLittle.takeChannels());
    }

    void takingLeavesTheCollectorAsNew()
    {
        SampleCollector collector;
        collector.add(floats({1, 2, 3, 4}, 4));
        (void)collector.takeChannels();
        QVERIFY(collector.isEmpty());
        collector.add(floats({7}, 1));
        QCOMPARE(collector.takeChannels(), (QList<QList<float>>{{7}}));
    }
};

QTEST_APPLESS_MAIN(TestSampleConversion)
#include "tst_sampleconversion.moc"
