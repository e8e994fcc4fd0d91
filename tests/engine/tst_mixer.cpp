#include "engine/audiocontext.h"
#include "engine/mixer.h"
#include "support/signalmakers.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <bit>
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

    static Block mix(const VelaProject& project, qint64 position)
    {
        Block block;
        block.planar.fill(99.0);
        mixer::mixBlock(project, position, block.planar.data(), block.leftOut.data(),
                        block.rightOut.data());
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
            const auto at = static_cast<std::size_t>(i);
            QVERIFY(block.left(i) == left);
            QVERIFY(block.right(i) == right);
            QCOMPARE(block.leftOut[at], static_cast<float>(left));
            QCOMPARE(block.rightOut[at], static_cast<float>(right));
        }
    }

private slots:

    void mixBlockOfAnEmptyProjectIsSilence()
    {
        compareBlocks(mix(*VelaProject::create(), 0), 0.0, 0.0);
    }

    void mixBlockAddsWithoutScaling()
    {
        const auto project = VelaProject::create();
        addConstant(*project, 0.5F, -0.25F);
        addConstant(*project, 0.375F, -0.5F);
        compareBlocks(mix(*project, 0), 0.875, -0.75);
    }

    void mixBlockAddsInDoubleAndInTrackOrder_data()
    {
        QTest::addColumn<int>("tracks");
        for (const int tracks : {1, 2, 3, 4, 5, 6, 7, 8, 9, 15, 16, 17, 64})
            QTest::addRow("%d tracks", tracks) << tracks;
    }

    void mixBlockAddsInDoubleAndInTrackOrder()
    {
        QFETCH(int, tracks);
        const auto project = VelaProject::create();
        QList<QList<float>> noises;
        for (int t = 0; t < tracks; ++t) {
            noises.append(signal_makers::noise(3000, static_cast<quint32>(2 * t + 1), 0.015F));
            noises.append(signal_makers::noise(3000, static_cast<quint32>(2 * t + 2), 0.015F));
            add(*project, {noises[2 * t], noises[2 * t + 1]});
        }
        const Block block = mix(*project, 500);
        for (qsizetype i = 0; i < kBlockFrames; ++i) {
            double left = 0.0;
            double right = 0.0;
            for (int t = 0; t < tracks; ++t) {
                left += static_cast<double>(noises[2 * t][500 + i]);
                right += static_cast<double>(noises[2 * t + 1][500 + i]);
            }
            QVERIFY(block.left(i) == left);
            QVERIFY(block.right(i) == right);
        }
    }

    void mixBlockAddsEachTrackToTheSumOfThoseBefore_data()
    {
        QTest::addColumn<int>("before");
        QTest::addColumn<int>("between");
        for (int before = 0; before <= 17; ++before) {
            for (const int between : {0, 1, 3, 4, 7, 8})
                QTest::addRow("%d before, %d between", before, between) << before << between;
        }
    }

    // Beside the large one the small one is lost; in another order it is left over.
    void mixBlockAddsEachTrackToTheSumOfThoseBefore()
    {
        QFETCH(int, before);
        QFETCH(int, between);
        constexpr float kLarge = 0x1p44F;
        constexpr float kSmall = 0x1p-10F;
        const auto project = VelaProject::create();
        const auto addMono = [&project](int tracks, float value) {
            for (int t = 0; t < tracks; ++t)
                add(*project, {signal_makers::constant(kBlockFrames, value)});
        };
        addMono(before, 0.0F);
        addMono(1, kLarge);
        addMono(between, 0.0F);
        addMono(1, kSmall);
        addMono(between, 0.0F);
        addMono(1, -kLarge);
        const Block block = mix(*project, 0);
        for (qsizetype i = 0; i < kBlockFrames; ++i)
            QVERIFY(block.left(i) == 0.0 && block.right(i) == 0.0);
    }

    void mixBlockPlacesATrackInTheBlock_data()
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

    void mixBlockPlacesATrackInTheBlock()
    {
        QFETCH(qint64, position);
        QFETCH(qsizetype, length);
        const auto project = VelaProject::create();
        const QList<float> samples = signal_makers::counter(length);
        add(*project, {samples, samples});
        const Block block = mix(*project, position);
        for (qint64 i = 0; i < kBlockFrames; ++i) {
            const bool inside = position < length && position > -2 * kBlockFrames &&
                                position + i >= 0 && position + i < length;
            const double expected = inside ? static_cast<double>(samples[position + i]) : 0.0;
            QCOMPARE(block.left(i), expected);
            QCOMPARE(block.right(i), expected);
        }
    }

    void mixBlockPlaysMonoOnBothSidesAtFullLevel()
    {
        const auto project = VelaProject::create();
        add(*project, {signal_makers::constant(4096, 0.625F)});
        compareBlocks(mix(*project, 0), 0.625, 0.625);
    }

    void mixBlockHearsOnlyTheFirstTwoOfManyChannels()
    {
        const auto project = VelaProject::create();
        add(*project, {signal_makers::constant(4096, 0.125F), signal_makers::constant(4096, 0.25F),
                       signal_makers::constant(4096, 0.5F), signal_makers::constant(4096, 1.0F)});
        compareBlocks(mix(*project, 0), 0.125, 0.25);
    }

    void mixBlockSkipsATrackWithoutChannels()
    {
        const auto project = VelaProject::create();
        add(*project, {});
        addConstant(*project, 0.25F, 0.5F);
        compareBlocks(mix(*project, 0), 0.25, 0.5);
    }

    void mixBlockSkipsATrackThatClaimsNoChannels()
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 0)->samples = {signal_makers::constant(4096, 0.5F)};
        addConstant(*project, 0.25F, 0.125F);
        compareBlocks(mix(*project, 0), 0.25, 0.125);
    }

    void mixBlockPlaysTheFirstListOfAMonoTrackOnBothSides()
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 1)->samples = {signal_makers::constant(4096, 0.5F),
                                             signal_makers::constant(4096, 0.25F)};
        compareBlocks(mix(*project, 0), 0.5, 0.5);
    }

    void mixBlockTakesItsLengthFromChannelZero()
    {
        const auto project = VelaProject::create();
        add(*project, {signal_makers::constant(10, 0.5F), signal_makers::constant(2000, 0.25F)});
        add(*project,
            {signal_makers::constant(2000, 0.125F), signal_makers::constant(20, 0.0625F)});
        const Block block = mix(*project, 0);
        QCOMPARE(block.left(9), 0.625);
        QCOMPARE(block.left(10), 0.125);
        QCOMPARE(block.right(9), 0.3125);
        QCOMPARE(block.right(10), 0.0625);
        QCOMPARE(block.right(20), 0.0);
    }

    void mixBlockTrustsTheListsThatATrackHolds()
    {
        const auto project = VelaProject::create();
        const TrackHandle claimsTwo = project->addTrack({}, 2);
        claimsTwo->samples = {signal_makers::constant(4096, 0.5F)};
        compareBlocks(mix(*project, 0), 0.5, 0.5);
    }

    void mixBlockLeavesMutedTracksOut()
    {
        const auto project = VelaProject::create();
        addConstant(*project, 0.5F, 0.5F)->muted = true;
        addConstant(*project, 0.25F, 0.125F);
        compareBlocks(mix(*project, 0), 0.25, 0.125);
    }

    void mixBlockPlaysOnlySoloedTracksEvenWhenMuted()
    {
        const auto project = VelaProject::create();
        const TrackHandle soloed = addConstant(*project, 0.5F, 0.25F);
        soloed->solo = true;
        soloed->muted = true;
        addConstant(*project, 0.125F, 0.125F);
        compareBlocks(mix(*project, 0), 0.5, 0.25);
    }

    // Switches are read in groups, so every place around a group's end counts.
    void mixBlockHearsASwitchWhereverTheTrackStands_data()
    {
        QTest::addColumn<int>("tracks");
        QTest::addColumn<int>("heard");
        for (const int tracks : {1, 63, 64, 65, 128, 130}) {
            for (const int heard : {0, 62, 63, 64, 127, 129}) {
                if (heard < tracks)
                    QTest::addRow("%d of %d", heard, tracks) << tracks << heard;
            }
        }
    }

    void mixBlockHearsASwitchWhereverTheTrackStands()
    {
        QFETCH(const int, tracks);
        QFETCH(const int, heard);
        const auto project = VelaProject::create();
        for (int t = 0; t < tracks; ++t)
            addConstant(*project, 0.25F, -0.125F)->muted = t != heard;
        compareBlocks(mix(*project, 0), 0.25, -0.125);

        for (const TrackHandle& track : std::as_const(project->tracks))
            track->muted = !track->muted;
        project->tracks[heard]->solo = true;
        compareBlocks(mix(*project, 0), 0.25, -0.125);
    }

    void mixBlockClipsASingleSampleOnEitherSideOfEverySum_data()
    {
        QTest::addColumn<int>("tracks");
        for (const int tracks : {1, 2, 3, 8, 9, 16})
            QTest::addRow("%d", tracks) << tracks;
    }

    void mixBlockClipsASingleSampleOnEitherSideOfEverySum()
    {
        QFETCH(const int, tracks);
        for (const qsizetype at : {qsizetype{0}, qsizetype{500}, kBlockFrames - 1}) {
            for (const float level : {1.25F, -1.25F}) {
                const auto project = VelaProject::create();
                QList<float> samples = signal_makers::constant(kBlockFrames, 0.5F);
                samples[at] = level;
                add(*project, {samples});
                for (int t = 1; t < tracks; ++t)
                    addConstant(*project, 0.0F, 0.0F);
                const Block block = mix(*project, 0);
                for (qsizetype i = 0; i < kBlockFrames; ++i) {
                    const float expected = i != at ? 0.5F : level > 0.0F ? 1.0F : -1.0F;
                    QCOMPARE(block.left(i), static_cast<double>(expected));
                    QCOMPARE(block.rightOut[static_cast<std::size_t>(i)], expected);
                }
            }
        }
    }

    void mixBlockKeepsTheSampleListsShared()
    {
        const auto project = VelaProject::create();
        const TrackHandle track = addConstant(*project, 0.5F, 0.5F);
        const QList<float> snapshot = track->samples[0];
        mix(*project, 0);
        QVERIFY(snapshot.constData() == std::as_const(track->samples)[0].constData());
    }

    void mixBlockClipsAtFullScaleOnly()
    {
        const auto project = VelaProject::create();
        const float infinity = std::numeric_limits<float>::infinity();
        const float justAbove = std::nextafter(1.0F, 2.0F);
        QList<float> samples(kBlockFrames, 0.0F);
        const QList<float> interesting{1.5F,  justAbove, 1.0F,     0.3F,
                                       -7.0F, -1.0F,     infinity, -infinity};
        std::copy(interesting.cbegin(), interesting.cend(), samples.begin());
        samples[20] = std::numeric_limits<float>::quiet_NaN();
        add(*project, {samples});
        const Block block = mix(*project, 0);

        const QList<float> expected{1.0F, 1.0F, 1.0F, 0.3F, -1.0F, -1.0F, 1.0F, -1.0F};
        for (qsizetype i = 0; i < expected.size(); ++i) {
            QCOMPARE(block.left(i), static_cast<double>(expected[i]));
            QCOMPARE(block.leftOut[static_cast<std::size_t>(i)], expected[i]);
            QCOMPARE(block.rightOut[static_cast<std::size_t>(i)], expected[i]);
        }
        QVERIFY(std::isnan(block.left(20)) && std::isnan(block.leftOut[20]));
    }

    void mixBlockClipsTwoTracksInPhaseWithoutALimiter()
    {
        const auto project = VelaProject::create();
        addConstant(*project, 1.0F, -1.0F);
        addConstant(*project, 1.0F, -1.0F);
        compareBlocks(mix(*project, 0), 1.0, -1.0);
    }

    void mixBlockClipsTheSumAndNotTheParts()
    {
        const auto project = VelaProject::create();
        addConstant(*project, 4.0F, -2.5F);
        addConstant(*project, -3.5F, 2.0F);
        compareBlocks(mix(*project, 0), 0.5, -0.5);
    }

    void mixBlockKeepsTheOrderAcrossATrackThatEndsInside()
    {
        const auto project = VelaProject::create();
        QList<QList<float>> noises;
        for (quint32 t = 0; t < 11; ++t) {
            noises.append(signal_makers::noise(t == 5 ? 700 : 2048, t + 1, 0.09F));
            add(*project, {noises.constLast()});
        }
        const Block block = mix(*project, 0);
        for (qsizetype i = 0; i < kBlockFrames; ++i) {
            double expected = 0.0;
            for (const QList<float>& noise : std::as_const(noises))
                expected += i < noise.size() ? static_cast<double>(noise[i]) : 0.0;
            QVERIFY(block.left(i) == expected);
        }
    }

    void mixBlockReturnsASingleTracksSamplesBitForBit()
    {
        const auto project = VelaProject::create();
        QList<float> samples = signal_makers::noise(kBlockFrames, 7);
        samples[0] = std::numeric_limits<float>::denorm_min();
        samples[1] = -std::numeric_limits<float>::denorm_min();
        add(*project, {samples});
        const Block block = mix(*project, 0);
        for (qsizetype i = 0; i < kBlockFrames; ++i) {
            const auto at = static_cast<std::size_t>(i);
            QCOMPARE(std::bit_cast<quint32>(block.leftOut[at]), std::bit_cast<quint32>(samples[i]));
            QCOMPARE(std::bit_cast<quint32>(block.rightOut[at]),
                     std::bit_cast<quint32>(samples[i]));
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
