#include "engine/transport.h"

#include <QTest>

#include <limits>

namespace {

constexpr qint64 kLast = std::numeric_limits<qint64>::max();

} // namespace

class TestTransport : public QObject {
    Q_OBJECT

private:
    static ProjectHandle projectOf(qsizetype frames)
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 1)->samples[0].resize(frames);
        return project;
    }

    static void select(VelaProject& project, qint64 start, qint64 end)
    {
        project.selectionStart = start;
        project.selectionEnd = end;
    }

private slots:

    void prepareToPlaySetsLoopAndCursor_data()
    {
        QTest::addColumn<bool>("loop");
        QTest::addColumn<qint64>("selectionStart");
        QTest::addColumn<qint64>("selectionEnd");
        QTest::addColumn<qint64>("cursor");
        QTest::addColumn<bool>("looping");
        QTest::addColumn<qint64>("loopStart");
        QTest::addColumn<qint64>("loopEnd");
        QTest::addColumn<qint64>("cursorAfter");

        const auto row = [](const char* name, bool loop, qint64 start, qint64 end, qint64 cursor,
                            bool looping, qint64 loopStart, qint64 loopEnd, qint64 after) {
            QTest::newRow(name) << loop << start << end << cursor << looping << loopStart << loopEnd
                                << after;
        };
        row("loop over a selection stored backwards", true, 5000, 1000, 7000, true, 1000, 5000,
            1000);
        row("loop over a selection", true, 1000, 5000, 7000, true, 1000, 5000, 1000);
        row("loop from the cursor without a selection", true, -1, -1, 7000, true, 7000, 10000,
            7000);
        row("loop from the cursor with an empty selection", true, 300, 300, 7000, true, 7000, 10000,
            7000);
        row("loop from the cursor when the selection ends before the beginning", true, 5000, -3,
            7000, true, 7000, 10000, 7000);
        row("nothing to loop at the end", true, -1, -1, 10000, false, 10000, 10000, 10000);
        row("nothing to loop past the end", true, 20, 20, 12000, false, 12000, 10000, 12000);
        row("play from the cursor", false, -1, -1, 7000, false, 0, 0, 7000);
        row("play from the selection's smaller end", false, 5000, 1000, 7000, false, 0, 0, 1000);
        row("an empty selection leaves the cursor", false, 300, 300, 7000, false, 0, 0, 7000);
    }

    void prepareToPlaySetsLoopAndCursor()
    {
        QFETCH(bool, loop);
        QFETCH(qint64, selectionStart);
        QFETCH(qint64, selectionEnd);
        QFETCH(qint64, cursor);
        const auto project = projectOf(10000);
        project->looping = true;
        project->loopStart = 1;
        project->loopEnd = 2;
        select(*project, selectionStart, selectionEnd);
        project->cursor.position = cursor;
        transport::prepareToPlay(*project, loop);
        QTEST(project->looping, "looping");
        QTEST(project->loopStart, "loopStart");
        QTEST(project->loopEnd, "loopEnd");
        QTEST(project->cursor.position, "cursorAfter");
    }

    void playbackEndIsTheSelectionsFarEndWithinTheProject()
    {
        const auto project = projectOf(10000);
        QCOMPARE(transport::playbackEnd(*project), 10000);
        select(*project, 5000, 1000);
        QCOMPARE(transport::playbackEnd(*project), 5000);
        select(*project, 1000, 50000);
        QCOMPARE(transport::playbackEnd(*project), 10000);
        select(*project, 1000, 1000);
        QCOMPARE(transport::playbackEnd(*project), 10000);
    }

    void playbackEndIgnoresTheSelectionWhileLooping()
    {
        const auto project = projectOf(10000);
        select(*project, 1000, 5000);
        project->looping = true;
        project->loopStart = 1000;
        project->loopEnd = 5000;
        QCOMPARE(transport::playbackEnd(*project), 10000);
        project->loopEnd = 1000;
        QCOMPARE(transport::playbackEnd(*project), 5000);
    }

    void isAtEndOnlyWithoutALoop()
    {
        const auto project = projectOf(10000);
        project->play.position = 9999;
        QVERIFY(!transport::isAtEnd(*project));
        project->play.position = 10000;
        QVERIFY(transport::isAtEnd(*project));
        project->looping = true;
        project->loopStart = 0;
        project->loopEnd = 10000;
        QVERIFY(!transport::isAtEnd(*project));
        project->loopEnd = 0;
        QVERIFY(transport::isAtEnd(*project));
    }

    void advanceMovesByWholeBlocks()
    {
        const auto project = projectOf(1500);
        transport::advance(*project, 1024);
        QCOMPARE(project->play.position, 1024);
        transport::advance(*project, 1024);
        QCOMPARE(project->play.position, 2048);
    }

    void advanceWrapsWithTheRemainderCarriedOver()
    {
        const auto project = projectOf(100000);
        project->looping = true;
        project->loopStart = 1000;
        project->loopEnd = 4000;
        project->play.position = 1000;
        QList<qint64> positions;
        for (int i = 0; i < 6; ++i) {
            transport::advance(*project, 1024);
            positions.append(project->play.position);
        }
        // 4072 is 72 past the end, 4120 then 120.
        QCOMPARE(positions, (QList<qint64>{2024, 3048, 1072, 2096, 3120, 1144}));
    }

    void advanceWrapsExactlyAtTheLoopsEnd()
    {
        const auto project = projectOf(100000);
        project->looping = true;
        project->loopStart = 0;
        project->loopEnd = 2048;
        project->play.position = 1024;
        transport::advance(*project, 1024);
        QCOMPARE(project->play.position, 0);
    }

    void advanceWrapsALoopShorterThanABlockSeveralTimes()
    {
        const auto project = projectOf(100000);
        project->looping = true;
        project->loopStart = 500;
        project->loopEnd = 600;
        project->play.position = 500;
        transport::advance(*project, 1024);
        // 1524 is 924 past the end, which is 24 more than nine rounds.
        QCOMPARE(project->play.position, 524);
    }

    void advanceStopsAtTheLastPositionOfAll()
    {
        const auto project = projectOf(10);
        project->play.position = kLast - 100;
        transport::advance(*project, 1024);
        QCOMPARE(project->play.position, kLast);
        transport::advance(*project, 1024);
        QCOMPARE(project->play.position, kLast);
    }

    void advanceWrapsALoopOfAnyExtent()
    {
        const auto project = projectOf(10);
        project->looping = true;
        project->loopStart = kLast - 1010;
        project->loopEnd = kLast - 10;
        project->play.position = kLast - 100;
        transport::advance(*project, 1024);
        // Stopped at the last position, which is 10 past the loop's end.
        QCOMPARE(project->play.position, kLast - 1000);

        project->loopStart = std::numeric_limits<qint64>::min();
        project->play.position = kLast - 20;
        transport::advance(*project, 15);
        QCOMPARE(project->play.position, project->loopStart + 5);
    }

    void advanceIgnoresALoopRangeThatIsSwitchedOff()
    {
        const auto project = projectOf(100000);
        project->loopStart = 0;
        project->loopEnd = 1024;
        transport::advance(*project, 1024);
        QCOMPARE(project->play.position, 1024);
    }
};

QTEST_APPLESS_MAIN(TestTransport)
#include "tst_transport.moc"
