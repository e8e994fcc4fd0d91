#include "audioformats.h"
#include "media/audio/inputworker.h"
#include "media/audio/outputworker.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/soundserver.h"

#include <QCoreApplication>
#include <QTest>

#include <memory>

using media::audio::NodeStream;
using media::audio::NodeWords;
using media::audio::OutputShare;
using media::audio::OutputWorker;
using media::devices::DeviceManager;

namespace {

constexpr int kPatienceMs = 20000;

QStringList listed(const NodeWords& words)
{
    return {words.node,   words.backend, words.noun,    words.rebuild,
            words.thread, words.ticker,  words.category};
}

/// Notes what buffer each start asks its sink for, and at what volume.
class WatchedWorker : public OutputWorker {
public:
    using OutputWorker::OutputWorker;

    QList<qsizetype> bufferBytes;
    QList<qreal> volumes;

protected:
    void beforeStart(QAudioSink& sink) override
    {
        OutputWorker::beforeStart(sink);
        bufferBytes << sink.bufferSize();
        volumes << sink.volume();
    }
};

} // namespace

/// The device's side of an output node, on this thread.
class TestOutputWorker : public QObject {
    Q_OBJECT

    SoundServer m_server{SoundServer::Options{.rateHz = kRateHz, .withMicrophone = false}};

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        QTRY_VERIFY_WITH_TIMEOUT(!DeviceManager::instance().defaultAudioOutput().isNull(),
                                 kPatienceMs);
    }

    void threadsAndLogsAreNamedAfterTheirNode()
    {
        QCOMPARE(listed(media::audio::outputWords()),
                 (QStringList{"AudioOutputNode", "QAudioSink", "sink", "rebuildSink",
                              "audio-io-out", "audio-livewd-out", "media.audio.output"}));
        QCOMPARE(listed(media::audio::inputWords()),
                 (QStringList{"AudioInputNode", "QAudioSource", "source", "rebuildSource",
                              "audio-io-in", "audio-livewd-in", "media.audio.input"}));
    }

    void everyStartAsksTheSinkForItsBuffer_data()
    {
        QTest::addColumn<quint64>("ringFrames");
        QTest::addColumn<qsizetype>("configured");
        QTest::addColumn<qsizetype>("rebuilt");
        QTest::newRow("8192 frames") << quint64{8192} << qsizetype{16384} << qsizetype{16384};
        QTest::newRow("2048 frames") << quint64{2048} << qsizetype{8192} << qsizetype{4096};
    }

    void everyStartAsksTheSinkForItsBuffer()
    {
        QFETCH(quint64, ringFrames);
        QFETCH(qsizetype, configured);
        QFETCH(qsizetype, rebuilt);
        WatchedWorker worker(std::make_shared<NodeStream>(), std::make_shared<OutputShare>());
        QVERIFY(worker.configure(
            {DeviceManager::instance().defaultAudioOutput(), stereo(), ringFrames}));
        QVERIFY(worker.start());
        worker.stop();
        QVERIFY(worker.start());
        worker.rebuild();
        worker.tearDown();
        QCOMPARE(worker.bufferBytes, (QList<qsizetype>{configured, configured, rebuilt}));
    }

    void everySinkHasTheRememberedVolume()
    {
        const auto share = std::make_shared<OutputShare>();
        share->volume = 0.5F;
        WatchedWorker worker(std::make_shared<NodeStream>(), share);
        QVERIFY(worker.configure({DeviceManager::instance().defaultAudioOutput(), stereo(), 8192}));
        QVERIFY(worker.start());
        worker.rebuild();
        worker.tearDown();
        QCOMPARE(worker.volumes, (QList<qreal>{0.5, 0.5}));
    }
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestOutputWorker test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_outputworker.moc"
