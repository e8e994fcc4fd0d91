#include "audioformats.h"
#include "media/audio/audiooutputnode.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "nodeplayer.h"
#include "support/attempts.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "support/soundserver.h"

#include <QAudioDevice>
#include <QCoreApplication>
#include <QTest>

using media::audio::AudioOutputNode;
using media::devices::DeviceManager;

namespace {

constexpr int kPatienceMs = 20000;
constexpr int kHeardMs = 5000; // for what has been played out

} // namespace

/// A sink that takes its time, up to two seconds, before it first pulls, and
/// renders ahead: what is cut too early is never heard.
class TestNodeOnLazySink : public QObject {
    Q_OBJECT

    /// What the sink gets of a sound whose player stops as soon as it counts as played out:
    /// too early, and the stop cuts off what the sink has not asked for yet.
    QList<float> heard(const QList<float>& sound)
    {
        SoundServer::Capture capture(m_server);
        AudioOutputNode node;
        node.configure(DeviceManager::instance().defaultAudioOutput(), stereo(), 8192);
        if (!capture.isRecording() || !node.start())
            return {};
        NodePlayer player(node, sound);
        const bool isPlayedOut = QTest::qWaitFor([&] { return player.isDone(); }, kPatienceMs) &&
                                 QTest::qWaitFor([&] { return node.hasPlayedOut(); }, kPatienceMs);
        node.stop();
        if (!isPlayedOut)
            return {};
        (void)QTest::qWaitFor([&] { return capture.sound().size() >= 2 * sound.size(); }, kHeardMs);
        return capture.sound();
    }

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        QTRY_VERIFY_WITH_TIMEOUT(!DeviceManager::instance().defaultAudioOutput().isNull(),
                                 kPatienceMs);
    }

    void soundIsHeardWholeBeforeItCountsAsPlayedOut_data()
    {
        QTest::addColumn<int>("frames");
        QTest::newRow("a hundredth of a second") << kRateHz / 100;
        QTest::newRow("a tenth of a second") << kRateHz / 10;
        QTest::newRow("the same again, with the sink awake") << kRateHz / 10;
    }

    void soundIsHeardWholeBeforeItCountsAsPlayedOut()
    {
        QFETCH(int, frames);
        const LogCatcher log;
        const QList<float> sound = signal_makers::counter(frames);
        const QList<float> whole = onBothChannels(sound);
        QCOMPARE(bestOfThreeAttempts(whole, [&] { return heard(sound); }), whole);
    }

private:
    SoundServer m_server{
        SoundServer::Options{.rateHz = kRateHz, .withMicrophone = false, .lazySinks = true}};
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestNodeOnLazySink test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_nodeonlazysink.moc"
