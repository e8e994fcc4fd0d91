#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QMediaDevices>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <utility>

using media::devices::DeviceManager;

namespace {

/// For a look of the manager's and what follows from it, on a machine that is busy.
constexpr int kPatienceMs = 20000;
/// The toolkit needs some seconds to find a server that came back.
constexpr int kReconnectMs = 15000;
/// Nothing that is asked here may wait for a server that hangs.
constexpr int kNoWaitMs = 5000;

/// Runs on another thread; false if it did not come back in time.
bool onAnotherThread(const std::function<void()>& work)
{
    const std::unique_ptr<QThread> thread(QThread::create(work));
    thread->start();
    return thread->wait(kNoWaitMs);
}

/// For the time between two looks of the manager, which need the event loop.
bool waitWithoutEvents(const std::function<bool()>& condition)
{
    const QDeadlineTimer deadline(kPatienceMs);
    while (!condition() && !deadline.hasExpired())
        QThread::msleep(5);
    return condition();
}

QStringList ids(const QList<QAudioDevice>& devices)
{
    QStringList found;
    for (const QAudioDevice& device : devices)
        found.append(QString::fromUtf8(device.id()));
    return found;
}

QString hexKey(const QByteArray& id)
{
    return QString::fromLatin1(id.toHex());
}

/// Everything that may be asked on any thread.
struct Answers {
    QByteArray outputById;
    QByteArray inputById;
    QByteArray inputByName;
    QAudioDevice outputByAnInputsId;
    QAudioDevice outputByNothing;
    QByteArray defaultOutput;
    bool micIsInput = false;
    bool speakerIsInput = false;
    bool speakerIsOutput = false;
};

Answers ask()
{
    DeviceManager& manager = DeviceManager::instance();
    const QString inputsName = manager.audioInputs().constFirst().description();
    return {.outputById = manager.findAudioOutput(hexKey("micfeed")).id(),
            .inputById = manager.findAudioInput(hexKey("mic")).id(),
            .inputByName = manager.findAudioInput(inputsName.toUpper()).id(),
            .outputByAnInputsId = manager.findAudioOutput(hexKey("mic")),
            .outputByNothing = manager.findAudioOutput(""),
            .defaultOutput = manager.defaultAudioOutput().id(),
            .micIsInput = manager.isInputPresent("mic"),
            .speakerIsInput = manager.isInputPresent("speaker"),
            .speakerIsOutput = manager.isOutputPresent("speaker")};
}

/// The order in which the manager's signals come.
class SignalLog {
public:
    SignalLog()
    {
        DeviceManager& manager = DeviceManager::instance();
        QObject::connect(&manager, &DeviceManager::audioInputsChanged, &m_context,
                         [this] { names.append("inputs"); });
        QObject::connect(&manager, &DeviceManager::audioOutputsChanged, &m_context,
                         [this] { names.append("outputs"); });
        QObject::connect(&manager, &DeviceManager::videoInputsChanged, &m_context,
                         [this] { names.append("video"); });
        QObject::connect(&manager, &DeviceManager::devicesChanged, &m_context,
                         [this] { names.append("devices"); });
    }

    QStringList names;

private:
    QObject m_context;
};

} // namespace

/// One process, one manager, one server: the tests stand in the order of its life.
class TestDeviceManager : public QObject {
    Q_OBJECT

    SoundServer m_server;
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void initTestCase() { QVERIFY(m_server.start()); }

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void offTheMainThreadNothingIsInitializedAndEveryCallWarns()
    {
        bool foundNothing = false;
        QVERIFY(onAnotherThread([&] {
            DeviceManager& manager = DeviceManager::instance();
            manager.initializeAudio();
            foundNothing = manager.audioOutputs().isEmpty();
            foundNothing &= manager.findAudioInput("mic").isNull();
            foundNothing &= !manager.isOutputPresent("speaker");
        }));
        QVERIFY(foundNothing);
        // The dash as it stands in the log: U+00E2, U+0080, U+0094.
        const QString dash = QString(QChar(0xE2)) + QChar(0x80) + QChar(0x94);
        const QString warning =
            "DeviceManager::initializeAudio called off the main thread before any main-thread "
            "initialization " +
            dash +
            " skipping (lookups see an empty device cache until the main thread initializes)";
        QCOMPARE(m_log->take(QtWarningMsg, warning), 4);
        QVERIFY(!DeviceManager::instance().isAudioReady());
    }

    void anInstanceMadeElsewhereBelongsToTheMainThread()
    {
        QCOMPARE(DeviceManager::instance().thread(), QCoreApplication::instance()->thread());
    }

    void initializeFillsTheInputsThenTheOutputs()
    {
        DeviceManager& manager = DeviceManager::instance();
        const SignalLog log;
        manager.initializeAudio();
        QVERIFY(manager.isAudioReady());
        QCOMPARE(log.names, (QStringList{"inputs", "devices", "outputs", "devices"}));
        QCOMPARE(ids(manager.audioOutputs()), (QStringList{"speaker", "micfeed"}));
        QCOMPARE(ids(manager.audioInputs()), QStringList{"mic"});
        QCOMPARE(manager.defaultAudioOutput().id(), "speaker");
    }

    void changesAreLookedForOnceASecond()
    {
        const auto* poll = DeviceManager::instance().findChild<QTimer*>();
        QVERIFY(poll && poll->isActive());
        QCOMPARE(poll->interval(), 1000);
        QSignalSpy looks(poll, &QTimer::timeout);
        QVERIFY(looks.wait(kPatienceMs));
    }

    void initializeAgainChangesNothing()
    {
        const SignalLog log;
        DeviceManager::instance().initializeAudio();
        DeviceManager::instance().onAudioInputsChanged();
        DeviceManager::instance().onAudioOutputsChanged();
        QVERIFY(log.names.isEmpty());
    }

    void devicesAreFoundByIdAndByNameOnAnyThread()
    {
        const Answers here = ask();
        Answers there;
        QVERIFY(onAnotherThread([&] { there = ask(); }));
        for (const Answers& answers : {here, there}) {
            QCOMPARE(answers.outputById, "micfeed");
            QCOMPARE(answers.inputById, "mic");
            QCOMPARE(answers.inputByName, "mic");
            QVERIFY(answers.outputByAnInputsId.isNull());
            QVERIFY(answers.outputByNothing.isNull());
            QCOMPARE(answers.defaultOutput, "speaker");
            QVERIFY(answers.micIsInput);
            QVERIFY(!answers.speakerIsInput);
            QVERIFY(answers.speakerIsOutput);
        }
    }

    void aNameMayDifferInHalfOfItsLettersAndNoMore()
    {
        DeviceManager& manager = DeviceManager::instance();
        const QString name = manager.audioInputs().constFirst().description();
        QVERIFY(!name.contains(QLatin1Char('#')));
        const auto withChanged = [&name](qsizetype letters) {
            return QString(letters, QLatin1Char('#')) + name.mid(letters);
        };
        const qsizetype half = name.size() / 2;
        QCOMPARE(manager.findAudioInput(withChanged(half)).id(), "mic");
        QVERIFY(manager.findAudioInput(withChanged(half + 1)).isNull());
    }

    void aNewOutputIsNoticedAndSignalledOnce()
    {
        DeviceManager& manager = DeviceManager::instance();
        const SignalLog log;
        QElapsedTimer elapsed;
        QVERIFY(m_server.loadSink("extra"));
        elapsed.start();
        QTRY_VERIFY_WITH_TIMEOUT(!log.names.isEmpty(), kPatienceMs);
        qInfo() << "a new device was noticed after" << elapsed.elapsed() << "ms";
        QCOMPARE(ids(manager.audioOutputs()), (QStringList{"speaker", "micfeed", "extra"}));
        // A whole round of looking must find nothing new.
        QTest::qWait(2 * static_cast<int>(DeviceManager::kPollInterval.count()));
        QCOMPARE(log.names, (QStringList{"outputs", "devices"}));
    }

    // A lock that were held meanwhile would make the other thread wait for ever.
    void signalsComeWhenTheListsAreUnlocked()
    {
        DeviceManager& manager = DeviceManager::instance();
        QStringList heard;
        QStringList answered;
        const auto ask = [&](const QString& signal) {
            heard << signal;
            std::promise<void> answer;
            auto arrived = answer.get_future();
            // Left behind when it does not come back.
            std::thread([answer = std::move(answer)]() mutable {
                (void)DeviceManager::instance().audioOutputs();
                (void)DeviceManager::instance().audioInputs();
                answer.set_value();
            }).detach();
            if (arrived.wait_for(std::chrono::milliseconds(kNoWaitMs)) == std::future_status::ready)
                answered << signal;
        };
        const QObject context;
        connect(
            &manager, &DeviceManager::audioOutputsChanged, &context, [&ask] { ask("outputs"); },
            Qt::DirectConnection);
        connect(
            &manager, &DeviceManager::audioInputsChanged, &context, [&ask] { ask("inputs"); },
            Qt::DirectConnection);
        connect(
            &manager, &DeviceManager::devicesChanged, &context, [&ask] { ask("devices"); },
            Qt::DirectConnection);
        QVERIFY(m_server.unloadSource("mic"));
        QTRY_COMPARE_WITH_TIMEOUT(heard, (QStringList{"inputs", "devices"}), kPatienceMs);
        QVERIFY(m_server.loadSource("mic"));
        QTRY_COMPARE_WITH_TIMEOUT(heard.size(), 4, kPatienceMs);
        QVERIFY(m_server.loadSink("other"));
        QTRY_COMPARE_WITH_TIMEOUT(heard.mid(4), (QStringList{"outputs", "devices"}), kPatienceMs);
        QVERIFY(m_server.unloadSink("other"));
        QTRY_COMPARE_WITH_TIMEOUT(heard.size(), 8, kPatienceMs);
        QCOMPARE(answered, heard);
    }

    void unplugAndPlugBetweenTwoLooksIsNoChange()
    {
        DeviceManager& manager = DeviceManager::instance();
        const SignalLog log;
        QVERIFY(m_server.unloadSink("extra"));
        QVERIFY(waitWithoutEvents([&] { return !manager.isOutputPresent("extra"); }));
        QVERIFY(m_server.loadSink("extra"));
        QVERIFY(waitWithoutEvents([&] { return manager.isOutputPresent("extra"); }));
        manager.onAudioOutputsChanged();
        QVERIFY(log.names.isEmpty());
    }

    void aDeviceThatWentIsAbsentAtOnceAndSignalledSoon()
    {
        DeviceManager& manager = DeviceManager::instance();
        const SignalLog log;
        QVERIFY(m_server.unloadSink("extra"));
        QVERIFY(waitWithoutEvents([&] { return !manager.isOutputPresent("extra"); }));
        QVERIFY2(!manager.findAudioOutput(hexKey("extra")).isNull(), "the cache was not read");
        QTRY_COMPARE_WITH_TIMEOUT(log.names, (QStringList{"outputs", "devices"}), kPatienceMs);
        QVERIFY(manager.findAudioOutput(hexKey("extra")).isNull());
    }

    void anInputThatGoesAndComesIsSignalledEachTime()
    {
        DeviceManager& manager = DeviceManager::instance();
        const SignalLog log;
        QVERIFY(m_server.unloadSource("mic"));
        QTRY_COMPARE_WITH_TIMEOUT(log.names, (QStringList{"inputs", "devices"}), kPatienceMs);
        QVERIFY(manager.audioInputs().isEmpty());
        QVERIFY(m_server.loadSource("mic"));
        QTRY_COMPARE_WITH_TIMEOUT(
            log.names, (QStringList{"inputs", "devices", "inputs", "devices"}), kPatienceMs);
        QCOMPARE(ids(manager.audioInputs()), QStringList{"mic"});
    }

    void whatThePlatformAnnouncesIsSignalledAtOnce()
    {
        DeviceManager& manager = DeviceManager::instance();
        auto* const poll = manager.findChild<QTimer*>();
        auto* const platform = manager.findChild<QMediaDevices*>();
        QVERIFY(poll && platform);
        poll->stop();
        const auto pollAgain = qScopeGuard([poll] { poll->start(); });
        const SignalLog log;
        QVERIFY(m_server.loadSink("announced"));
        QVERIFY(waitWithoutEvents([&] { return manager.isOutputPresent("announced"); }));
        QCOMPARE(log.names, QStringList());
        emit platform->audioOutputsChanged();
        QCOMPARE(log.names, (QStringList{"outputs", "devices"}));
        QVERIFY(m_server.unloadSource("mic"));
        QVERIFY(waitWithoutEvents([&] { return !manager.isInputPresent("mic"); }));
        emit platform->audioInputsChanged();
        QCOMPARE(log.names, (QStringList{"outputs", "devices", "inputs", "devices"}));
        QVERIFY(m_server.unloadSink("announced"));
        QVERIFY(waitWithoutEvents([&] { return !manager.isOutputPresent("announced"); }));
        emit platform->audioOutputsChanged();
        QVERIFY(m_server.loadSource("mic"));
        QVERIFY(waitWithoutEvents([&] { return manager.isInputPresent("mic"); }));
        emit platform->audioInputsChanged();
        QCOMPARE(log.names.size(), 8);
    }

    void camerasAreReadWhenAskedFor()
    {
        const SignalLog log;
        DeviceManager::instance().onVideoInputsChanged();
        QCOMPARE(log.names, (QStringList{"video", "devices"}));
        DeviceManager::instance().onVideoInputsChanged();
        QCOMPARE(log.names.size(), 2);
    }

    void aServerThatHangsHoldsNobodyUp()
    {
        m_server.stopProcess();
        Answers there;
        const bool answered = onAnotherThread([&] { there = ask(); });
        QElapsedTimer elapsed;
        elapsed.start();
        DeviceManager::instance().onAudioInputsChanged();
        DeviceManager::instance().onAudioOutputsChanged();
        const qint64 tookMs = elapsed.elapsed();
        m_server.continueProcess();
        QVERIFY(answered);
        QVERIFY(tookMs < kNoWaitMs);
        QCOMPARE(there.outputById, "micfeed");
        QVERIFY(there.speakerIsOutput);
    }

    void afterTheServersRestartDevicesAreFollowedAgainAndListedOnce()
    {
        DeviceManager& manager = DeviceManager::instance();
        QVERIFY(m_server.restart());
        QVERIFY(m_server.loadSink("late"));
        QTRY_VERIFY_WITH_TIMEOUT(manager.isOutputPresent("late"), kReconnectMs);
        QTRY_COMPARE_WITH_TIMEOUT(ids(manager.audioOutputs()),
                                  (QStringList{"speaker", "micfeed", "late"}), kPatienceMs);
        QCOMPARE(ids(manager.audioInputs()), QStringList{"mic"});
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestDeviceManager test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_devicemanager.moc"
