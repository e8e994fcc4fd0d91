#include "project/track.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/peakcache.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <memory>

class TestPeakCache : public QObject {
    Q_OBJECT

private:
    static void compareWithSamples(const PeakCache& cache, const Track& track)
    {
        QCOMPARE(cache.channelCount(), track.channels);
        const qint64 frames = track.length();
        for (int c = 0; c < track.channels; ++c) {
            const QList<float>& samples = track.samples.at(c);
            QCOMPARE(static_cast<qint64>(cache.minima(c).size()), (frames + 255) / 256);
            QCOMPARE(cache.minima(c).size(), cache.maxima(c).size());
            for (std::size_t block = 0; block < cache.minima(c).size(); ++block) {
                const auto from =
                    std::min<qsizetype>(static_cast<qsizetype>(block) * 256, samples.size());
                const auto to = std::min<qsizetype>(from + 256, samples.size());
                const auto [low, high] =
                    std::minmax_element(samples.cbegin() + from, samples.cbegin() + to);
                QCOMPARE(cache.minima(c)[block], from < to ? *low : 0.0F);
                QCOMPARE(cache.maxima(c)[block], from < to ? *high : 0.0F);
            }
        }
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void updateSummarisesEvery256Frames()
    {
        Track track("t", 1, 44100);
        track.samples[0] = signal_makers::constant(600, 0.25F);
        track.samples[0][255] = -0.5F;
        track.samples[0][256] = 0.75F;
        track.samples[0][599] = -1.0F;
        PeakCache cache;
        cache.update(&track);
        QCOMPARE(cache.minima(0), (std::vector<float>{-0.5F, 0.25F, -1.0F}));
        QCOMPARE(cache.maxima(0), (std::vector<float>{0.25F, 0.75F, 0.25F}));
        QCOMPARE(cache.summarisedFrames(), 512);
    }

    void updateAgreesWithTheSamplesWhateverTheLength()
    {
        for (const qint64 frames : {1, 255, 256, 257, 511, 512, 5000}) {
            Track track("t", 2, 44100);
            track.samples[0] = signal_makers::noise(frames, 1);
            track.samples[1] = signal_makers::noise(frames, 2, 0.3F);
            PeakCache cache;
            cache.update(&track);
            compareWithSamples(cache, track);
        }
    }

    void aGrowingTrackIsSummarisedFromTheLastWholeBlockOn()
    {
        Track track("t", 1, 44100);
        PeakCache cache;
        const QList<float> take = signal_makers::noise(3000, 5);
        for (qsizetype length = 0; length < take.size(); length += 100) {
            track.samples[0] += take.mid(length, 100);
            cache.update(&track);
            compareWithSamples(cache, track);
            QCOMPARE(cache.summarisedFrames(), track.length() / 256 * 256);
        }
    }

    void whatIsSummarisedIsNotReadAgain()
    {
        Track track("t", 1, 44100);
        track.samples[0] = signal_makers::constant(600, 0.25F);
        PeakCache cache;
        cache.update(&track);
        track.samples[0].fill(0.5F);
        track.samples[0].append(0.5F);
        cache.update(&track);
        QCOMPARE(cache.maxima(0), (std::vector<float>{0.25F, 0.25F, 0.5F}));
        cache.clear();
        cache.update(&track);
        QCOMPARE(cache.maxima(0), (std::vector<float>{0.5F, 0.5F, 0.5F}));
    }

    void aTrackShorterThanTheSummaryIsSummarisedAnew()
    {
        Track track("t", 1, 44100);
        track.samples[0] = signal_makers::constant(1024, 0.25F);
        PeakCache cache;
        cache.update(&track);
        track.samples[0] = signal_makers::constant(700, 0.5F);
        cache.update(&track);
        QCOMPARE(cache.maxima(0), (std::vector<float>{0.5F, 0.5F, 0.5F}));
        QCOMPARE(cache.summarisedFrames(), 512);
    }

    void aTrackThatShrinksWithinItsLastBlockDropsTheBlock()
    {
        Track track("t", 1, 44100);
        track.samples[0] = signal_makers::constant(600, 0.25F);
        PeakCache cache;
        cache.update(&track);
        track.samples[0].resize(512);
        cache.update(&track);
        QCOMPARE(cache.maxima(0), (std::vector<float>{0.25F, 0.25F}));
    }

    void anotherTrackOrChannelCountIsSummarisedAnew()
    {
        Track first("a", 1, 44100);
        first.samples[0] = signal_makers::constant(300, 0.25F);
        Track second("b", 1, 44100);
        second.samples[0] = signal_makers::constant(300, 0.5F);
        PeakCache cache;
        cache.update(&first);
        cache.update(&second);
        compareWithSamples(cache, second);
        second.channels = 2;
        second.samples = {signal_makers::constant(300, 0.75F), signal_makers::constant(300, 0.1F)};
        cache.update(&second);
        compareWithSamples(cache, second);
    }

    void aChannelShorterThanTheFirstHasZerosWhereItHasNoSamples()
    {
        Track track("t", 3, 44100);
        track.samples = {
            signal_makers::constant(1000, 0.5F), signal_makers::constant(300, 0.5F), {}};
        PeakCache cache;
        cache.update(&track);
        QCOMPARE(cache.minima(1), (std::vector<float>{0.5F, 0.5F, 0.0F, 0.0F}));
        QCOMPARE(cache.maxima(2), (std::vector<float>{0.0F, 0.0F, 0.0F, 0.0F}));
    }

    void aChannelLongerThanTheFirstIsSummarisedAsFarAsTheFirst()
    {
        Track track("t", 2, 44100);
        track.samples = {signal_makers::constant(300, 0.5F), signal_makers::constant(1000, 0.5F)};
        PeakCache cache;
        cache.update(&track);
        QCOMPARE(cache.maxima(1), (std::vector<float>{0.5F, 0.5F}));
    }

    void aTrackThatClaimsMoreChannelsThanItHasIsHarmless()
    {
        Track track("t", 1, 44100);
        track.samples[0] = signal_makers::constant(300, 0.5F);
        track.channels = std::numeric_limits<qint32>::max();
        PeakCache cache;
        cache.update(&track);
        QCOMPARE(cache.channelCount(), 1);
    }

    void withoutTrackOrChannelsNothingHappens()
    {
        PeakCache cache;
        cache.update(nullptr);
        const Track empty("t", 0, 44100);
        cache.update(&empty);
        QCOMPARE(cache.channelCount(), 0);
    }

    void updateLeavesTheSamplesShared()
    {
        const QList<float> original = signal_makers::noise(1000, 3);
        Track track("t", 1, 44100);
        track.samples[0] = original;
        PeakCache cache;
        cache.update(&track);
        QCOMPARE(track.samples.constFirst().constData(), original.constData());
    }
};

QTEST_APPLESS_MAIN(TestPeakCache)
#include "tst_peakcache.moc"
