#include "engine/transport.h"
#include "enginesuite.h"
#include "media/devices/mediaplatform.h"

#include <QGuiApplication>
#include <QTest>
#include <QTimer>

#include <vector>

namespace {

/// A loudspeaker that takes what it was given when it is told.
class TakingOutputNode : public FakeOutputNode {
public:
    using FakeOutputNode::FakeOutputNode;

    void takeAll()
    {
        std::vector<float> samples(queuedSamples());
        stream().ring.read(samples.data(), samples.size());
    }

    [[nodiscard]] bool hasEnded() { return stream().ended; }
};

} // namespace

/// The engine's timers, and what they leave undone.
class TestPumps : public EngineSuite {
    Q_OBJECT

private:
    static void addInterruptions()
    {
        QTest::addColumn<bool>("keepsProject");
        QTest::newRow("the project's flag is cleared") << true;
        QTest::newRow("the engine has no project any more") << false;
    }

private slots:

    void timersHaveTheirIntervals()
    {
        const auto engine = makeEngine();
        const auto timers = engine->findChildren<QTimer*>();
        QList<int> intervals;
        for (const QTimer* timer : timers)
            intervals << timer->interval();
        QCOMPARE(intervals, (QList<int>{5, 5, 1000}));
        QCOMPARE(timers[0]->timerType(), Qt::PreciseTimer);
        QCOMPARE(timers[1]->timerType(), Qt::PreciseTimer);
    }

    void nothingIsMixedForAProjectThatDoesNotPlay_data() { addInterruptions(); }

    void nothingIsMixedForAProjectThatDoesNotPlay()
    {
        QFETCH(bool, keepsProject);
        const auto output = QSharedPointer<TakingOutputNode>::create(impatientWatchdog());
        m_output = output;
        addSound();
        const auto engine = makeEngine();
        engine->startPlayback();
        const qint64 begun = m_project->play.position;
        if (keepsProject)
            m_project->playing = false;
        else
            engine->setProject({});
        output->takeAll();
        QVERIFY(waitForATick(*engine));
        QCOMPARE(m_project->play.position, begun);
        QCOMPARE(output->queuedSamples(), 0U);

        m_project->playing = true;
        engine->setProject(m_project);
        QVERIFY(waitForATick(*engine));
        QVERIFY(m_project->play.position > begun);
    }

    void theLoudspeakerIsToldOfTheEndWithTheLastBlock()
    {
        const auto output = QSharedPointer<TakingOutputNode>::create(impatientWatchdog());
        m_output = output;
        const auto engine = makeEngine();
        engine->startPlayback();
        QVERIFY(output->hasEnded());
        engine->stopPlayback();

        addSound();
        engine->startPlayback();
        while (!transport::isAtEnd(*m_project)) {
            QVERIFY(!output->hasEnded());
            output->takeAll();
            QVERIFY(waitForATick(*engine));
        }
        QVERIFY(output->hasEnded());
        engine->stopPlayback();
        engine->startPlayback();
        QVERIFY(!output->hasEnded());
    }

    void nothingIsTakenForAProjectThatDoesNotRecord_data() { addInterruptions(); }

    void nothingIsTakenForAProjectThatDoesNotRecord()
    {
        QFETCH(bool, keepsProject);
        const auto engine = makeEngine();
        engine->startRecording();
        const TrackHandle take = engine->recordTrack();
        if (keepsProject)
            m_project->recording = false;
        else
            engine->setProject({});
        QTRY_VERIFY_WITH_TIMEOUT(m_input->availableSamples() > 0, kPatienceMs);
        QVERIFY(waitForATick(*engine));
        QCOMPARE(take->length(), 0);

        m_project->recording = true;
        engine->setProject(m_project);
        QTRY_COMPARE_WITH_TIMEOUT(take->length(), qint64{kRateHz}, kPatienceMs);
    }

    // Asked for are 32768; a ring holds one less than a power of two.
    void theMicrophonesRingHolds65535Frames()
    {
        m_input = QSharedPointer<FakeInputNode>::create(sampleAt, 200000, impatientWatchdog());
        const auto engine = makeEngine();
        engine->startRecording();
        m_project->recording = false;
        QTRY_COMPARE_WITH_TIMEOUT(m_input->availableSamples(), 65535U, kPatienceMs);
    }

    void theEndOfAnEngineEndsPlaybackAndRecording()
    {
        addSound();
        auto engine = makeEngine();
        engine->startPlayback();
        engine->startRecording();
        QVERIFY(m_project->playing);
        QVERIFY(m_project->recording);
        engine.reset();
        QVERIFY(!m_project->playing);
        QVERIFY(!m_project->recording);
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QGuiApplication application(argc, argv);
    TestPumps test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_pumps.moc"
