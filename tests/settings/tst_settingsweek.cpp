// A week of changing settings by a clock that passes as fast as the test runs.

#include "lifecycle/shutdownlifecycle.h"
#include "settings/settings.h"
#include "support/logcatcher.h"

#include <QCoreApplication>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>
#include <optional>
#include <random>

namespace {

constexpr qint64 kSecondMs = 1000;
constexpr qint64 kHourMs = 3600 * kSecondMs;
constexpr qint64 kWeekMs = qint64{7} * 24 * kHourMs;
constexpr qint64 kStartMs = 1'700'000'000'000;
constexpr qint64 kIntervalMs = 10 * kSecondMs;
constexpr int kKeys = 40;

/// A disk that only counts: what was written last, and how often.
struct Disk {
    QSettings::SettingsMap contents;
    int writes = 0;
};

Disk disk;

bool readFromDisk(QIODevice& /*file*/, QSettings::SettingsMap& map)
{
    map = disk.contents;
    return true;
}

bool writeToDisk(QIODevice& file, const QSettings::SettingsMap& map)
{
    disk.contents = map;
    ++disk.writes;
    return file.write("x") == 1;
}

} // namespace

class TestSettingsWeek : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<Settings> make()
    {
        Settings::Environment environment;
        environment.clock = [this] { return m_nowMs + m_setByMs; };
        environment.open = [this](const QString&) {
            return new QSettings(m_folder.filePath("week.ini"), m_format);
        };
        return std::make_unique<Settings>(QString(), QString(), QString(), "week.ini", environment);
    }

    /// Lets time pass until `endMs`, and the store's timer fire when it is due.
    void passUntil(Settings& settings, qint64 endMs)
    {
        if (m_dueMs && *m_dueMs <= endMs) {
            m_nowMs = std::max(m_nowMs, *m_dueMs);
            m_dueMs.reset();
            QVERIFY(QMetaObject::invokeMethod(settings.findChild<QTimer*>(), "timeout"));
            noteWrites();
        }
        m_nowMs = endMs;
    }

    void change(Settings& settings)
    {
        const QString key = QStringLiteral("key%1").arg(m_random() % kKeys);
        const int value = ++m_lastValue;
        m_wanted[key] = value;
        settings.setCustomValue(key, value);
        if (settings.isDirty() && !m_oldestUnwrittenMs)
            m_oldestUnwrittenMs = m_nowMs;
        noteWrites();
        const auto* timer = settings.findChild<QTimer*>();
        m_dueMs.reset();
        if (timer->isActive())
            m_dueMs = m_nowMs + timer->interval();
    }

    /// What is on the disk after a write is all that was wanted then.
    void noteWrites()
    {
        if (disk.writes == m_writesSeen) {
            QVERIFY(!m_oldestUnwrittenMs || m_nowMs - *m_oldestUnwrittenMs <= kIntervalMs);
            return;
        }
        QCOMPARE(disk.writes, m_writesSeen + 1);
        m_writesSeen = disk.writes;
        QCOMPARE(disk.contents, m_wanted);
        if (m_oldestUnwrittenMs)
            QVERIFY(m_nowMs - *m_oldestUnwrittenMs <= kIntervalMs);
        if (m_lastWriteMs && !m_setForward)
            QVERIFY(m_nowMs - *m_lastWriteMs >= kIntervalMs);
        m_lastWriteMs = m_nowMs;
        m_oldestUnwrittenMs.reset();
        m_setForward = false;
    }

    /// The user, or the network, sets the clock.
    void setClock()
    {
        const auto byMs = static_cast<qint64>(m_random() % (2 * kHourMs)) - kHourMs;
        m_setByMs += byMs;
        m_setForward = m_setForward || byMs > 0;
        ++m_timesSet;
    }

    // In memory: the lock beside the store waits for the disk each time.
    QTemporaryDir m_folder{QStringLiteral("/dev/shm/tst_settingsweek-XXXXXX")};
    QSettings::Format m_format = QSettings::InvalidFormat;
    std::unique_ptr<LogCatcher> m_log;
    std::mt19937_64 m_random{20};
    qint64 m_nowMs = kStartMs;
    qint64 m_setByMs = 0;
    int m_timesSet = 0;
    bool m_setForward = false; ///< since the last write, which was then longer ago
    std::optional<qint64> m_dueMs;
    std::optional<qint64> m_lastWriteMs;
    std::optional<qint64> m_oldestUnwrittenMs;
    int m_writesSeen = 0;
    int m_lastValue = 0;
    QSettings::SettingsMap m_wanted;

private slots:

    void initTestCase()
    {
        QVERIFY(m_folder.isValid());
        m_format = QSettings::registerFormat("week", readFromDisk, writeToDisk);
        m_log = std::make_unique<LogCatcher>();
    }

    void cleanupTestCase()
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        m_log.reset();
    }

    /// Mostly the user leaves the settings alone, sometimes there is a burst.
    void nothingIsLostLateOrWrittenTooOften()
    {
        auto settings = make();
        int changes = 0;
        while (m_nowMs < kStartMs + kWeekMs && !QTest::currentTestFailed()) {
            const bool burst = m_random() % 4 == 0;
            const auto pauseMs = static_cast<qint64>(m_random() % (burst ? kHourMs : 2 * kHourMs));
            passUntil(*settings, m_nowMs + kIntervalMs + pauseMs);
            if (m_random() % 5 == 0)
                setClock();
            for (quint64 left = burst ? m_random() % 60 : 1; left > 0; --left) {
                passUntil(*settings, m_nowMs + static_cast<qint64>(m_random() % (4 * kSecondMs)));
                change(*settings);
                ++changes;
            }
        }
        settings.reset();
        QCOMPARE(disk.contents, m_wanted);
        QVERIFY2(ShutdownLifecycle::instance().taskIds().isEmpty(), "the task has ended");
        QVERIFY(changes > 1000);
        QVERIFY(disk.writes < changes / 2);
        QVERIFY(m_timesSet > 20);
    }
};

QTEST_GUILESS_MAIN(TestSettingsWeek)
#include "tst_settingsweek.moc"
