#include "engine/mixer.h"
#include "engine/transport.h"
#include "engine/velaengine.h"
#include "media/audio/audioformats.h"
#include "media/audio/warmup.h"
#include "media/devices/mediaplatform.h"
#include "support/attempts.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "support/soundserver.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <memory>

/// The engine on a real sound server: what is asked for is what is heard.
class TestVelaEngine : public QObject {
    Q_OBJECT

private:
    static constexpr int kPlaybackTimeoutMs = 20000;

    std::unique_ptr<SoundServer> m_server;
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<VelaEngine> m_engine;
    ProjectHandle m_project;

    static QList<float> interleave(const QList<float>& left, const QList<float>& right)
    {
        QList<float> both;
        both.reserve(2 * left.size());
        for (qsizetype i = 0; i < left.size(); ++i)
            both << left[i] << right[i];
        return both;
    }

    TrackHandle addTrack(const QList<QList<float>>& channels)
    {
        const TrackHandle track = m_project->addTrack({}, static_cast<int>(channels.size()));
        track->samples = channels;
        return track;
    }

    [[nodiscard]] bool playToTheEnd()
    {
        QSignalSpy stopped(m_engine.get(), &VelaEngine::playbackStopped);
        m_engine->startPlayback();
        return stopped.wait(kPlaybackTimeoutMs);
    }

    /// What the loudspeaker got while the project played from cursor to end.
    QList<float> heardOnce()
    {
        const SoundServer::Capture capture(*m_server);
        (void)playToTheEnd();
        m_engine->stopPlayback();
        return capture.sound();
    }

    void requireHeard(const QList<float>& expected)
    {
        compareSound(bestOfThreeAttempts(expected, [this] { return heardOnce(); }), expected);
    }

    /// Plays the track until it is well under way, and stops.
    void playTheBeginning()
    {
        QSignalSpy monitored(m_engine.get(), &VelaEngine::monitor);
        m_engine->startPlayback();
        (void)QTest::qWaitFor([&] { return monitored.count() > 20; }, kPlaybackTimeoutMs);
        m_engine->stopPlayback();
        (void)QTest::qWaitFor([&] { return m_server->playbackStreamCount() == 0; },
                              kPlaybackTimeoutMs);
    }

    /// The first samples of what is heard from the cursor on.
    QList<float> beginningHeard(qsizetype samples)
    {
        const SoundServer::Capture capture(*m_server);
        m_engine->startPlayback();
        (void)QTest::qWaitFor([&] { return capture.sound().size() > samples; }, kPlaybackTimeoutMs);
        m_engine->stopPlayback();
        return capture.sound().first(std::min(samples, capture.sound().size()));
    }

    struct SoundAndBlocks {
        QList<float> sound;
        qsizetype blocksBefore = 0; ///< mixed when the second track came
    };

    /// What is heard of a track to which another one is added when it is under way.
    SoundAndBlocks heardWithATrackAdded()
    {
        m_project = VelaProject::create();
        m_engine->setProject(m_project);
        addTrack({signal_makers::constant(88200, 0.25F)});
        const SoundServer::Capture capture(*m_server);
        QSignalSpy stopped(m_engine.get(), &VelaEngine::playbackStopped);
        QSignalSpy monitored(m_engine.get(), &VelaEngine::monitor);
        m_engine->startPlayback();
        (void)QTest::qWaitFor([&] { return monitored.count() > 20; }, kPlaybackTimeoutMs);
        const qsizetype blocksBefore = monitored.count();
        addTrack({signal_makers::constant(88200, 0.5F)});
        (void)QTest::qWaitFor([&] { return stopped.count() > 0; }, kPlaybackTimeoutMs);
        m_engine->stopPlayback();
        return {capture.sound(), blocksBefore};
    }

    /// Nothing of what was fed is on its way to the microphone any more.
    [[nodiscard]] bool isMicrophoneSilent() const
    {
        SoundServer::Capture capture(*m_server, QStringLiteral("micfeed"));
        return m_server->playbackStreamCount() == 0 && capture.isRecording() &&
               capture.sound().isEmpty();
    }

    /// What a take has of a sound that is played into the microphone, from its first
    /// sample on.
    QList<float> recordedOf(const QList<float>& spoken)
    {
        (void)QTest::qWaitFor([this] { return isMicrophoneSilent(); }, kPlaybackTimeoutMs);
        m_engine->startRecording();
        const TrackHandle take = m_engine->recordTrack();
        if (!take)
            return {};
        const auto waitFor = [](const auto& condition) {
            return QTest::qWaitFor(condition, kPlaybackTimeoutMs);
        };
        QList<float> recorded;
        if (waitFor([&] { return take->length() > 0; })) {
            const SoundServer::Feeder feeder(*m_server, interleave(spoken, spoken));
            (void)waitFor([&] { return take->samples[0].contains(spoken.constLast()); });
            const qsizetype start = take->samples[0].indexOf(spoken.constFirst());
            recorded = take->samples[0].mid(std::max(qsizetype{0}, start), spoken.size());
        }
        m_engine->stopRecording();
        const int overflows = m_log->takeContaining(
            QtWarningMsg, QStringLiteral("AudioInputNode: capture ring OVERFLOW"));
        return overflows > 0 ? QList<float>() : recorded;
    }

    static void compareSound(const QList<float>& heard, const QList<float>& expected)
    {
        QCOMPARE(heard.size(), expected.size());
        const auto difference = std::mismatch(heard.cbegin(), heard.cend(), expected.cbegin());
        QVERIFY2(difference.first == heard.cend(),
                 qPrintable(QStringLiteral("first difference at sample %1")
                                .arg(difference.first - heard.cbegin())));
    }

private slots:

    void initTestCase()
    {
        m_server = std::make_unique<SoundServer>();
        QVERIFY(m_server->start());
        QVERIFY(isAudioWarm());
    }

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_engine = std::make_unique<VelaEngine>();
        m_project = VelaProject::create();
        m_engine->setProject(m_project);
    }

    void cleanup()
    {
        m_engine.reset();
        m_project.reset();
        m_log.reset();
    }

    void cleanupTestCase() { m_server.reset(); }

    void signalsStandInTheirOrder()
    {
        const QMetaObject& meta = VelaEngine::staticMetaObject;
        QStringList found;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            if (meta.method(i).methodType() == QMetaMethod::Signal)
                found.append(QString::fromLatin1(meta.method(i).methodSignature()));
        }
        QCOMPARE(found.first(5),
                 (QStringList{"positionChanged()", "playbackStopped()", "structureChanged()",
                              "deviceLost(QString)", "monitor(QList<float>,QList<float>)"}));
    }

    void operationsWithoutAProjectDoNothing()
    {
        m_engine->setProject({});
        m_engine->startPlayback();
        QVERIFY(!m_engine->isPlaying());
        m_engine->startRecording();
        QVERIFY(!m_engine->isRecording());
        m_engine->stopPlayback();
        m_engine->stopRecording();
        QCOMPARE(m_log->take(QtWarningMsg,
                             QStringLiteral("VelaEngine: cannot record — no input device")),
                 1);
    }

    void playsEveryFrameBitForBit()
    {
        const QList<float> left = signal_makers::counter(70000);
        const QList<float> right = signal_makers::counter(70000, 80000);
        addTrack({left, right});
        requireHeard(interleave(left, right));
    }

    void stopsByItselfAtTheEndAndSaysSoOnce()
    {
        addTrack({signal_makers::counter(70000)});
        QList<QByteArray> order;
        connect(m_engine.get(), &VelaEngine::playbackStopped, this, [&] { order << "stopped"; });
        connect(m_engine.get(), &VelaEngine::positionChanged, this, [&] { order << "position"; });

        QVERIFY(playToTheEnd());
        QCOMPARE(order, (QList<QByteArray>{"stopped", "position"}));
        QVERIFY(!m_engine->isPlaying());
        QVERIFY(!m_project->playing);
        QCOMPARE(m_project->play.name, "cursor");
    }

    // What the device asks for until the last of it is heard is not missing.
    void theEndOfAProjectIsNoUnderrun()
    {
        QLoggingCategory::setFilterRules("vela.engine.diagnostics.debug=true");
        m_engine = std::make_unique<VelaEngine>();
        QLoggingCategory::setFilterRules({});
        m_engine->setProject(m_project);
        addTrack({signal_makers::counter(70000)});
        QVERIFY(inThreeAttempts([this] {
            (void)playToTheEnd();
            return m_log->texts(QtWarningMsg).constLast().contains("| OUT underrun=0 drop=0 ");
        }));
        m_log->takeContaining(QtWarningMsg, "[VELA-DIAG] ");
    }

    void playsAShortSoundWhole()
    {
        const QList<float> blip = signal_makers::counter(4410);
        addTrack({blip});
        requireHeard(interleave(blip, blip));
    }

    void startsAtTheCursor()
    {
        const QList<float> samples = signal_makers::counter(30000);
        addTrack({samples});
        m_project->cursor.position = 12345;
        const QList<float> rest = samples.mid(12345);
        requireHeard(interleave(rest, rest));
    }

    void stopsAtTheSelectionsFarEndRoundedUpToABlock()
    {
        const QList<float> samples = signal_makers::counter(60000);
        addTrack({samples});
        m_project->selectionStart = 9000;
        m_project->selectionEnd = 2000;
        transport::prepareToPlay(*m_project, false);
        const QList<float> part = samples.mid(2000, 7 * mixer::kBlockFrames);
        requireHeard(interleave(part, part));
    }

    void startingAgainPlaysNothingOfTheTimeBefore()
    {
        const QList<float> before = signal_makers::constant(441000, 0.75F);
        const QList<float> other = signal_makers::counter(20000);
        const TrackHandle track = addTrack({before});
        const QList<float> expected = interleave(other, other);
        const QList<float> heard = bestOfThreeAttempts(expected, [&] {
            track->samples[0] = before;
            playTheBeginning();
            track->samples[0] = other;
            return heardOnce();
        });
        compareSound(heard, expected);
    }

    void soundsOnlyWhatIsSoloedOrNotMuted()
    {
        const QList<float> a = signal_makers::constant(8192, 0.5F);
        const QList<float> b = signal_makers::constant(8192, 0.25F);
        const TrackHandle first = addTrack({a});
        const TrackHandle second = addTrack({b});
        first->muted = true;
        requireHeard(interleave(b, b));
        first->solo = true;
        requireHeard(interleave(a, a));
        first->solo = false;
        second->muted = true;
        requireHeard({});
    }

    void clipsTwoFullScaleTracks()
    {
        const QList<float> full = signal_makers::constant(8192, 0.875F);
        addTrack({full});
        addTrack({full});
        const QList<float> one = signal_makers::constant(8192, 1.0F);
        requireHeard(interleave(one, one));
    }

    void aMutedProjectStillAdvancesAndMonitors()
    {
        addTrack({signal_makers::constant(10 * mixer::kBlockFrames, 0.5F)})->muted = true;
        QSignalSpy monitored(m_engine.get(), &VelaEngine::monitor);
        QVERIFY(playToTheEnd());
        QCOMPARE(monitored.count(), 10);
        QCOMPARE(m_project->play.position, 10 * mixer::kBlockFrames);
        const auto left = monitored.constLast()[0].value<QList<float>>();
        QCOMPARE(left, QList<float>(mixer::kBlockFrames, 0.0F));
    }

    void monitorsWhatIsPlayedAfterClipping()
    {
        addTrack({signal_makers::constant(mixer::kBlockFrames, 1.5F),
                  signal_makers::constant(mixer::kBlockFrames, -0.5F)});
        QSignalSpy monitored(m_engine.get(), &VelaEngine::monitor);
        QVERIFY(playToTheEnd());
        QCOMPARE(monitored.count(), 1);
        QCOMPARE(monitored[0][0].value<QList<float>>(), QList<float>(1024, 1.0F));
        QCOMPARE(monitored[0][1].value<QList<float>>(), QList<float>(1024, -0.5F));
    }

    void anEmptyLoopAtTheEndStopsAtTheFirstTick()
    {
        addTrack({signal_makers::counter(5000)});
        m_project->cursor.position = 5000;
        transport::prepareToPlay(*m_project, true);
        QSignalSpy monitored(m_engine.get(), &VelaEngine::monitor);
        QVERIFY(playToTheEnd());
        QCOMPARE(monitored.count(), 0);
    }

    void loopsWithTheRemainderCarriedOver()
    {
        const QList<float> samples = signal_makers::counter(50000);
        addTrack({samples});
        m_project->selectionStart = 10000;
        m_project->selectionEnd = 13000;
        transport::prepareToPlay(*m_project, true);
        constexpr qsizetype kSamples = 2 * 44100;
        QList<float> expected;
        qint64 position = 10000;
        while (expected.size() < kSamples) {
            const QList<float> block = samples.mid(position, mixer::kBlockFrames);
            expected += interleave(block, block);
            position += mixer::kBlockFrames;
            if (position >= 13000)
                position = 10000 + (position - 13000) % 3000;
        }
        expected.resize(kSamples);
        compareSound(bestOfThreeAttempts(expected, [&] { return beginningHeard(kSamples); }),
                     expected);
    }

    void aTrackAddedWhilePlayingIsHeardFromTheNextBlock()
    {
        constexpr qsizetype kBlockSamples = 2 * mixer::kBlockFrames;
        SoundAndBlocks heard;
        // A gap moves what comes after it.
        (void)inThreeAttempts([&] {
            heard = heardWithATrackAdded();
            return heard.sound.size() == 2 * 88200 &&
                   heard.sound.indexOf(0.75F) == heard.blocksBefore * kBlockSamples;
        });
        QCOMPARE(heard.sound.size(), 2 * 88200);
        QCOMPARE(heard.sound.constFirst(), 0.25F);
        QCOMPARE(heard.sound.constLast(), 0.75F);
        QCOMPARE(heard.sound.indexOf(0.75F), heard.blocksBefore * kBlockSamples);
    }

    void anotherSampleRateSelectsTheDevicesAnew()
    {
        QVERIFY(m_engine->ensureAudio());
        QCOMPARE(m_engine->outputFormat().sampleRate(), 44100);
        QSignalSpy changed(m_engine.get(), &VelaEngine::outputFormatChanged);
        QVERIFY(m_engine->ensureAudio());
        QCOMPARE(changed.count(), 0);
        m_project->sampleRate = 48000;
        QVERIFY(m_engine->ensureAudio());
        QCOMPARE(m_engine->outputFormat().sampleRate(), 48000);
        QCOMPARE(m_engine->outputFormat().channelCount(), 2);
        QCOMPARE(m_engine->outputFormat().channelConfig(), QAudioFormat::ChannelConfigStereo);
        QCOMPARE(m_engine->outputFormat().sampleFormat(), QAudioFormat::Float);
    }

    void anotherRateWhileRecordingLeavesTheTakeRunning()
    {
        addTrack({signal_makers::counter(4410)});
        m_engine->startRecording();
        const TrackHandle take = m_engine->recordTrack();
        QTRY_VERIFY_WITH_TIMEOUT(take->length() > 0, kPlaybackTimeoutMs);
        m_project->sampleRate = 48000;
        m_engine->startPlayback();
        QVERIFY(m_engine->isPlaying());
        QCOMPARE(m_engine->outputFormat().sampleRate(), 48000);
        const qint64 captured = take->length();
        QTRY_VERIFY_WITH_TIMEOUT(take->length() > captured + 4410, kPlaybackTimeoutMs);
        QVERIFY(m_engine->isRecording());
    }

    void aRateThatNoDeviceSupportsDoesNotStart()
    {
        QVERIFY(m_engine->ensureAudio());
        addTrack({signal_makers::counter(4410)});
        m_project->sampleRate = -1;
        for (int i = 0; i < 2; ++i) {
            m_engine->startPlayback();
            QVERIFY(!m_engine->isPlaying());
        }
        const QString unsupported = QStringLiteral("VelaEngine: no audio output device supports ") +
                                    printed(floatFormat(2, -1));
        QCOMPARE(m_log->take(QtWarningMsg, unsupported), 2);
        m_engine->startRecording();
        QVERIFY(!m_engine->isRecording());
        QCOMPARE(m_log->takeContaining(QtWarningMsg, QStringLiteral("cannot record")), 1);
        m_log->take(QtWarningMsg, unsupported);
    }

    void recordingAddsAMonoTrackAndMarksTheProject()
    {
        QSignalSpy structure(m_engine.get(), &VelaEngine::structureChanged);
        m_engine->startRecording();
        QVERIFY(m_engine->isRecording());
        QVERIFY(m_project->recording);
        QCOMPARE(structure.count(), 1);
        const TrackHandle take = m_engine->recordTrack();
        QCOMPARE(take->name, "Recording");
        QCOMPARE(take->channels, 1);
        QTRY_VERIFY_WITH_TIMEOUT(take->length() > 0, kPlaybackTimeoutMs);
        m_engine->stopRecording();
        QVERIFY(!m_project->recording);
        QVERIFY(m_engine->recordTrack().isNull());
        QCOMPARE(m_project->taintedBy, "record");
    }

    void recordsWhatTheMicrophoneHearsInOrder()
    {
        const QList<float> spoken = signal_makers::counter(60000);
        compareSound(bestOfThreeAttempts(spoken, [&] { return recordedOf(spoken); }), spoken);
    }

    void aSecondTakeBeginsAfreshOnATrackOfItsOwn()
    {
        m_engine->startRecording();
        const TrackHandle first = m_engine->recordTrack();
        SoundServer::Feeder feeder(*m_server, QList<float>(2 * 88200, 0.5F));
        const auto heardIt = [&] { return first->samples[0].contains(0.5F); };
        QTRY_VERIFY_WITH_TIMEOUT(heardIt(), kPlaybackTimeoutMs);
        m_engine->stopRecording();
        QVERIFY(feeder.waitUntilPlayed(kPlaybackTimeoutMs));
        QTRY_VERIFY_WITH_TIMEOUT(isMicrophoneSilent(), kPlaybackTimeoutMs);

        m_engine->startRecording();
        const TrackHandle second = m_engine->recordTrack();
        QVERIFY(second != first);
        QTRY_VERIFY_WITH_TIMEOUT(second->length() > 4410, kPlaybackTimeoutMs);
        m_engine->stopRecording();
        QVERIFY(!second->samples[0].contains(0.5F));
        QCOMPARE(m_project->tracks.size(), 2);
    }

    void rolesAreAnnouncedOnlyOnceInTheProcess()
    {
        QVERIFY(m_engine->ensureAudio());
        QVERIFY(
            m_log->texts(QtDebugMsg).filter(QStringLiteral("AudioSystem initialized")).isEmpty());
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QGuiApplication application(argc, argv);
    TestVelaEngine test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_velaengine.moc"
