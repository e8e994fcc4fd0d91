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
        QTRY_VERIFY_WITH_TIMEOUT(!manager.audioOutputs().isEmpty(), kPatienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(manager.defaultAudioOutput().id(), "second", kPatienceMs);
    }

    void theDefaultIsTakenBeforeTheFirstOfTheList()
    {
        QVERIFY(DeviceManager::instance().audioOutputs().constFirst().id() != "second");
        QCOMPARE(device_selection::outputFor(stereo()).id(), "second");
        QCOMPARE(device_selection::inputFor(mono()).id(), "mic");
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
