// A week of playing: positions and waits that only ever add up.

#include "engine/playoutwait.h"
#include "engine/transport.h"
#include "project/timetext.h"

#include <QTest>

#include <random>

namespace {

constexpr qint64 kWeekMs = qint64{7} * 24 * 3600 * 1000;
constexpr qint32 kRateHz = 44100;
constexpr qint64 kBlockFrames = 1024;
constexpr qint64 kWeekFrames = qint64{7} * 24 * 3600 * kRateHz;

/// A device that plays out what it was left with, or hangs for some time first.
struct Ending {
    quint64 toTake = 0;
    qint64 hangsMs = 0;
};

/// What the rule says of one ending, looked at every 5 ms: how long it takes.
qint64 expectedMs(const Ending& ending, qint64 lookMs)
{
    constexpr qint64 kGivenUpMs = 3000;
    if (ending.hangsMs >= kGivenUpMs)
        return kGivenUpMs;
    return ending.hangsMs + static_cast<qint64>(ending.toTake) * lookMs;
}

} // namespace

class TestEngineWeek : public QObject {
    Q_OBJECT

private slots:

    void aLoopIsWhereItsLengthSaysAfterAWeek_data()
    {
        QTest::addColumn<qint64>("loopStart");
        QTest::addColumn<qint64>("loopEnd");
        QTest::addColumn<qint64>("start");
        QTest::newRow("of half a second") << qint64{1000} << qint64{23051} << qint64{1000};
        QTest::newRow("shorter than a block") << qint64{7} << qint64{1000} << qint64{500};
        QTest::newRow("of an hour") << qint64{0} << qint64{158'760'001} << qint64{3};
        QTest::newRow("beyond 2^32 frames")
            << qint64{4'294'960'000} << qint64{4'294'980'007} << qint64{4'294'960'001};
    }

    void aLoopIsWhereItsLengthSaysAfterAWeek()
    {
        QFETCH(qint64, loopStart);
        QFETCH(qint64, loopEnd);
        QFETCH(qint64, start);
        VelaProject project(kRateHz);
        project.looping = true;
        project.loopStart = loopStart;
        project.loopEnd = loopEnd;
        project.play.position = start;
        const qint64 length = loopEnd - loopStart;
        constexpr qint64 kBlocks = kWeekFrames / kBlockFrames;
        bool inside = true;
        for (qint64 block = 0; block < kBlocks; ++block) {
            transport::advance(project, kBlockFrames);
            inside =
                inside && project.play.position >= loopStart && project.play.position < loopEnd;
        }
        QVERIFY(inside);
        QCOMPARE(project.play.position,
                 loopStart + (start - loopStart + kBlocks * kBlockFrames) % length);
    }

    void aWeekInOneGoIsReadAsAWeek()
    {
        VelaProject project(kRateHz);
        constexpr qint64 kBlocks = kWeekFrames / kBlockFrames;
        for (qint64 block = 0; block < kBlocks; ++block)
            transport::advance(project, kBlockFrames);
        QCOMPARE(project.play.position, kBlocks * kBlockFrames);
        QCOMPARE(timeText(project.play.position + kWeekFrames % kBlockFrames, kRateHz),
                 "168:00:00.000");
    }

    void everyPlaybackEndsWhenItIsPlayedOutOrTheDeviceIsGivenUp_data()
    {
        QTest::addColumn<qint64>("startMs");
        QTest::addColumn<quint64>("delivered");
        QTest::newRow("from the beginning") << qint64{0} << quint64{0};
        QTest::newRow("across 2^31 ms") << (qint64{1} << 31) - kWeekMs / 2 << quint64{0};
        QTest::newRow("across 2^32 ms") << (qint64{1} << 32) - kWeekMs / 2 << quint64{0};
        QTest::newRow("across 2^32 samples") << qint64{0} << (quint64{1} << 32) - 1000;
    }

    void everyPlaybackEndsWhenItIsPlayedOutOrTheDeviceIsGivenUp()
    {
        QFETCH(qint64, startMs);
        QFETCH(quint64, delivered);
        constexpr qint64 kLookMs = 5;
        std::mt19937 random(3);
        PlayoutWait wait;
        int givenUp = 0;
        int playedOut = 0;
        qint64 nowMs = startMs;
        while (nowMs < startMs + kWeekMs) {
            const Ending ending{1 + random() % 40,
                                random() % 4 == 0 ? kLookMs * static_cast<qint64>(random() % 800)
                                                  : 0};
            const qint64 beganMs = nowMs;
            quint64 left = ending.toTake;
            while (!wait.isOver(left == 0, delivered, nowMs)) {
                nowMs += kLookMs;
                if (nowMs - beganMs > ending.hangsMs) {
                    --left;
                    ++delivered;
                }
            }
            QCOMPARE(nowMs - beganMs, expectedMs(ending, kLookMs));
            ++(left == 0 ? playedOut : givenUp);
            wait.reset();
            nowMs += static_cast<qint64>(random() % 600'000);
        }
        QVERIFY(playedOut > 100);
        QVERIFY(givenUp > 20);
    }
};

QTEST_APPLESS_MAIN(TestEngineWeek)
#include "tst_engineweek.moc"
