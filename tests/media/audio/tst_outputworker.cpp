#include "audioformats.h"
#include "media/audio/outputworker.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/soundserver.h"

#include <QCoreApplication>
#include <QTest>

#include <memory>

using media::audio::NodeStream;
using media::audio::OutputShare;
using media::audio::OutputWorker;
using media::devices::DeviceManager;

namespace {

constexpr int kPatienceMs = 20000;

/// Notes what buffer each start asks its sink for.
class WatchedWorker : public OutputWorker {
public:
    using OutputWorker::OutputWorker;

    QList<qsizetype> bufferBytes;

protected:
    void beforeStart(QAudioSink& sink) override
    {
        OutputWorker::beforeStart(sink);
        bufferBytes << sink.bufferSize();
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
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestOutputWorker test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_outputworker.moc"
