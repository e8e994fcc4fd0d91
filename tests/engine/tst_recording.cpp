#include "engine/transport.h"
#include "enginesuite.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/signalmakers.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <algorithm>

using media::devices::DeviceManager;

/// A node whose counts of trouble a test sets.
template <typename Node>
class TroubledNode : public Node {
public:
    using Node::Node;

    void setTrouble(quint64 underruns, quint64 dropped)
    {
        this->stream().underruns = underruns;
        this->stream().dropped = dropped;
    }
};

/// Takes, lost devices, and what the engine tells of itself.
class TestRecording : public EngineSuite {
    Q_OBJECT

private slots:

    void tenMinutesInAHurryAreInTheTakeInOrder()
    {
        constexpr qint64 kTenMinutes = qint64{600} * kRateHz;
        m_input = QSharedPointer<FakeInputNode>::create(sampleAt, kTenMinutes);
        const auto engine = makeEngine();
        engine->startRecording();
        const TrackHandle take = engine->recordTrack();
        QTRY_COMPARE_WITH_TIMEOUT(take->length(), kTenMinutes, 3 * kPatienceMs);
        QCOMPARE(m_input->droppedSamples(), 0U);
        QCOMPARE(m_input->samplesCaptured(), static_cast<quint64>(kTenMinutes));
        engine->stopRecording();
        const QList<float>& samples = take->samples.constFirst();
        qint64 right = 0;
        while (right < kTenMinutes && samples.at(right) == sampleAt(right))
            ++right;
        QCOMPARE(right, kTenMinutes);
    }

    void aTakeThatIsFullGoesOnInANewTrackLikeIt()
    {
        const auto engine = makeEngine(10000);
        QList<qsizetype> tracks;
        QStringList heard;
        connect(engine.get(), &VelaEngine::structureChanged, this, [&] {
            tracks << m_project->tracks.size();
            const TrackHandle newest = m_project->tracks.constLast();
            heard << (newest->muted ? "muted" : newest->solo ? "alone" : "with the others");
            if (tracks.size() == 3) {
                newest->muted = true;
                newest->solo = false;
                m_project->sampleRate = 44100; // as an import does
            }
        });
        engine->startRecording();
        engine->recordTrack()->name = QStringLiteral("Voice");
        engine->recordTrack()->solo = true;
        const auto captured = [this] {
            qint64 frames = 0;
            for (const TrackHandle& track : m_project->tracks)
                frames += track->length();
            return frames;
        };
        QTRY_COMPARE_WITH_TIMEOUT(captured(), qint64{kRateHz}, kPatienceMs);
        QCOMPARE(tracks, (QList<qsizetype>{1, 2, 3, 4, 5}));
        QCOMPARE(heard, (QStringList{"with the others", "alone", "alone", "muted", "muted"}));
        QCOMPARE(engine->recordTrack(), m_project->tracks.constLast());
        engine->stopRecording();
        qint64 next = 0;
        for (const TrackHandle& track : m_project->tracks) {
            QCOMPARE(track->name, "Voice");
            QCOMPARE(track->channels, 1);
            QCOMPARE(track->sampleRate, kRateHz);
            QCOMPARE(track->length(), next < 40000 ? 10000 : 8000);
            for (const float sample : track->samples.constFirst())
                QVERIFY(sample == sampleAt(next++));
        }
    }

    void aTakeThatIsJustFullStaysAlone()
    {
        const auto engine = makeEngine(kRateHz);
        engine->startRecording();
        const TrackHandle take = engine->recordTrack();
        QTRY_COMPARE_WITH_TIMEOUT(take->length(), qint64{kRateHz}, kPatienceMs);
        QVERIFY(waitForATick(*engine));
        QCOMPARE(m_project->tracks.size(), 1);
        QCOMPARE(engine->recordTrack(), take);
    }

    void whatIsRecordedIsMonitoredOnBothSides()
    {
        const auto engine = makeEngine();
        QList<float> heard;
        connect(engine.get(), &VelaEngine::monitor, this,
                [&heard](const QList<float>& left, const QList<float>& right) {
                    QCOMPARE(left, right);
                    heard += left;
                });
        engine->startRecording();
        const TrackHandle take = engine->recordTrack();
        QTRY_COMPARE_WITH_TIMEOUT(take->length(), qint64{kRateHz}, kPatienceMs);
        QCOMPARE(heard, take->samples.constFirst());
    }

    void lostInputEndsTheRecordingOnly()
    {
        addSound();
        const auto engine = makeEngine();
        engine->startPlayback();
        engine->startRecording();
        const TrackHandle take = engine->recordTrack();
        QTRY_COMPARE_WITH_TIMEOUT(take->length(), qint64{kRateHz}, kPatienceMs);
        QStringList events;
        connect(engine.get(), &VelaEngine::deviceLost, this,
                [&](const QString& what) { events << what; });
        connect(engine.get(), &VelaEngine::positionChanged, this, [&] { events << "position"; });
        m_input->fail();
        QTRY_VERIFY_WITH_TIMEOUT(!engine->isRecording(), kPatienceMs);
        QCOMPARE(m_log->take(QtWarningMsg, "VelaEngine: input device lost"), 1);
        QCOMPARE(events, (QStringList{"input", "position"}));
        QVERIFY(engine->isPlaying());
        QVERIFY(!m_project->recording);
        QCOMPARE(m_project->tracks.constLast(), take);
        QCOMPARE(take->length(), qint64{kRateHz});
    }

    void lostOutputEndsThePlaybackOnly()
    {
        addSound();
        const auto engine = makeEngine();
        engine->startPlayback();
        engine->startRecording();
        QStringList events;
        connect(engine.get(), &VelaEngine::deviceLost, this,
                [&](const QString& what) { events << what; });
        connect(engine.get(), &VelaEngine::positionChanged, this, [&] { events << "position"; });
        m_output->fail();
        QTRY_VERIFY_WITH_TIMEOUT(!engine->isPlaying(), kPatienceMs);
        QCOMPARE(m_log->take(QtWarningMsg, "VelaEngine: output device lost"), 1);
        QCOMPARE(events, (QStringList{"output", "position"}));
        QVERIFY(!m_project->playing);
        QVERIFY(engine->isRecording());
        const TrackHandle take = engine->recordTrack();
        QTRY_COMPARE_WITH_TIMEOUT(take->length(), qint64{kRateHz}, kPatienceMs);
    }

    // Waiting for a ring that nobody empties would take seconds.
    void nothingToLoopStopsAtTheFirstTick()
    {
        addSound();
        m_project->selectionStart = 300;
        m_project->selectionEnd = 300;
        m_project->cursor.position = m_project->length();
        transport::prepareToPlay(*m_project, true);
        QVERIFY(!m_project->looping);
        const auto engine = makeEngine();
        const QSignalSpy stopped(engine.get(), &VelaEngine::playbackStopped);
        engine->startPlayback();
        QVERIFY(engine->isPlaying());
        QVERIFY(waitForATick(*engine));
        QCOMPARE(stopped.size(), 1);
        QVERIFY(!engine->isPlaying());
    }

    void aTakeBeginsAtItsFirstSampleWhereverCursorAndPlayHeadAre()
    {
        addSound();
        m_project->cursor.position = 4000;
        const auto engine = makeEngine();
        engine->startPlayback();
        QVERIFY(m_project->play.position > 4000);
        engine->startRecording();
        const TrackHandle take = engine->recordTrack();
        QTRY_COMPARE_WITH_TIMEOUT(take->length(), qint64{kRateHz}, kPatienceMs);
        for (qint64 i = 0; i < kRateHz; ++i)
            QCOMPARE(take->samples[0][i], sampleAt(i));
    }

    // Three blocks reach past the end, and nobody takes them.
    void anEndThatWasMetStaysTheEnd()
    {
        m_output = QSharedPointer<FakeOutputNode>::create();
        // The watchdog and the end lose patience after the same time.
        m_log->tolerate(QtWarningMsg, QStringLiteral("stream stalled silently"));
        const TrackHandle track = m_project->addTrack({}, 1);
        track->samples = {signal_makers::constant(3000, 0.25F)};
        const auto engine = makeEngine();
        QSignalSpy stopped(engine.get(), &VelaEngine::playbackStopped);
        engine->startPlayback();
        QVERIFY(waitForATick(*engine));
        track->samples[0].resize(13000);
        QTRY_COMPARE_WITH_TIMEOUT(stopped.size(), 1, kPatienceMs);
        QCOMPARE(m_project->play.position, 3072);

        engine->startPlayback();
        QCOMPARE(m_project->play.position, 13 * 1024);
        engine->stopPlayback();
    }

    void microphoneThatIsConnectedLaterIsFound()
    {
        const auto microphones = [] { return DeviceManager::instance().audioInputs().size(); };
        const auto engine = makeEngine();
        QVERIFY(m_server.unloadSource("mic"));
        QTRY_COMPARE_WITH_TIMEOUT(microphones(), 0, kPatienceMs);
        for (int i = 0; i < 2; ++i) {
            engine->startRecording();
            QVERIFY(!engine->isRecording());
        }
        QVERIFY(m_project->tracks.isEmpty());
        QCOMPARE(m_log->take(QtWarningMsg, "VelaEngine: cannot record — no input device"), 2);
        QVERIFY(m_server.loadSource("mic"));
        QTRY_COMPARE_WITH_TIMEOUT(microphones(), 1, kPatienceMs);
        engine->startRecording();
        QVERIFY(engine->isRecording());
        QTRY_COMPARE_WITH_TIMEOUT(engine->recordTrack()->length(), qint64{kRateHz}, kPatienceMs);
    }

    void rebuildsAreToldWhenTheirCategoryIsOn()
    {
        QLoggingCategory::setFilterRules("vela.engine.devices.debug=true");
        const auto engine = makeEngine();
        engine->startRecording();
        engine->startPlayback();
        m_input->rebuildSource();
        m_output->rebuildSink();
        const auto told = [this](const QString& line) {
            return m_log->texts(QtDebugMsg).contains(line);
        };
        QTRY_VERIFY_WITH_TIMEOUT(told("VelaEngine: input device rebuilt 0"), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(told("VelaEngine: output device rebuilt 0"), kPatienceMs);
    }

    void neitherSwitchIsOnByItself()
    {
        addSound();
        const auto engine = makeEngine();
        QSignalSpy rebuilds(m_input.data(), &media::audio::AudioNode::deviceRebuilt);
        engine->startRecording();
        engine->startPlayback();
        m_input->rebuildSource();
        QTRY_COMPARE_WITH_TIMEOUT(rebuilds.size(), 1, kPatienceMs);
        engine->stopRecording();
        engine->stopPlayback();
        QVERIFY(m_log->texts(QtDebugMsg).filter("rebuilt").isEmpty());
        QVERIFY(m_log->texts(QtWarningMsg).isEmpty());
    }

    // Fifteen blocks fill the output's ring, nobody takes them: 2047 of its 32767
    // samples are left, one too few for another.
    void firstDiagnosticLineHasTheFirstFill()
    {
        QLoggingCategory::setFilterRules("vela.engine.diagnostics.debug=true");
        addSound();
        const auto engine = makeEngine();
        engine->startPlayback();
        const auto lines = [this] { return m_log->texts(QtWarningMsg); };
        QTRY_VERIFY_WITH_TIMEOUT(!lines().isEmpty(), kPatienceMs);
        QVERIFY2(lines()[0].startsWith("[VELA-DIAG] play=true rec=false | OUT underrun=0 drop=0 "
                                       "headroomSamp=2047 blocks/s=15 | "),
                 qPrintable(lines()[0]));
        engine->stopPlayback();
        m_log->takeContaining(QtWarningMsg, "[VELA-DIAG] ");
    }

    void eitherPumpAloneMeasuresTheLoopsGaps_data()
    {
        QTest::addColumn<bool>("plays");
        QTest::newRow("playing") << true;
        QTest::newRow("recording") << false;
    }

    void eitherPumpAloneMeasuresTheLoopsGaps()
    {
        QFETCH(bool, plays);
        QLoggingCategory::setFilterRules("vela.engine.diagnostics.debug=true");
        addSound();
        const auto engine = makeEngine();
        if (plays)
            engine->startPlayback();
        else
            engine->startRecording();
        QSignalSpy ticks(runningPump(*engine), &QTimer::timeout);
        QVERIFY(ticks.wait(kPatienceMs));
        constexpr int kGapMs = 300;
        QThread::msleep(kGapMs);
        const qsizetype before = ticks.size();
        QTRY_VERIFY_WITH_TIMEOUT(ticks.size() > before, kPatienceMs);
        if (plays)
            engine->stopPlayback();
        else
            engine->stopRecording();
        const QRegularExpression gap("maxLoopGapMs=\"(\\d+\\.\\d)\"$");
        double longest = 0.0;
        const QStringList lines = m_log->texts(QtWarningMsg);
        for (const QString& line : lines)
            longest = std::max(longest, gap.match(line).captured(1).toDouble());
        QVERIFY2(longest >= kGapMs, qPrintable(lines.join('\n')));
        m_log->takeContaining(QtWarningMsg, "[VELA-DIAG] ");
    }

    // The first tick after it has none before it to be measured from.
    void aPauseIsNoGapOfTheLoop()
    {
        QLoggingCategory::setFilterRules("vela.engine.diagnostics.debug=true");
        addSound();
        const auto engine = makeEngine();
        for (int i = 0; i < 2; ++i) {
            engine->startPlayback();
            QVERIFY(waitForATick(*engine));
            engine->stopPlayback();
            QThread::msleep(20);
        }
        const QString last = m_log->texts(QtWarningMsg).constLast();
        QVERIFY2(last.endsWith("maxLoopGapMs=\"0.0\""), qPrintable(last));
        m_log->takeContaining(QtWarningMsg, "[VELA-DIAG] ");
    }

    void anotherProjectBeginsWithFiguresOfItsOwn()
    {
        QLoggingCategory::setFilterRules("vela.engine.diagnostics.debug=true");
        addSound();
        const auto engine = makeEngine();
        engine->startPlayback();
        engine->setProject(VelaProject::create(kRateHz));
        engine->stopPlayback();
        const QStringList lines = m_log->texts(QtWarningMsg);
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines[0].contains(" blocks/s=0 "), qPrintable(lines[0]));
        m_log->takeContaining(QtWarningMsg, "[VELA-DIAG] ");
    }

    void diagnosticLineCountsTheTroubleSinceTheStart_data()
    {
        QTest::addColumn<bool>("plays");
        QTest::newRow("playing") << true;
        QTest::newRow("recording") << false;
    }

    void diagnosticLineCountsTheTroubleSinceTheStart()
    {
        QFETCH(bool, plays);
        QLoggingCategory::setFilterRules("vela.engine.diagnostics.debug=true");
        addSound();
        const auto output = QSharedPointer<TroubledNode<FakeOutputNode>>::create();
        const auto input = QSharedPointer<TroubledNode<FakeInputNode>>::create();
        m_output = output;
        m_input = input;
        const auto engine = makeEngine();
        QVERIFY(engine->ensureAudio());
        output->setTrouble(11, 12);
        input->setTrouble(0, 13);
        if (plays) {
            engine->startPlayback();
            engine->stopPlayback();
        } else {
            engine->startRecording();
            engine->stopRecording();
        }
        const QStringList lines = m_log->texts(QtWarningMsg);
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines[0].contains(" | OUT underrun=0 drop=0 "), qPrintable(lines[0]));
        QVERIFY2(lines[0].contains(" | IN drop=0 "), qPrintable(lines[0]));
        m_log->takeContaining(QtWarningMsg, "[VELA-DIAG] ");
    }

    void diagnosticLineComesEverySecondAndAtTheLastStop()
    {
        QLoggingCategory::setFilterRules("vela.engine.diagnostics.debug=true");
        addSound();
        const auto engine = makeEngine();
        engine->startPlayback();
        engine->startRecording();
        const auto lines = [this] { return m_log->texts(QtWarningMsg); };
        QTRY_VERIFY_WITH_TIMEOUT(lines().size() >= 2, kPatienceMs);
        engine->stopPlayback();
        const qsizetype before = lines().size();
        engine->stopRecording();
        QCOMPARE(lines().size(), before + 1);
        const QRegularExpression running(
            "^\\[VELA-DIAG\\] play=true rec=true \\| OUT underrun=0 drop=0 headroomSamp=\\d+ "
            "blocks/s=\\d+ \\| IN drop=0 backlogSamp=\\d+ \\| maxLoopGapMs=\"\\d+\\.\\d\"$");
        QVERIFY2(running.match(lines()[0]).hasMatch(), qPrintable(lines()[0]));
        const QRegularExpression last(
            "^\\[VELA-DIAG\\] play=false rec=false \\| OUT underrun=0 drop=0 headroomSamp=32767 "
            "blocks/s=0 \\| IN drop=0 backlogSamp=0 \\| maxLoopGapMs=\"\\d+\\.\\d\"$");
        QVERIFY2(last.match(lines().constLast()).hasMatch(), qPrintable(lines().constLast()));
        QTest::qWait(1500);
        QCOMPARE(lines().size(), before + 1);
        m_log->takeContaining(QtWarningMsg, "[VELA-DIAG] ");
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QGuiApplication application(argc, argv);
    TestRecording test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_recording.moc"
