#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

constexpr auto kBackend = "QT_MEDIA_BACKEND";
constexpr auto kLatency = "PULSE_LATENCY_MSEC";
constexpr auto kPluginPath = "QT_PLUGIN_PATH";

/// A plugin folder with an empty file where the backend would be.
bool pretendBackendIn(const QString& folder)
{
    QFile plugin(folder + "/multimedia/libffmpegmediaplugin.so");
    return QDir(folder).mkpath("multimedia") && plugin.open(QIODevice::WriteOnly);
}

} // namespace

class TestMediaPlatform : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        for (const char* name : {kBackend, kLatency, kPluginPath})
            qunsetenv(name);
    }

    void cleanup() { m_log.reset(); }

    void hasFfmpegBackendLooksIntoEveryFolder()
    {
        const QTemporaryDir without;
        const QTemporaryDir with;
        QVERIFY(pretendBackendIn(with.path()));
        QVERIFY(!hasFfmpegBackend({}));
        QVERIFY(!hasFfmpegBackend({without.path(), without.filePath("none")}));
        QVERIFY(hasFfmpegBackend({without.path(), with.path()}));
    }

    void anUnsetBackendIsChosenWhereItsPluginIsInstalled()
    {
        const QTemporaryDir other;
        const QTemporaryDir plugins;
        QVERIFY(pretendBackendIn(plugins.path()));
        qputenv(kPluginPath, (other.path() + ':' + plugins.path()).toLocal8Bit());
        prepareMediaPlatform();
        QCOMPARE(qgetenv(kBackend), "ffmpeg");
    }

    void anUnsetLatencyIsChosen()
    {
        prepareMediaPlatform();
        QCOMPARE(qgetenv(kLatency), "120");
    }

    void theUsersOwnValuesAreLeftAlone_data()
    {
        QTest::addColumn<QByteArray>("backend");
        QTest::addColumn<QByteArray>("latency");
        QTest::newRow("other values") << QByteArray("gstreamer") << QByteArray("60");
        QTest::newRow("empty ones too") << QByteArray("") << QByteArray("");
    }

    void theUsersOwnValuesAreLeftAlone()
    {
        QFETCH(QByteArray, backend);
        QFETCH(QByteArray, latency);
        qputenv(kBackend, backend);
        qputenv(kLatency, latency);
        prepareMediaPlatform();
        QVERIFY(qEnvironmentVariableIsSet(kBackend) && qEnvironmentVariableIsSet(kLatency));
        QCOMPARE(qgetenv(kBackend), backend);
        QCOMPARE(qgetenv(kLatency), latency);
    }
};

QTEST_APPLESS_MAIN(TestMediaPlatform)
#include "tst_mediaplatform.moc"
