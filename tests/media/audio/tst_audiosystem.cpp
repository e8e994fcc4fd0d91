#include "media/audio/audiosystem.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <memory>

using media::audio::AudioCharacteristic;
using media::audio::AudioCharacteristics;
using media::audio::AudioSystem;
using media::devices::DeviceManager;

namespace {

constexpr int kPatienceMs = 20000;
constexpr auto kInitialized = "AudioSystem initialized with 2 outputs, 1 inputs";

QList<int> roles(const QSignalSpy& spy)
{
    QList<int> found;
    for (const QList<QVariant>& arguments : spy)
        found.append(static_cast<int>(arguments.constFirst().value<AudioCharacteristic>()));
    return found;
}

} // namespace

/// One process, one system: the tests stand in the order of its life.
class TestAudioSystem : public QObject {
    Q_OBJECT

    SoundServer m_server;
    std::unique_ptr<LogCatcher> m_log;

    /// What there is of the system's beginning when one of its signals comes.
    [[nodiscard]] QString doneAt(const QString& signal) const
    {
        const AudioSystem& system = AudioSystem::instance();
        const AudioCharacteristics& characteristics = AudioCharacteristics::instance();
        QStringList done{signal};
        if (characteristics.isAssigned(AudioCharacteristic::AudioOutputRole))
            done << "output";
        if (characteristics.isAssigned(AudioCharacteristic::AudioInputRole))
            done << "input";
        if (system.isInitialized())
            done << "flag";
        if (m_log->texts(QtDebugMsg).contains(kInitialized))
            done << "line";
        return done.join(QLatin1Char(' '));
    }

private slots:

    void initTestCase() { QVERIFY(m_server.start()); }

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void aRoleIsOneByteAlsoInAStream()
    {
        QCOMPARE(sizeof(AudioCharacteristic), std::size_t{1});
        QCOMPARE(static_cast<int>(AudioCharacteristic::AudioOutputRole), 0);
        QCOMPARE(static_cast<int>(AudioCharacteristic::AudioInputRole), 1);

        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out << AudioCharacteristic::AudioOutputRole << AudioCharacteristic::AudioInputRole;
        QCOMPARE(bytes, QByteArray("\x00\x01", 2));
        QDataStream in(bytes);
        AudioCharacteristic first{};
        AudioCharacteristic second{};
        in >> first >> second;
        QCOMPARE(first, AudioCharacteristic::AudioOutputRole);
        QCOMPARE(second, AudioCharacteristic::AudioInputRole);
        QVERIFY(QMetaType::fromType<AudioCharacteristic>().hasRegisteredDataStreamOperators());
    }

    void beforeInitializationNoRoleIsAssigned()
    {
        QVERIFY(!AudioSystem::instance().isInitialized());
        AudioCharacteristics& characteristics = AudioCharacteristics::instance();
        QCOMPARE(&characteristics, &AudioSystem::instance().characteristics());
        QVERIFY(!characteristics.isAssigned(AudioCharacteristic::AudioOutputRole));
        QVERIFY(!characteristics.isAssigned(AudioCharacteristic::AudioInputRole));
    }

    void anEmptyRecordIsNoAssignment()
    {
        AudioCharacteristics& characteristics = AudioCharacteristics::instance();
        const auto& record = characteristics.assignment(AudioCharacteristic::AudioInputRole);
        QVERIFY(record.deviceId.isEmpty() && record.deviceName.isEmpty() && !record.valid);
        QVERIFY(!characteristics.isAssigned(AudioCharacteristic::AudioInputRole));
    }

    void initializeAssignsTheFirstDevicesAndSaysSo()
    {
        AudioSystem& system = AudioSystem::instance();
        AudioCharacteristics& characteristics = AudioCharacteristics::instance();
        QSignalSpy assigned(&system, &AudioSystem::assignmentChanged);
        QSignalSpy assignedAtTheSource(&characteristics, &AudioCharacteristics::assignmentChanged);
        QSignalSpy initialized(&system, &AudioSystem::initialized);
        QSignalSpy changed(&system, &AudioSystem::devicesChanged);
        QStringList done;
        const QObject context;
        connect(&system, &AudioSystem::assignmentChanged, &context,
                [&] { done << doneAt("assigned:"); });
        connect(&system, &AudioSystem::initialized, &context,
                [&] { done << doneAt("initialized:"); });
        system.initialize();

        QCOMPARE(done, (QStringList{"assigned: output", "assigned: output input",
                                    "initialized: output input flag line"}));
        QVERIFY(system.isInitialized());
        QCOMPARE(roles(assigned), (QList<int>{0, 1}));
        QCOMPARE(roles(assignedAtTheSource), (QList<int>{0, 1}));
        QCOMPARE(initialized.size(), 1);
        QCOMPARE(changed.size(), 0);
        QCOMPARE(m_log->take(QtDebugMsg, kInitialized), 1);

        DeviceManager& manager = DeviceManager::instance();
        const auto output = characteristics.assignment(AudioCharacteristic::AudioOutputRole);
        QCOMPARE(output.role, AudioCharacteristic::AudioOutputRole);
        QCOMPARE(output.deviceName, manager.audioOutputs().constFirst().description());
        QVERIFY(output.deviceId.isEmpty() && output.valid);
        const auto input = characteristics.assignment(AudioCharacteristic::AudioInputRole);
        QCOMPARE(input.role, AudioCharacteristic::AudioInputRole);
        QCOMPARE(input.deviceName, manager.audioInputs().constFirst().description());
        QVERIFY(input.deviceId.isEmpty() && input.valid);
        QVERIFY(characteristics.isAssigned(AudioCharacteristic::AudioOutputRole));
        QVERIFY(characteristics.isAssigned(AudioCharacteristic::AudioInputRole));
    }

    void initializeAgainDoesNothing()
    {
        AudioSystem& system = AudioSystem::instance();
        QSignalSpy assigned(&system, &AudioSystem::assignmentChanged);
        QSignalSpy initialized(&system, &AudioSystem::initialized);
        system.initialize();
        QCOMPARE(assigned.size(), 0);
        QCOMPARE(initialized.size(), 0);
        QVERIFY(m_log->texts(QtDebugMsg).isEmpty());
    }

    void aDeviceThatComesOrGoesIsAnnouncedOnceAndReassignsNothing()
    {
        AudioSystem& system = AudioSystem::instance();
        QSignalSpy changed(&system, &AudioSystem::devicesChanged);
        QSignalSpy assigned(&system, &AudioSystem::assignmentChanged);
        QVERIFY(m_server.loadSink("extra"));
        QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, kPatienceMs);
        QVERIFY(m_server.unloadSource("mic"));
        QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 2, kPatienceMs);
        QVERIFY(m_server.loadSource("mic"));
        QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 3, kPatienceMs);
        QCOMPARE(assigned.size(), 0);
    }

    void aListenerOnAnotherThreadGetsTheRoleQueued()
    {
        QThread thread;
        QObject listener;
        listener.moveToThread(&thread);
        QSemaphore arrived;
        AudioCharacteristic role{};
        const QThread* where = nullptr;
        QObject::connect(&AudioSystem::instance(), &AudioSystem::assignmentChanged, &listener,
                         [&](AudioCharacteristic changed) {
                             role = changed;
                             where = QThread::currentThread();
                             arrived.release();
                         });
        thread.start();
        emit AudioCharacteristics::instance().assignmentChanged(
            AudioCharacteristic::AudioInputRole);
        const bool came = arrived.tryAcquire(1, 10000);
        thread.quit();
        QVERIFY(thread.wait(10000));
        QVERIFY(came);
        QCOMPARE(role, AudioCharacteristic::AudioInputRole);
        QCOMPARE(where, &thread);
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestAudioSystem test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_audiosystem.moc"
