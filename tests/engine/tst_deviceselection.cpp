#include "engine/deviceselection.h"
#include "media/audio/audioformats.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/soundserver.h"

#include <QAudioDevice>
#include <QCoreApplication>
#include <QTest>

using media::devices::DeviceManager;

/// Which device is taken on a machine whose default is not the first of its list.
class TestDeviceSelection : public QObject {
    Q_OBJECT

    static constexpr int kPatienceMs = 20000;

    SoundServer m_server{SoundServer::Options{.extraSinks = {QStringLiteral("second")}}};

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        QVERIFY(m_server.setDefaultSink(QStringLiteral("second")));
        DeviceManager& manager = DeviceManager::instance();
        // "micfeed" is one of them.
        QTRY_COMPARE_WITH_TIMEOUT(manager.audioOutputs().size(), 3, kPatienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(manager.defaultAudioOutput().id(), "second", kPatienceMs);
    }

    void theDefaultIsTakenBeforeTheFirstOfTheList()
    {
        QVERIFY(DeviceManager::instance().audioOutputs().constFirst().id() != "second");
        QCOMPARE(device_selection::outputFor(stereo()).id(), "second");
        QCOMPARE(device_selection::inputFor(mono()).id(), "mic");
    }

    void withoutADefaultTheFirstOfTheListIsTaken()
    {
        const QList<QAudioDevice> listed = DeviceManager::instance().audioOutputs();
        const QList<QAudioDevice> backwards(listed.crbegin(), listed.crend());
        QCOMPARE(device_selection::choose({}, listed, stereo()), listed[0]);
        QCOMPARE(device_selection::choose({}, backwards, stereo()), listed[2]);
        QCOMPARE(device_selection::choose(listed[1], listed, stereo()), listed[1]);
        QVERIFY(device_selection::choose({}, {}, stereo()).isNull());
    }

    // A device that is no more supports nothing.
    void whatDoesNotSupportTheFormatIsPassedOver()
    {
        const QList<QAudioDevice> listed = DeviceManager::instance().audioOutputs();
        const QList<QAudioDevice> behindNone{QAudioDevice(), listed[1], listed[0]};
        QCOMPARE(device_selection::choose({}, behindNone, stereo()), listed[1]);
        QVERIFY(device_selection::choose({}, {QAudioDevice()}, stereo()).isNull());
    }

    void aFormatThatNoDeviceSupportsFindsNone()
    {
        QVERIFY(device_selection::outputFor(floatFormat(2, -1)).isNull());
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestDeviceSelection test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_deviceselection.moc"
