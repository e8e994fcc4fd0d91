#include "media/audio/capturedevice.h"
#include "media/audio/nodestream.h"
#include "support/logcatcher.h"

#include <QTest>

#include <array>
#include <cstring>
#include <limits>
#include <memory>

using media::audio::AudioInputNode;
using media::audio::InputShare;
using media::audio::NodeStream;

namespace {

/// A capture device whose overflows are reported at the test's times.
class TimedDevice : public AudioInputNode::CaptureDevice {
public:
    using CaptureDevice::CaptureDevice;
    using CaptureDevice::reportOverflow;
};

/// One capture device on a stream of its own, open as the node opens it.
struct Capture {
    Capture(quint64 channels, QAudioFormat::SampleFormat format, quint64 ringFrames = 64)
    {
        stream->prepare(channels, format, ringFrames);
        device.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }

    template <typename Sample>
    qint64 write(const QList<Sample>& samples)
    {
        return device.write(reinterpret_cast<const char*>(samples.constData()),
                            samples.size() * static_cast<qint64>(sizeof(Sample)));
    }

    QList<float> inRing()
    {
        QList<float> samples(static_cast<qsizetype>(stream->ring.available()));
        stream->ring.read(samples.data(), static_cast<quint64>(samples.size()));
        return samples;
    }

    std::shared_ptr<NodeStream> stream = std::make_shared<NodeStream>();
    std::shared_ptr<InputShare> share = std::make_shared<InputShare>();
    TimedDevice device{stream, share};
};

} // namespace

class TestCaptureDevice : public QObject {
    Q_OBJECT

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void writePutsFloatsIntoTheRingUnchanged()
    {
        Capture capture(2, QAudioFormat::Float);
        const QList<float> samples{0.25F, -1.5F, 2.0F, -0.0F};
        QCOMPARE(capture.write(samples), 16);
        QCOMPARE(capture.inRing(), samples);
        QCOMPARE(capture.stream->samplesMoved.load(), 4U);
        QCOMPARE(capture.stream->dropped.load(), 0U);
    }

    void writeConvertsInt16()
    {
        Capture capture(1, QAudioFormat::Int16);
        QCOMPARE(capture.write(QList<qint16>{-32768, 16384, 32767, 0, -1}), 10);
        QCOMPARE(capture.inRing(),
                 (QList<float>{-1.0F, 0.5F, 0.999969482421875F, 0.0F, -0.000030517578125F}));
    }

    void writeTakesWholeFramesOnly()
    {
        Capture capture(2, QAudioFormat::Int16);
        const std::array<char, 7> bytes{0, 64, 0, -64, 1, 1, 1};
        QCOMPARE(capture.device.write(bytes.data(), 7), 4);
        QCOMPARE(capture.inRing(), (QList<float>{0.5F, -0.5F}));
        QCOMPARE(capture.device.write(bytes.data(), 3), 0);
        QCOMPARE(capture.stream->samplesMoved.load(), 2U);
    }

    void writeFromAnUnalignedBufferGivesTheSameSamples()
    {
        Capture capture(1, QAudioFormat::Float);
        const std::array<float, 2> samples{0.125F, -0.125F};
        alignas(float) std::array<char, 12> buffer{};
        std::memcpy(buffer.data() + 1, samples.data(), sizeof(samples));
        QCOMPARE(capture.device.write(buffer.data() + 1, 8), 8);
        QCOMPARE(capture.inRing(), (QList<float>{0.125F, -0.125F}));
    }

    void fullRingStillTakesEverythingAndCountsWhatItDropped()
    {
        // Two samples asked for make four slots, of which three hold samples.
        Capture capture(2, QAudioFormat::Float, 1);
        QCOMPARE(capture.write(QList<float>{1, 2, 3, 4, 5, 6}), 24);
        QCOMPARE(capture.stream->dropped.load(), 3U);
        QCOMPARE(capture.stream->samplesMoved.load(), 6U);
        QCOMPARE(m_log->take(QtWarningMsg,
                             "AudioInputNode: capture ring OVERFLOW — dropped 3 samples (total 3, "
                             "ring capacity 3 frames). Consumer is not draining in real time; any "
                             "in-flight acoustic frame is torn (§RC)."),
                 1);
        QCOMPARE(capture.inRing(), (QList<float>{1, 2, 3}));
    }

    void overflowIsWarnedOfOnceInTwoSeconds()
    {
        Capture capture(1, QAudioFormat::Float, 1);
        capture.device.reportOverflow(1, 0);
        QCOMPARE(m_log->takeContaining(QtWarningMsg, "dropped 1 samples (total 1,"), 1);
        capture.device.reportOverflow(2, 1999);
        QVERIFY(m_log->unexpected().isEmpty());
        capture.device.reportOverflow(3, 2000);
        QCOMPARE(m_log->takeContaining(QtWarningMsg, "dropped 3 samples (total 6,"), 1);
        capture.device.reportOverflow(4, 3999);
        QVERIFY(m_log->unexpected().isEmpty());
    }

    void overflowIsReportedAtTheTimeOfTheStream()
    {
        Capture capture(1, QAudioFormat::Float, 1);
        QTRY_VERIFY(capture.stream->nowMs() > 0);
        const qint64 before = capture.stream->nowMs();
        capture.write(QList<float>{1, 2});
        const qint64 reportedAt = capture.stream->overflowReportedAt;
        QVERIFY(reportedAt >= before);
        QVERIFY(reportedAt <= capture.stream->nowMs());
        QCOMPARE(m_log->takeContaining(QtWarningMsg, "dropped 1 samples (total 1,"), 1);
    }

    void overflowReportTotalsWhatWasDroppedInQuietToo()
    {
        Capture capture(1, QAudioFormat::Float, 1);
        capture.share->quiet = true;
        capture.write(QList<float>{1, 2, 3});
        capture.share->quiet = false;
        capture.write(QList<float>{4, 5, 6});
        QCOMPARE(m_log->take(QtWarningMsg,
                             "AudioInputNode: capture ring OVERFLOW — dropped 3 samples (total 5, "
                             "ring capacity 1 frames). Consumer is not draining in real time; any "
                             "in-flight acoustic frame is torn (§RC)."),
                 1);
    }

    void overflowReportNamesTheRingsRealCapacity()
    {
        Capture capture(2, QAudioFormat::Float, 8192);
        capture.write(QList<float>(40000, 0.5F));
        QCOMPARE(m_log->takeContaining(QtWarningMsg,
                                       "dropped 7233 samples (total 7233, ring capacity 32767 "
                                       "frames)"),
                 1);
    }

    void quietOverflowIsCountedOnly()
    {
        Capture capture(1, QAudioFormat::Float, 1);
        capture.share->quiet = true;
        capture.write(QList<float>{1, 2, 3});
        QCOMPARE(capture.stream->dropped.load(), 2U);
        QVERIFY(m_log->texts(QtWarningMsg).isEmpty());
    }

    void overflowWhileStoppingIsCountedOnly()
    {
        Capture capture(1, QAudioFormat::Float, 1);
        capture.stream->stopping = true;
        capture.write(QList<float>{1, 2, 3});
        QCOMPARE(capture.stream->dropped.load(), 2U);
        QVERIFY(m_log->texts(QtWarningMsg).isEmpty());
    }

    void writeIsRefusedOnceDetached()
    {
        Capture capture(1, QAudioFormat::Float);
        capture.stream->detach();
        QCOMPARE(capture.write(QList<float>{1}), 0);
        QCOMPARE(capture.stream->ring.available(), 0U);
        QCOMPARE(capture.stream->samplesMoved.load(), 0U);
    }

    void deviceWithoutANodeTakesNothing()
    {
        AudioInputNode::CaptureDevice device(nullptr, std::make_shared<InputShare>());
        QVERIFY(device.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        QCOMPARE(device.write("abcd", 4), 0);
    }

    void deviceYieldsNothingToReaders()
    {
        Capture capture(1, QAudioFormat::Float);
        capture.write(QList<float>{0.5F});
        QCOMPARE(capture.device.read(4), QByteArray());
        QCOMPARE(m_log->takeContaining(QtWarningMsg, "WriteOnly device"), 1);
        QCOMPARE(capture.stream->ring.available(), 1U);
    }

private:
    std::unique_ptr<LogCatcher> m_log;
};

QTEST_GUILESS_MAIN(TestCaptureDevice)
#include "tst_capturedevice.moc"
