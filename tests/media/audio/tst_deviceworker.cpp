#include "fakenode.h"
#include "media/audio/audionode.h"
#include "media/audio/deviceworker.h"
#include "media/devices/mediaplatform.h"
#include "support/soundserver.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QPointer>
#include <QSignalSpy>
#include <QStringList>
#include <QTest>

#include <memory>
#include <mutex>
#include <utility>

using namespace media::audio;

namespace {

/// What happened to the devices, in order.
class Diary {
public:
    void note(const QString& what)
    {
        const std::lock_guard lock(m_lock);
        m_lines << what;
    }

    [[nodiscard]] QStringList lines() const
    {
        const std::lock_guard lock(m_lock);
        return m_lines;
    }

private:
    mutable std::mutex m_lock;
    QStringList m_lines;
};

Diary* diary = nullptr;
Gate* stopping = nullptr;

} // namespace

/// Like the toolkit's device classes it runs events in its destructor.
class EventfulBackend : public QObject {
    Q_OBJECT

public:
    EventfulBackend(const QAudioDevice& /*device*/, const QAudioFormat& format)
        : m_real(format.sampleRate() > 0)
    {
        note("made");
    }

    ~EventfulBackend() override
    {
        QCoreApplication::processEvents();
        note(m_transfer ? "destroyed before its transfer" : "destroyed after its transfer");
    }

    Q_DISABLE_COPY_MOVE(EventfulBackend)

    void start(QIODevice* transfer)
    {
        note("started");
        m_transfer = transfer;
        enter(QAudio::ActiveState);
    }

    void stop()
    {
        note("stopped");
        stopping->pass();
        enter(QAudio::StoppedState);
    }

    [[nodiscard]] QAudio::State state() const { return m_state; }

    [[nodiscard]] QAudio::Error error() const { return QAudio::NoError; }

signals:
    void stateChanged(QAudio::State);

private:
    void note(const char* what) const
    {
        // Another one only makes the toolkit connect.
        if (m_real)
            diary->note(QString::fromLatin1(what));
    }

    void enter(QAudio::State state)
    {
        m_state = state;
        if (m_real)
            emit stateChanged(state);
    }

    const bool m_real;
    QAudio::State m_state = QAudio::StoppedState;
    QPointer<QIODevice> m_transfer;
};

namespace {

constexpr NodeWords kWords{"EventfulNode",        "EventfulBackend",   "device",
                           "rebuildDevice",       "audio-io-eventful", "audio-livewd-eventful",
                           "media.audio.eventful"};

class EventfulWorker : public DeviceWorker<EventfulBackend, QBuffer> {
public:
    explicit EventfulWorker(std::shared_ptr<NodeStream> stream)
        : DeviceWorker(kWords, std::move(stream), QIODevice::ReadOnly, {})
    {
    }

protected:
    [[nodiscard]] std::unique_ptr<QBuffer> makeTransfer() const override
    {
        return std::make_unique<QBuffer>();
    }

    [[nodiscard]] bool isPresent(const QByteArray& /*id*/) const override { return true; }

    [[nodiscard]] QAudioDevice findDevice(const QString& /*key*/) const override
    {
        return configuration().device;
    }

    void followDeviceList() override {}
};

class EventfulNode : public AudioNode {
public:
    EventfulNode()
        : AudioNode(kWords, [](const std::shared_ptr<NodeStream>& stream) {
            return new EventfulWorker(stream);
        })
    {
    }

    void process(const AudioContext& /*block*/) override {}

    using AudioNode::requestRebuild;
};

} // namespace

/// The server only lends a device to name.
class TestDeviceWorker : public QObject {
    Q_OBJECT

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        QTRY_VERIFY_WITH_TIMEOUT(!device().isNull(), kPatienceMs);
    }

    void init()
    {
        m_diary = std::make_unique<Diary>();
        m_stopping = std::make_unique<Gate>();
        diary = m_diary.get();
        stopping = m_stopping.get();
    }

    void stopThatComesInTheMiddleOfARebuildWaitsForItsEnd()
    {
        EventfulNode node;
        configure(node);
        QVERIFY(node.start());
        m_stopping->close();
        node.requestRebuild();
        const QStringList untilStopped{"made", "started", "stopped"};
        QTRY_COMPARE_WITH_TIMEOUT(m_diary->lines(), untilStopped, kPatienceMs);
        node.requestStop();
        m_stopping->open();
        QVERIFY(node.waitUntilIdle(QDeadlineTimer(kPatienceMs)));
        QCOMPARE(m_diary->lines().mid(3, 3), (QStringList{"made", "started", "stopped"}));
    }

    void nothingIsHeardOfTheDeviceThatARebuildReplaces()
    {
        EventfulNode node;
        configure(node);
        QVERIFY(node.start());
        QSignalSpy states(&node, &AudioNode::deviceStateChanged);
        QSignalSpy rebuilds(&node, &AudioNode::deviceRebuilt);
        node.requestRebuild();
        QTRY_COMPARE_WITH_TIMEOUT(rebuilds.size(), 1, kPatienceMs);
        QVERIFY(m_diary->lines().mid(2).startsWith("stopped"));
        for (const QList<QVariant>& change : std::as_const(states))
            QCOMPARE(change.at(0).value<QAudio::State>(), QAudio::ActiveState);
    }

    void deviceDiesBeforeItsTransferOnceTheNodeIsGone()
    {
        {
            EventfulNode node;
            configure(node);
            QVERIFY(node.start());
        }
        QCOMPARE(m_diary->lines(),
                 (QStringList{"made", "started", "stopped", "destroyed before its transfer"}));
    }

private:
    SoundServer m_server;
    std::unique_ptr<Diary> m_diary;
    std::unique_ptr<Gate> m_stopping;
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestDeviceWorker test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_deviceworker.moc"
