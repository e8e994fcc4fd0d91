#include "engine/mixer.h"
#include "engine/takewriter.h"
#include "engine/transport.h"
#include "media/audio/audiooutputnode.h"
#include "media/audio/audioring.h"
#include "media/audio/capturedevice.h"
#include "media/audio/feeddevice.h"
#include "media/audio/outputshare.h"
#include "support/allocationcounter.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"

#include <QTest>

#include <array>
#include <memory>

using namespace media::audio;

namespace {

constexpr quint64 kRingFrames = 8192;
constexpr quint64 kBlockFrames = mixer::kBlockFrames;
constexpr quint64 kBlockSamples = mixer::kBlockSamples;
constexpr int kRounds = 50;

void addSampleFormats()
{
    QTest::addColumn<QAudioFormat::SampleFormat>("format");
    QTest::newRow("floats") << QAudioFormat::Float;
    QTest::newRow("16-bit samples") << QAudioFormat::Int16;
}

} // namespace

/// What runs hundreds of times a second, and on the device's thread, asks the
/// heap for nothing once it is warm.
class TestSteadyState : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void mixingABlockAllocatesNothing()
    {
        const ProjectHandle project = VelaProject::create();
        for (int t = 0; t < 20; ++t) {
            const TrackHandle track = project->addTrack({}, 2);
            // Of different lengths, so that some begin and end inside a block.
            for (QList<float>& channel : track->samples)
                channel = signal_makers::noise(qsizetype{3000} * (t + 1), 7);
        }
        QList<double> planar(mixer::kBlockSamples);
        QList<float> left(mixer::kBlockFrames);
        QList<float> right(mixer::kBlockFrames);
        double* const sum = planar.data();
        float* const outLeft = left.data();
        float* const outRight = right.data();
        const AllocationCounter counter;
        while (!transport::isAtEnd(*project)) {
            mixer::mixBlock(*project, project->play.position, sum, outLeft, outRight);
            transport::advance(*project, mixer::kBlockFrames);
        }
        QCOMPARE(counter.count(), 0);
        QVERIFY(project->play.position >= 60000);
    }

    void theRingMovesBlocksWithoutAllocating()
    {
        AudioRing ring;
        ring.setCapacity(2 * kRingFrames);
        std::array<float, kBlockSamples> block{};
        const AllocationCounter counter;
        for (int round = 0; round < kRounds; ++round) {
            ring.write(block.data(), block.size());
            ring.read(block.data(), block.size());
        }
        QCOMPARE(counter.count(), 0);
    }

    void theFeedDeviceIsReadWithoutAllocating_data() { addSampleFormats(); }

    void theFeedDeviceIsReadWithoutAllocating()
    {
        QFETCH(const QAudioFormat::SampleFormat, format);
        const auto stream = std::make_shared<NodeStream>();
        stream->prepare(2, format, kRingFrames);
        AudioOutputNode::FeedDevice device(stream, std::make_shared<OutputShare>());
        device.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        std::array<float, kBlockSamples> block{};
        std::array<char, kBlockSamples * sizeof(float)> chunk{};
        const auto bytes = static_cast<qint64>(kBlockSamples * stream->bytesPerSample());
        device.read(chunk.data(), bytes);
        const AllocationCounter counter;
        for (int round = 0; round < kRounds; ++round) {
            stream->ring.write(block.data(), block.size());
            device.read(chunk.data(), bytes);
            device.read(chunk.data(), bytes / 2); // the ring is empty: silence
        }
        QCOMPARE(counter.count(), 0);
        QCOMPARE(stream->samplesMoved.load(),
                 kBlockSamples * (1 + kRounds) + kBlockSamples / 2 * kRounds);
    }

    void theCaptureDeviceIsWrittenWithoutAllocating_data() { addSampleFormats(); }

    void theCaptureDeviceIsWrittenWithoutAllocating()
    {
        QFETCH(const QAudioFormat::SampleFormat, format);
        const auto stream = std::make_shared<NodeStream>();
        stream->prepare(1, format, kRingFrames);
        AudioInputNode::CaptureDevice device(stream, std::make_shared<InputShare>());
        device.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
        std::array<float, kBlockFrames> block{};
        const std::array<char, kBlockFrames * sizeof(float)> chunk{};
        const auto bytes = static_cast<qint64>(kBlockFrames * stream->bytesPerSample());
        device.write(chunk.data(), bytes);
        stream->ring.read(block.data(), block.size());
        const AllocationCounter counter;
        for (int round = 0; round < kRounds; ++round) {
            device.write(chunk.data(), bytes);
            stream->ring.read(block.data(), block.size());
        }
        QCOMPARE(counter.count(), 0);
        QCOMPARE(stream->samplesMoved.load(), kBlockFrames * (1 + kRounds));
    }

    void aTakeGrowsWithoutAllocating()
    {
        const auto take =
            TrackHandle::create(QStringLiteral("Recording"), 1, VelaProject::kDefaultSampleRate);
        TakeWriter writer(take);
        const QList<float> block = signal_makers::noise(mixer::kBlockFrames, 3);
        writer.append(block.constData(), block.size());
        const AllocationCounter counter;
        for (int round = 1; round < 4096; ++round)
            writer.append(block.constData(), block.size());
        QCOMPARE(counter.count(), 0);
        QCOMPARE(take->length(), qint64{4096} * mixer::kBlockFrames);
    }
};

QTEST_APPLESS_MAIN(TestSteadyState)
#include "tst_steadystate.moc"
