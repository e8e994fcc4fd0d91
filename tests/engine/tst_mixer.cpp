#include "engine/audiocontext.h"
#include "engine/mixer.h"
#include "support/signalmakers.h"

#include <QTest>

#include <array>
#include <cmath>
#include <limits>

using mixer::kBlockFrames;

class TestMixer : public QObject {
    Q_OBJECT

private:
    struct Block {
        std::array<double, 2 * kBlockFrames> planar{};
        std::array<float, kBlockFrames> leftOut{};
        std::array<float, kBlockFrames> rightOut{};

        [[nodiscard]] double left(qsizetype i) const { return planar[static_cast<std::size_t>(i)]; }

        [[nodiscard]] double right(qsizetype i) const
        {
            return planar[static_cast<std::size_t>(kBlockFrames + i)];
        }
    };

    static Block sum(const VelaProject& project, qint64 position)
    {
        Block block;
        block.planar.fill(99.0);
        mixer::sumTracks(project, position, block.planar.data());
        return block;
    }

    static TrackHandle add(VelaProject& project, const QList<QList<float>>& channels)
    {
        const TrackHandle track = project.addTrack({}, static_cast<int>(channels.size()));
        track->samples = channels;
        return track;
    }

    static TrackHandle addConstant(VelaProject& project, float left, float right)
    {
        return add(project,
                   {signal_makers::constant(4096, left), signal_makers::constant(4096, right)});
    }

    static void compareBlocks(const Block& block, double left, double right)
    {
        for (qsizetype i = 0; i < kBlockFrames; ++i) {
            QCOMPARE(block.left(i), left);
            QCOMPARE(block.right(i), right);
        }
    }

private slots:

    void sumTracksOfAnEmptyProjectIsSilence()
    {
        compareBlocks(sum(*VelaProject::create(), 0), 0.0, 0.0);
    }

    void sumTracksAddsWithoutScaling()
    {
        const auto project = VelaProject::create();
        addConstant(*project, 0.75F, -0.5F);
        addConstant(*project, 0.5F, -0.75F);
        compareBlocks(sum(*project, 0), 1.25, -1.25);
    }

    void sumTracksAddsInDoubleAndInTrackOrder_data()
    {
        QTest::addColumn<int>("tracks");
        for (const int tracks : {1, 3, 4, 5, 7, 8, 9, 16, 64})
            QTest::addRow("%d tracks", tracks) << tracks;
    }

    void sumTracksAddsInDoubleAndInTrackOrder()
    {
        QFETCH(int, tracks);
        const auto project = VelaProject::create();
        QList<QList<float>> noises;
        for (int t = 0; t < tracks; ++t) {
            noises.append(signal_makers::noise(3000, static_cast<quint32>(2 * t + 1)));
            noises.append(signal_makers::noise(3000, static_cast<quint32>(2 * t + 2)));
            add(*project, {noises[2 * t], noises[2 * t + 1]});
        }
        const Block block = sum(*project, 500);
        for (qsizetype i = 0; i < kBlockFrames; ++i) {
            double left = 0.0;
            double right = 0.0;
            for (int t = 0; t < tracks; ++t) {
                left += static_cast<double>(noises[2 * t][500 + i]);
                right += static_cast<double>(noises[2 * t + 1][500 + i]);
            }
            QCOMPARE(block.left(i), left);
            QCOMPARE(block.right(i), right);
        }
    }

    void sumTracksPlacesATrackInTheBlock_data()
    {
        QTest::addColumn<qint64>("position");
        QTest::addColumn<qsizetype>("length");

        QTest::newRow("from its start") << qint64{0} << qsizetype{5000};
        QTest::newRow("inside") << qint64{1777} << qsizetype{5000};
        QTest::newRow("ends inside the block") << qint64{4500} << qsizetype{5000};
        QTest::newRow("one frame left") << qint64{4999} << qsizetype{5000};
        QTest::newRow("just past the end") << qint64{5000} << qsizetype{5000};
        QTest::newRow("far past the end") << std::numeric_limits<qint64>::max() << qsizetype{5000};
        QTest::newRow("begins inside the block") << qint64{-300} << qsizetype{5000};
        QTest::newRow("begins in its last frame") << qint64{-1023} << qsizetype{5000};
        QTest::newRow("begins just behind it") << qint64{-1024} << qsizetype{5000};
        QTest::newRow("far before") << std::numeric_limits<qint64>::min() << qsizetype{5000};
        QTest::newRow("short track inside the block") << qint64{-10} << qsizetype{20};
    }

    void sumTracksPlacesATrackInTheBlock()
    {
        QFETCH(qint64, position);
        QFETCH(qsizetype, length);
        const auto project = VelaProject::create();
        const QList<float> samples = signal_makers::counter(length);
        add(*project, {samples, samples});
        const Block block = sum(*project, position);
        for (qint64 i = 0; i < kBlockFrames; ++i) {
            const bool inside = position < length && position > -2 * kBlockFrames &&
                                position + i >= 0 && position + i < length;
            const double expected = inside ? static_cast<double>(samples[position + i]) : 0.0;
            QCOMPARE(block.left(i), expected);
            QCOMPARE(block.right(i), expected);
        }
    }

    void sumTracksPlaysMonoOnBothSidesAtFullLevel()
    {
        const auto project = VelaProject::create();
        add(*project, {signal_makers::constant(4096, 0.625F)});
        compareBlocks(sum(*project, 0), 0.625, 0.625);
    }

    void sumTracksHearsOnlyTheFirstTwoOfManyChannels()
    {
        const auto project = VelaProject::create();
        add(*project, {signal_makers::constant(4096, 0.125F), signal_makers::constant(4096, 0.25F),
                       signal_makers::constant(4096, 0.5F), signal_makers::constant(4096, 1.0F)});
        compareBlocks(sum(*project, 0), 0.125, 0.25);
    }

    void sumTracksSkipsATrackWithoutChannels()
    {
        const auto project = VelaProject::create();
        add(*project, {});
        addConstant(*project, 0.25F, 0.5F);
        compareBlocks(sum(*project, 0), 0.25, 0.5);
    }

    void sumTracksTakesItsLengthFromChannelZero()
    {
        const auto project = VelaProject::create();
        add(*project, {signal_makers::constant(10, 0.5F), signal_makers::constant(2000, 0.25F)});
        add(*project,
            {signal_makers::constant(2000, 0.125F), signal_makers::constant(20, 0.0625F)});
        const Block block = sum(*project, 0);
        QCOMPARE(block.left(9), 0.625);
        QCOMPARE(block.left(10), 0.125);
        QCOMPARE(block.right(9), 0.3125);
        QCOMPARE(block.right(10), 0.0625);
        QCOMPARE(block.right(20), 0.0);
    }

    void sumTracksTrustsTheListsThatATrackHolds()
    {
        const auto project = VelaProject::create();
        const TrackHandle claimsTwo = project->addTrack({}, 2);
        claimsTwo->samples = {signal_makers::constant(4096, 0.5F)};
        compareBlocks(sum(*project, 0), 0.5, 0.5);
    }

    void sumTracksLeavesMutedTracksOut()
    {
        const auto project = VelaProject::create();
        addConstant(*project, 0.5F, 0.5F)->muted = true;
        addConstant(*project, 0.25F, 0.125F);
        compareBlocks(sum(*project, 0), 0.25, 0.125);
    }

    void sumTracksPlaysOnlySoloedTracksEvenWhenMuted()
    {
        const auto project = VelaProject::create();
        const TrackHandle soloed = addConstant(*project, 0.5F, 0.25F);
        soloed->solo = true;
        soloed->muted = true;
        addConstant(*project, 0.125F, 0.125F);
        compareBlocks(sum(*project, 0), 0.5, 0.25);
    }

    void sumTracksKeepsTheSampleListsShared()
    {
        const auto project = VelaProject::create();
        const TrackHandle track = addConstant(*project, 0.5F, 0.5F);
        const QList<float> snapshot = track->samples[0];
        sum(*project, 0);
        QVERIFY(snapshot.constData() == std::as_const(track->samples)[0].constData());
    }

    void clipBlockClipsAtFullScaleOnly()
    {
        Block block;
        const double justAbove = std::nextafter(1.0, 2.0);
        block.planar[0] = 1.5;
        block.planar[1] = justAbove;
        block.planar[2] = 1.0;
        block.planar[3] = 0.3;
        block.planar[4] = -7.0;
        block.planar[5] = -1.0;
        block.planar[6] = -0.0;
        block.planar[7] = std::numeric_limits<double>::quiet_NaN();
        block.planar[8] = std::numeric_limits<double>::infinity();
        block.planar[9] = -std::numeric_limits<double>::infinity();
        block.planar[kBlockFrames] = -1.25;
        mixer::clipBlock(block.planar.data(), block.leftOut.data(), block.rightOut.data());

        const std::array<double, 7> expected{1.0, 1.0, 1.0, 0.3, -1.0, -1.0, -0.0};
        for (std::size_t i = 0; i < expected.size(); ++i) {
            QCOMPARE(block.planar[i], expected[i]);
            QCOMPARE(block.leftOut[i], static_cast<float>(expected[i]));
        }
        QVERIFY(std::signbit(block.leftOut[6]));
        QVERIFY(std::isnan(block.planar[7]) && std::isnan(block.leftOut[7]));
        QCOMPARE(block.leftOut[8], 1.0F);
        QCOMPARE(block.leftOut[9], -1.0F);
        QCOMPARE(block.rightOut[0], -1.0F);
        QCOMPARE(block.planar[kBlockFrames], -1.0);
    }

    void clipBlockReturnsFloatSamplesBitForBit()
    {
        const auto project = VelaProject::create();
        QList<float> samples = signal_makers::noise(kBlockFrames, 7);
        samples[0] = std::numeric_limits<float>::denorm_min();
        samples[1] = -0.0F;
        add(*project, {samples});
        Block block = sum(*project, 0);
        mixer::clipBlock(block.planar.data(), block.leftOut.data(), block.rightOut.data());
        QCOMPARE(block.leftOut[0], samples[0]);
        for (qsizetype i = 2; i < kBlockFrames; ++i) {
            QCOMPARE(block.leftOut[static_cast<std::size_t>(i)], samples[i]);
            QCOMPARE(block.rightOut[static_cast<std::size_t>(i)], samples[i]);
        }
    }

    void audioContextHasTheDefaultsOfAnEmptyMonoBlock()
    {
        const AudioContext context;
        QCOMPARE(context.frames, 0U);
        QCOMPARE(context.channels, 1U);
        QVERIFY(!context.samples);
    }
};

QTEST_APPLESS_MAIN(TestMixer)
#include "tst_mixer.moc"
