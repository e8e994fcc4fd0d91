#include "media/audio/feeddevice.h"
#include "media/audio/nodestream.h"
#include "media/audio/outputshare.h"

#include <QTest>

#include <array>
#include <cmath>
#include <limits>
#include <memory>

using media::audio::AudioOutputNode;
using media::audio::NodeStream;
using media::audio::OutputShare;

namespace {

constexpr quint64 kRingFrames = 64;

/// One feed device on a stream of its own, open as the node opens it.
struct Feed {
    Feed(quint64 channels, QAudioFormat::SampleFormat format)
    {
        stream->prepare(channels, format, kRingFrames);
        device.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    void write(const QList<float>& samples)
    {
        const auto count = static_cast<quint64>(samples.size());
        QCOMPARE(stream->ring.write(samples.constData(), count), count);
    }

    template <typename Sample>
    QList<Sample> read(qint64 bytes)
    {
        const QByteArray data = device.read(bytes);
        QList<Sample> samples(data.size() / static_cast<qsizetype>(sizeof(Sample)));
        if (!data.isEmpty())
            std::memcpy(samples.data(), data.constData(), static_cast<size_t>(data.size()));
        return samples;
    }

    std::shared_ptr<NodeStream> stream = std::make_shared<NodeStream>();
    std::shared_ptr<OutputShare> share = std::make_shared<OutputShare>();
    AudioOutputNode::FeedDevice device{stream, share};
};

} // namespace

class TestFeedDevice : public QObject {
    Q_OBJECT

private slots:

    void readGivesTheRingsSamplesUnchangedAsFloat()
    {
        Feed feed(2, QAudioFormat::Float);
        feed.write({0.25F, -0.5F, 1.5F, -2.0F});
        QCOMPARE(feed.read<float>(16), (QList<float>{0.25F, -0.5F, 1.5F, -2.0F}));
        QCOMPARE(feed.stream->underruns.load(), 0U);
        QCOMPARE(feed.stream->samplesMoved.load(), 4U);
    }

    void readPassesNotANumberThroughAsFloat()
    {
        Feed feed(1, QAudioFormat::Float);
        feed.write({std::numeric_limits<float>::quiet_NaN()});
        QVERIFY(std::isnan(feed.read<float>(4).value(0)));
    }

    void readConvertsToInt16_data()
    {
        QTest::addColumn<float>("sample");
        QTest::addColumn<int>("expected");
        QTest::newRow("silence") << 0.0F << 0;
        QTest::newRow("full scale") << 1.0F << 32767;
        QTest::newRow("above full scale is clamped") << 1.5F << 32767;
        QTest::newRow("negative full scale") << -1.0F << -32767;
        QTest::newRow("below negative full scale is clamped") << -1.5F << -32767;
        QTest::newRow("half is truncated") << 0.5F << 16383;
        QTest::newRow("negative half is truncated towards zero") << -0.5F << -16383;
        QTest::newRow("just under full scale") << 0.99999F << 32766;
        QTest::newRow("not a number") << std::numeric_limits<float>::quiet_NaN() << 32767;
        QTest::newRow("infinity") << std::numeric_limits<float>::infinity() << 32767;
        QTest::newRow("minus infinity") << -std::numeric_limits<float>::infinity() << -32767;
    }

    void readConvertsToInt16()
    {
        QFETCH(float, sample);
        QFETCH(int, expected);
        Feed feed(1, QAudioFormat::Int16);
        feed.write({sample});
        QCOMPARE(feed.read<qint16>(2), QList<qint16>{static_cast<qint16>(expected)});
    }

    void readFillsUpWithSilenceAndCountsOneUnderrun()
    {
        Feed feed(2, QAudioFormat::Float);
        feed.write({0.5F, 0.75F});
        QCOMPARE(feed.read<float>(24), (QList<float>{0.5F, 0.75F, 0, 0, 0, 0}));
        QCOMPARE(feed.stream->underruns.load(), 1U);
        QCOMPARE(feed.read<float>(16), (QList<float>{0, 0, 0, 0}));
        QCOMPARE(feed.stream->underruns.load(), 2U);
        QCOMPARE(feed.stream->samplesMoved.load(), 10U);
    }

    void silenceAfterTheEndIsNoUnderrun()
    {
        Feed feed(1, QAudioFormat::Float);
        feed.write({0.5F});
        feed.stream->ended = true;
        QCOMPARE(feed.read<float>(8), (QList<float>{0.5F, 0}));
        QCOMPARE(feed.read<float>(8), (QList<float>{0, 0}));
        QCOMPARE(feed.stream->underruns.load(), 0U);
        feed.stream->begin();
        QCOMPARE(feed.read<float>(8), (QList<float>{0, 0}));
        QCOMPARE(feed.stream->underruns.load(), 1U);
    }

    void readOfAnEmptyRingIsFullSizeSilenceAsInt16()
    {
        Feed feed(2, QAudioFormat::Int16);
        QCOMPARE(feed.read<qint16>(8), (QList<qint16>{0, 0, 0, 0}));
        QCOMPARE(feed.stream->underruns.load(), 1U);
        QCOMPARE(feed.stream->samplesMoved.load(), 4U);
    }

    void readGivesWholeFramesOnly()
    {
        Feed feed(2, QAudioFormat::Float);
        feed.write({0.1F, 0.2F, 0.3F, 0.4F});
        QCOMPARE(feed.read<float>(15), (QList<float>{0.1F, 0.2F}));
        QCOMPARE(feed.read<float>(7), QList<float>());
        QCOMPARE(feed.stream->samplesMoved.load(), 2U);
        QCOMPARE(feed.stream->underruns.load(), 0U);
    }

    void readIntoAnUnalignedBufferGivesTheSameSamples()
    {
        Feed feed(1, QAudioFormat::Float);
        feed.write({0.125F, -0.125F});
        alignas(float) std::array<char, 12> buffer{};
        QCOMPARE(feed.device.read(buffer.data() + 1, 8), 8);
        std::array<float, 2> samples{};
        std::memcpy(samples.data(), buffer.data() + 1, sizeof(samples));
        QCOMPARE(samples[0], 0.125F);
        QCOMPARE(samples[1], -0.125F);
    }

    void readTakesNoMoreFromTheRingThanAskedFor()
    {
        Feed feed(1, QAudioFormat::Float);
        feed.write(QList<float>(40, 0.5F));
        feed.read<float>(40);
        QCOMPARE(feed.stream->ring.available(), 30U);
    }

    void readYieldsNothingOnceDetached()
    {
        Feed feed(1, QAudioFormat::Float);
        feed.write({0.5F, 0.5F});
        feed.stream->detach();
        QCOMPARE(feed.device.bytesAvailable(), 0);
        QCOMPARE(feed.read<float>(4), QList<float>());
        QCOMPARE(feed.stream->ring.available(), 2U);
        QCOMPARE(feed.stream->samplesMoved.load(), 0U);
    }

    void deviceWithoutANodeYieldsNothing()
    {
        AudioOutputNode::FeedDevice device(nullptr, std::make_shared<OutputShare>());
        QVERIFY(device.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
        QCOMPARE(device.bytesAvailable(), 0);
        QCOMPARE(device.read(64), QByteArray());
    }

    void bytesAvailableCountsTheRingInSamplesOfTheWire()
    {
        Feed floats(2, QAudioFormat::Float);
        floats.write({0, 0, 0, 0});
        QCOMPARE(floats.device.bytesAvailable(), 16);
        Feed int16(2, QAudioFormat::Int16);
        int16.write({0, 0, 0, 0});
        QCOMPARE(int16.device.bytesAvailable(), 8);
    }

    void deviceNeverEndsAndTakesNothing()
    {
        Feed feed(1, QAudioFormat::Float);
        QVERIFY(!feed.device.atEnd());
        feed.read<float>(64);
        QVERIFY(!feed.device.atEnd());
        QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QIODevice): ReadOnly device");
        QCOMPARE(feed.device.write("x", 1), -1);
    }

    void pullModeAsksTheCallbackAndSpreadsItOverTheChannels()
    {
        Feed feed(2, QAudioFormat::Float);
        feed.write({0.9F, 0.9F});
        feed.share->pullMode = true;
        feed.share->pullCallback = [](float* samples, qint64 frames) {
            for (qint64 i = 0; i < frames; ++i)
                samples[i] = static_cast<float>(i + 1) / 8.0F;
            return frames;
        };
        QCOMPARE(feed.device.bytesAvailable(), (qint64{1} << 61) - 1);
        QCOMPARE(feed.read<float>(16), (QList<float>{0.125F, 0.125F, 0.25F, 0.25F}));
        QCOMPARE(feed.stream->underruns.load(), 0U);
        QCOMPARE(feed.stream->samplesMoved.load(), 4U);
        QCOMPARE(feed.stream->ring.available(), 2U);
    }

    void pullModeFillsUpAShortCallbackAndCountsOneUnderrun_data()
    {
        QTest::addColumn<qint64>("produced");
        QTest::addColumn<QList<float>>("expected");
        QTest::newRow("one of three") << qint64{1} << QList<float>{0.5F, 0, 0};
        QTest::newRow("nothing") << qint64{0} << QList<float>{0, 0, 0};
        QTest::newRow("a negative number") << qint64{-1} << QList<float>{0, 0, 0};
    }

    void pullModeFillsUpAShortCallbackAndCountsOneUnderrun()
    {
        QFETCH(qint64, produced);
        QFETCH(QList<float>, expected);
        Feed feed(1, QAudioFormat::Float);
        feed.share->pullMode = true;
        feed.share->pullCallback = [produced](float* samples, qint64 frames) {
            std::fill_n(samples, frames, 0.5F);
            return produced;
        };
        QCOMPARE(feed.read<float>(12), expected);
        QCOMPARE(feed.stream->underruns.load(), 1U);
    }

    void pullModeConvertsToInt16()
    {
        Feed feed(2, QAudioFormat::Int16);
        feed.share->pullMode = true;
        feed.share->pullCallback = [](float* samples, qint64 frames) {
            std::fill_n(samples, frames, -1.0F);
            return frames;
        };
        QCOMPARE(feed.read<qint16>(4), (QList<qint16>{-32767, -32767}));
    }

    void pullModeWithoutACallbackReadsTheRing()
    {
        Feed feed(1, QAudioFormat::Float);
        feed.share->pullMode = true;
        feed.write({0.25F});
        QCOMPARE(feed.read<float>(4), QList<float>{0.25F});
    }

    void readTellsHowMuchSilenceFollowedTheLastSample()
    {
        Feed feed(1, QAudioFormat::Float);
        feed.read<float>(40);
        QCOMPARE(feed.stream->silence.load(), 10U);
        feed.write({0.5F});
        feed.read<float>(16);
        QCOMPARE(feed.stream->taken.load(), 1U);
        QCOMPARE(feed.stream->silence.load(), 3U);
        feed.read<float>(16);
        QCOMPARE(feed.stream->silence.load(), 7U);
    }
};

QTEST_GUILESS_MAIN(TestFeedDevice)
#include "tst_feeddevice.moc"
