#include "media/audio/audiosystem.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using media::audio::AudioCharacteristic;
using media::audio::AudioCharacteristics;
using media::audio::AudioSystem;

namespace {

constexpr int kPatienceMs = 20000;

} // namespace

/// A machine without any device at the first start.
class TestAudioSystemSilent : public QObject {
    Q_OBJECT

    SoundServer m_server{{.withSpeaker = false, .withMicrophone = false, .extraSinks = {}}};
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void initTestCase() { QVERIFY(m_server.start()); }

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void withoutDevicesTheRolesStayUnassignedAndTheLineSaysNone()
    {
        AudioSystem& system = AudioSystem::instance();
        QSignalSpy assigned(&system, &AudioSystem::assignmentChanged);
        QSignalSpy initialized(&system, &AudioSystem::initialized);
        system.initialize();
        QCOMPARE(m_log->take(QtDebugMsg, "AudioSystem initialized with 0 outputs, 0 inputs"), 1);
        QCOMPARE(assigned.size(), 0);
        QCOMPARE(initialized.size(), 1);
        AudioCharacteristics& characteristics = AudioCharacteristics::instance();
        QVERIFY(!characteristics.isAssigned(AudioCharacteristic::AudioOutputRole));
        QVERIFY(!characteristics.isAssigned(AudioCharacteristic::AudioInputRole));
    }

    void aDeviceThatComesLaterIsAnnouncedButGetsNoRole()
    {
        AudioSystem& system = AudioSystem::instance();
        QSignalSpy changed(&system, &AudioSystem::devicesChanged);
        QVERIFY(m_server.loadSink("late"));
        QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, kPatienceMs);
        system.initialize();
        QVERIFY(!AudioCharacteristics::instance().isAssigned(AudioCharacteristic::AudioOutputRole));
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestAudioSystemSilent test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_audiosystemsilent.moc"
