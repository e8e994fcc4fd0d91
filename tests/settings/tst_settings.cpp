#include "lifecycle/shutdownlifecycle.h"
#include "settings/settings.h"
#include "support/logcatcher.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPointer>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTranslator>

#include <memory>

namespace {

/// In which everything has another name.
class OtherLanguage : public QTranslator {
public:
    using QTranslator::QTranslator;

    [[nodiscard]] QString translate(const char* /*context*/, const char* /*source*/,
                                    const char* /*comment*/, int /*n*/) const override
    {
        return QStringLiteral("…");
    }

    [[nodiscard]] bool isEmpty() const override { return false; }
};

} // namespace

class TestSettings : public QObject {
    Q_OBJECT

private:
    static constexpr qint64 kStartMs = 1'700'000'000'000;

    std::unique_ptr<Settings> make(const QString& fileName = "Vela.ini")
    {
        Settings::Environment environment;
        environment.clock = [this] {
            ++m_clockReads;
            return m_now;
        };
        return std::make_unique<Settings>(QString(), QString(), QString(), fileName, environment);
    }

    [[nodiscard]] QString dataPath(const QString& name) const
    {
        return m_folder->filePath("data/Org/App/" + name);
    }

    /// The line of that key in the file as it is on disk, empty if there is none.
    static QByteArray lineOnDisk(const QString& path, const QByteArray& key)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        for (const QByteArray& line : file.readAll().split('\n')) {
            if (line.startsWith(key + '='))
                return line;
        }
        return {};
    }

    [[nodiscard]] QByteArray lineOnDisk(const QByteArray& key) const
    {
        return lineOnDisk(dataPath("Vela.ini"), key);
    }

    static QTimer* timerOf(const Settings& settings) { return settings.findChild<QTimer*>(); }

    static QStringList taskIds() { return ShutdownLifecycle::instance().taskIds(); }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<LogCatcher> m_log;
    qint64 m_now = kStartMs;
    int m_clockReads = 0;

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_folder = std::make_unique<QTemporaryDir>();
        qputenv("XDG_DATA_HOME", m_folder->filePath("data").toUtf8());
        qputenv("XDG_CONFIG_HOME", m_folder->filePath("config").toUtf8());
        QCoreApplication::setOrganizationName("Org");
        QCoreApplication::setOrganizationDomain("example.org");
        QCoreApplication::setApplicationName("App");
        QCoreApplication::setApplicationVersion("0.1");
        QGuiApplication::setDesktopFileName({});
        m_now = kStartMs;
        m_clockReads = 0;
    }

    void cleanup()
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(taskIds().isEmpty());
        m_folder.reset();
        m_log.reset();
    }

    void constructionWithEmptyStringsLeavesTheApplicationsNames()
    {
        const auto settings = make();
        QCOMPARE(QCoreApplication::organizationName(), "Org");
        QCOMPARE(QCoreApplication::organizationDomain(), "example.org");
        QCOMPARE(QCoreApplication::applicationName(), "App");
        QCOMPARE(QCoreApplication::applicationVersion(), "0.1");
        QCOMPARE(QGuiApplication::desktopFileName(), "org.example.App");
    }

    void constructionSetsTheNamesItIsGiven()
    {
        QCoreApplication::setOrganizationDomain({});
        const Settings settings("Quorix", "Quorix Vela", "1.0", "Vela.ini");
        QCOMPARE(QCoreApplication::organizationName(), "Quorix");
        QCOMPARE(QCoreApplication::organizationDomain(), "quorix.com");
        QCOMPARE(QCoreApplication::applicationName(), "Quorix Vela");
        QCOMPARE(QCoreApplication::applicationVersion(), "1.0");
        QCOMPARE(QGuiApplication::desktopFileName(), "com.quorix.Vela");
        QCOMPARE(settings.filePath(), m_folder->filePath("data/Quorix/Quorix Vela/Vela.ini"));
    }

    void constructionAloneTouchesNoFile()
    {
        make();
        QVERIFY(!QFileInfo::exists(m_folder->filePath("data")));
    }

    void aBareFileNameLiesInTheApplicationDataLocation()
    {
        const auto settings = make("  Vela.ini ");
        QCOMPARE(settings->name(), "Vela.ini");
        QCOMPARE(settings->filePath(), dataPath("Vela.ini"));
        settings->setCustomValue("key", 5);
        QCOMPARE(lineOnDisk("key"), QByteArray("key=5"));
    }

    void anAbsoluteFileNameIsTakenAsItIs()
    {
        const QString path = m_folder->filePath("elsewhere/other.ini");
        const auto settings = make(path);
        settings->setCustomValue("key", 5);
        QCOMPARE(lineOnDisk(path, "key"), QByteArray("key=5"));
    }

    void anEmptyFileNameMeansTheDefaultStore()
    {
        const auto settings = make(" ");
        QCOMPARE(settings->name(), QString());
        QCOMPARE(settings->filePath(), m_folder->filePath("config/Org/App.conf"));
    }

    void theKeyPrefixIsEmpty() { QCOMPARE(make()->keyPrefix(), QString()); }

    void valuesComeBackInALaterStore()
    {
        const QString text = QStringLiteral("/home/me/Aufnähme 日本; 1, \"two\".wav");
        {
            const auto settings = make();
            settings->setCustomValue("vela/lastFileDir", text);
            settings->setCustomValue("vela/fullScreen", true);
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const auto settings = make();
        QCOMPARE(settings->value("vela/lastFileDir").toString(), text);
        QCOMPARE(settings->value("vela/fullScreen").toBool(), true);
        QCOMPARE(settings->value("vela/none", 7).toInt(), 7);
        QVERIFY(!settings->value("vela/none").isValid());
    }

    void setCustomValueTrimsTheKeyAndAnnouncesItOnceStored()
    {
        const auto settings = make();
        QStringList seen;
        connect(settings.get(), &Settings::customSettingChanged, [&](const QString& key) {
            seen << key + ':' + settings->value(key).toString() + ':' +
                        QString::fromUtf8(lineOnDisk(key.toUtf8()));
        });
        settings->setCustomValue("\t a b ", "1");
        settings->setCustomValue("b", "2");
        settings->setCustomValue("b", "2");
        QCOMPARE(seen, (QStringList{"a b:1:", "b:2:", "b:2:"}));
    }

    void anEmptyKeyIsRefused_data()
    {
        QTest::addColumn<QString>("key");
        QTest::newRow("empty") << QString();
        QTest::newRow("blanks") << QStringLiteral(" \t\n ");
    }

    void anEmptyKeyIsRefused()
    {
        QFETCH(const QString, key);
        const auto settings = make();
        const QSignalSpy changes(settings.get(), &Settings::customSettingChanged);
        settings->setCustomValue(key, 1);
        QCOMPARE(m_log->take(QtWarningMsg, "ERROR: Key was empty"), 1);
        QCOMPARE(changes.count(), 0);
        QVERIFY(!settings->isDirty());
        QVERIFY(!QFileInfo::exists(dataPath("Vela.ini")));
    }

    void twoWritesASecondApartAreSyncedAtOnceAndNineSecondsLater()
    {
        const auto settings = make();
        settings->setCustomValue("first", 1);
        QCOMPARE(lineOnDisk("first"), QByteArray("first=1"));
        QVERIFY(!settings->isDirty());
        QVERIFY(!timerOf(*settings)->isActive());

        m_now += 1000;
        settings->setCustomValue("second", 2);
        QVERIFY(settings->isDirty());
        QVERIFY(timerOf(*settings)->isActive());
        QCOMPARE(timerOf(*settings)->interval(), 9000);
        QCOMPARE(timerOf(*settings)->timerType(), Qt::PreciseTimer);
        QCOMPARE(lineOnDisk("second"), QByteArray());

        m_now += 9000;
        QVERIFY(QMetaObject::invokeMethod(timerOf(*settings), "timeout"));
        QCOMPARE(lineOnDisk("second"), QByteArray("second=2"));
        QVERIFY(!settings->isDirty());
        QVERIFY(!timerOf(*settings)->isActive());
    }

    void theTimersWriteStartsTheNextInterval()
    {
        const auto settings = make();
        settings->setCustomValue("key", 1);
        m_now += 4000;
        settings->setCustomValue("key", 2);
        m_now += 6000;
        settings->delayedSync();
        m_now += 2500;
        settings->setCustomValue("key", 3);
        QCOMPARE(timerOf(*settings)->interval(), 7500);
    }

    void aWriteAtTheEdgeOfTheInterval_data()
    {
        QTest::addColumn<qint64>("elapsedMs");
        QTest::addColumn<int>("waitMs"); // -1: written at once
        QTest::newRow("0 ms after") << qint64{0} << 10000;
        QTest::newRow("9999 ms after") << qint64{9999} << 1;
        QTest::newRow("10000 ms after") << qint64{10000} << 0;
        QTest::newRow("10001 ms after") << qint64{10001} << -1;
        QTest::newRow("a clock set back by a year") << qint64{-31'536'000'000} << 10000;
    }

    void aWriteAtTheEdgeOfTheInterval()
    {
        QFETCH(const qint64, elapsedMs);
        QFETCH(const int, waitMs);
        const auto settings = make();
        settings->setCustomValue("key", 1);
        m_now += elapsedMs;
        settings->setCustomValue("key", 2);
        QCOMPARE(timerOf(*settings)->isActive(), waitMs >= 0);
        QCOMPARE(lineOnDisk("key"), QByteArray(waitMs >= 0 ? "key=1" : "key=2"));
        if (waitMs >= 0)
            QCOMPARE(timerOf(*settings)->interval(), waitMs);
    }

    void afterAClockWasSetBackFurtherChangesDoNotPutTheWriteOff()
    {
        const auto settings = make();
        settings->setCustomValue("key", 1);
        m_now -= 3'600'000;
        settings->setCustomValue("key", 2);
        QCOMPARE(timerOf(*settings)->interval(), 10000);
        m_now += 4000;
        settings->setCustomValue("key", 3);
        QCOMPARE(timerOf(*settings)->interval(), 6000);
    }

    void theTimerWritesByItself()
    {
        const auto settings = make();
        settings->setCustomValue("key", 1);
        m_now += 10000;
        settings->setCustomValue("key", 2);
        QTRY_COMPARE(lineOnDisk("key"), QByteArray("key=2"));
        QVERIFY(!settings->isDirty());
    }

    void aBurstIsNotWrittenBeforeItsTimeByTheEventLoopEither()
    {
        const auto settings = make();
        settings->setCustomValue("key", 0);
        for (int i = 1; i <= 100; ++i) {
            m_now += 10;
            settings->setCustomValue("key", i);
            QCoreApplication::processEvents();
            QCOMPARE(lineOnDisk("key"), QByteArray("key=0"));
        }
        settings->delayedSync();
        QCOMPARE(lineOnDisk("key"), QByteArray("key=100"));
    }

    void theFlushTaskIsOutstandingWhileChangesArePending()
    {
        const auto settings = make();
        settings->setCustomValue("key", 1);
        QVERIFY(taskIds().isEmpty());
        settings->setCustomValue("key", 2);
        settings->setCustomValue("key", 3);
        QCOMPARE(taskIds(), QStringList{"settings.flush.Vela.ini"});
        const ShutdownTask task = ShutdownLifecycle::instance().tasks().constFirst();
        QCOMPARE(task.title, "Settings");
        QCOMPARE(task.description, "Flushing");
        QCOMPARE(task.detail, "Vela.ini");
        settings->delayedSync();
        QVERIFY(taskIds().isEmpty());
    }

    void theFlushTaskHasTheSameNameInEveryLanguage()
    {
        OtherLanguage language;
        QVERIFY(QCoreApplication::installTranslator(&language));
        const auto settings = make();
        settings->setCustomValue("key", 1);
        settings->setCustomValue("key", 2);
        const ShutdownTask task = ShutdownLifecycle::instance().tasks().constFirst();
        QCOMPARE(task.title, "Settings");
        QCOMPARE(task.description, "Flushing");
    }

    void anUnnamedStoresTaskIsTheDefaultOne()
    {
        const auto settings = make({});
        settings->setCustomValue("key", 1);
        settings->setCustomValue("key", 2);
        QCOMPARE(taskIds(), QStringList{"settings.flush.default"});
        QCOMPARE(ShutdownLifecycle::instance().tasks().constFirst().detail, "App.conf");
    }

    void aRequestedShutdownWritesWhatIsPending()
    {
        const auto settings = make();
        settings->setCustomValue("key", 1);
        settings->setCustomValue("key", 2);
        QVERIFY(ShutdownLifecycle::instance().waitForTasks());
        ShutdownLifecycle::instance().abortShutdown();
        QCOMPARE(lineOnDisk("key"), QByteArray("key=2"));
        QVERIFY(!settings->isDirty());
        QVERIFY(!timerOf(*settings)->isActive());
    }

    void theFlushTaskDoesNothingWhenNothingIsPending()
    {
        const auto settings = make();
        settings->setCustomValue("key", 1);
        settings->setCustomValue("key", 2);
        const auto run = ShutdownLifecycle::instance().tasks().constFirst().run;
        settings->delayedSync();
        const int reads = m_clockReads;
        const QSignalSpy changes(&ShutdownLifecycle::instance(), &ShutdownLifecycle::changed);
        run();
        QCOMPARE(m_clockReads, reads);
        QCOMPARE(changes.count(), 0);
    }

    void destructionWritesWhatIsPendingAndEndsTheTask()
    {
        auto settings = make();
        settings->setCustomValue("key", 1);
        settings->setCustomValue("key", 2);
        settings.reset();
        QCOMPARE(lineOnDisk("key"), QByteArray("key=2"));
        QVERIFY(taskIds().isEmpty());
    }

    void destructionEndsAnOpenGroupAndReleasesTheStoreLater()
    {
        QPointer<QSettings> store =
            new QSettings(m_folder->filePath("grouped.ini"), QSettings::IniFormat);
        store->beginGroup("group");
        Settings::Environment environment;
        environment.open = [&store](const QString&) { return store.data(); };
        auto settings = std::make_unique<Settings>(QString(), QString(), QString(),
                                                   QStringLiteral("Vela.ini"), environment);
        settings.reset();
        QVERIFY(store);
        QCOMPARE(store->group(), QString());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!store);
    }

    void aStoreThatCouldNotBeCreatedIgnoresWrites()
    {
        Settings::Environment environment;
        environment.open = [](const QString&) { return nullptr; };
        Settings settings({}, {}, {}, "Vela.ini", environment);
        QCOMPARE(m_log->take(QtWarningMsg, R"(ERROR: Could not create Settings for "Vela.ini")"),
                 1);
        const QSignalSpy changes(&settings, &Settings::customSettingChanged);
        settings.setCustomValue("key", 1);
        settings.delayedSync();
        QCOMPARE(changes.count(), 0);
        QVERIFY(!settings.isDirty());
        QCOMPARE(settings.value("key", 3).toInt(), 3);
        QCOMPARE(settings.filePath(), QString());
    }

    void aStoreWhoseTimerCouldNotBeConnectedIgnoresWrites()
    {
        Settings::Environment environment;
        environment.connectTimer = [](QTimer*, Settings*) { return false; };
        Settings settings({}, {}, {}, "Vela.ini", environment);
        QCOMPARE(m_log->take(QtWarningMsg, "ERROR: Could not connect settings sync timer"), 1);
        settings.setCustomValue("key", 1);
        QVERIFY(!settings.isDirty());
        QVERIFY(!QFileInfo::exists(dataPath("Vela.ini")));
    }

    void aLocationThatCannotBeWrittenIsReportedOnceAndValuesAreKeptInMemory()
    {
        QFile inTheWay(m_folder->filePath("data"));
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        inTheWay.close();
        auto settings = make();
        settings->setCustomValue("key", 1);
        m_now += 10'001;
        settings->setCustomValue("key", 2);
        QCOMPARE(settings->value("key").toInt(), 2);
        settings->setCustomValue("key", 3);
        settings.reset();
        QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
        QCOMPARE(m_log->takeContaining(QtWarningMsg, "Settings: could not write"), 1);
    }

    void aDamagedFileIsReadAsFarAsItGoesAndWrittenAnew()
    {
        const QString path = m_folder->filePath("damaged.ini");
        QFile damaged(path);
        QVERIFY(damaged.open(QIODevice::WriteOnly));
        damaged.write("[General]\nkept=1\n\xff\xfe[[[ no equals sign\n");
        damaged.close();
        const auto settings = make(path);
        QCOMPARE(settings->value("kept").toInt(), 1);
        settings->setCustomValue("new", 2);
        QCOMPARE(lineOnDisk(path, "new"), QByteArray("new=2"));
        QCOMPARE(lineOnDisk(path, "kept"), QByteArray("kept=1"));
    }
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
