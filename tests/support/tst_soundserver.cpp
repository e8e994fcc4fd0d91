#include "support/signalmakers.h"
#include "support/soundserver.h"

#include <QElapsedTimer>
#include <QTest>

namespace {

constexpr int kPlayTimeoutMs = 20000;
constexpr int kArriveTimeoutMs = 10000;
constexpr qsizetype kFrames = 44100;

/// The same mono signal in both channels.
QList<float> stereo(const QList<float>& mono)
{
    QList<float> both;
    both.reserve(2 * mono.size());
    for (const float sample : mono)
        both << sample << sample;
    return both;
}

} // namespace

/// The tests' own tool must be beyond doubt: what it records is what was played.
class TestSoundServer : public QObject {
    Q_OBJECT

private slots:

    void initTestCase() { QVERIFY(m_server.start()); }

    void captureHoldsExactlyWhatTheSpeakerPlayed()
    {
        const QList<float> played = stereo(signal_makers::counter(kFrames));
        SoundServer::Capture capture(m_server);
        QVERIFY(capture.isRecording());

        SoundServer::Feeder feeder(m_server, played, 2, QStringLiteral("speaker"));
        QVERIFY(feeder.waitUntilPlayed(kPlayTimeoutMs));
        QTRY_COMPARE_WITH_TIMEOUT(capture.sound().size(), played.size(), kArriveTimeoutMs);
        QCOMPARE(capture.sound(), played);
    }

    void feedReachesTheMicrophonesMaster()
    {
        const QList<float> played = stereo(signal_makers::ramp(kFrames, 0.25F, 0.5F));
        SoundServer::Capture capture(m_server, QStringLiteral("micfeed"));
        SoundServer::Feeder feeder(m_server, played);
        QVERIFY(feeder.waitUntilPlayed(kPlayTimeoutMs));
        QTRY_COMPARE_WITH_TIMEOUT(capture.sound(), played, kArriveTimeoutMs);
    }

    void devicesComeAndGo()
    {
        QVERIFY(m_server.unloadSource(QStringLiteral("mic")));
        QVERIFY(!m_server.unloadSource(QStringLiteral("mic")));
        QVERIFY(m_server.loadSource(QStringLiteral("mic")));

        QVERIFY(m_server.loadSink(QStringLiteral("second")));
        QVERIFY(m_server.setDefaultSink(QStringLiteral("second")));
        QVERIFY(m_server.unloadSink(QStringLiteral("second")));
        QVERIFY(!m_server.setDefaultSink(QStringLiteral("second")));
    }

    void aFrozenServerAnswersAgainWhenContinued()
    {
        m_server.stopProcess();
        QVERIFY(m_server.isRunning());
        QCOMPARE(m_server.playbackStreamCount(), -1);
        m_server.continueProcess();
        QTRY_COMPARE_WITH_TIMEOUT(m_server.playbackStreamCount(), 0, kArriveTimeoutMs);
    }

    void captureOfALazySinkHoldsExactlyWhatWasPlayed()
    {
        m_server.kill();
        SoundServer::Options options;
        options.lazySinks = true;
        SoundServer lazy(options);
        QVERIFY(lazy.start());
        const QList<float> played = stereo(signal_makers::counter(kFrames));
        SoundServer::Capture capture(lazy);
        SoundServer::Feeder feeder(lazy, played, 2, QStringLiteral("speaker"));
        QVERIFY(feeder.waitUntilPlayed(kPlayTimeoutMs));
        QTRY_COMPARE_WITH_TIMEOUT(capture.sound(), played, kArriveTimeoutMs);
    }

    void restartedServerIsReachedAtTheSameAddress()
    {
        m_server.kill();
        QVERIFY(!m_server.isRunning());
        QCOMPARE(m_server.playbackStreamCount(), -1);
        QVERIFY(m_server.restart());
        QCOMPARE(m_server.playbackStreamCount(), 0);
    }

private:
    SoundServer m_server;
};

QTEST_GUILESS_MAIN(TestSoundServer)
#include "tst_soundserver.moc"
