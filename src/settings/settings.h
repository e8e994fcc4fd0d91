#pragma once

#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariant>

#include <chrono>
#include <functional>
#include <memory>

class QSettings;

/// The application's persistent key/value store. Changes are written to disk at
/// once after a quiet time, and gathered into one write otherwise, so that a
/// burst of them costs no more than one write in any kWriteInterval. What is
/// not written yet is announced to the shutdown coordinator as a task. The task
/// bears the store's name, so there is one store of a name: a second one's task
/// would replace the first one's, and the end would not wait for both.
///
/// Lives on one thread, that of the application object. Nothing throws. A write
/// blocks for as long as the disk takes, and replaces the file as a whole, so
/// that neither a crash nor a second program leaves half a file. Before that it
/// waits for other programs that write the same file, and for half a second at
/// most (kEmptyLockGrace) for one that was killed as it began to.
class Settings : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds kWriteInterval{10'000};

    /// What the store needs of the world around it; tests pass their own. An
    /// empty function stands for the real thing.
    struct Environment {
        /// Milliseconds since the epoch.
        std::function<qint64()> clock;

        /// Opens the store's file, or the application's default store for an
        /// empty path. Null: it could not be created.
        std::function<QSettings*(const QString& path)> open;

        /// Has the timer call delayedSync(); returns whether that worked.
        std::function<bool(QTimer* timer, Settings* settings)> connectTimer;
    };

    /// Gives the application its names, where they are not empty, and opens the
    /// store. A bare or relative file name is taken from the user's writable
    /// application-data location; an empty one means the toolkit's default
    /// store. On failure, which is logged, all writes are ignored.
    Settings(const QString& organisationName, const QString& applicationName,
             const QString& applicationVersion, const QString& fileName,
             Environment environment = {}, QObject* parent = nullptr);

    /// Writes what is still pending.
    ~Settings() override;
    Q_DISABLE_COPY_MOVE(Settings)

    /// The trimmed file name that the store was created with.
    [[nodiscard]] QString name() const { return m_name; }

    /// Where the store is kept; empty if it could not be created.
    [[nodiscard]] QString filePath() const;

    /// Callers put this before each of their keys; empty at present.
    [[nodiscard]] QString keyPrefix() const { return {}; }

    [[nodiscard]] QVariant value(const QString& key, const QVariant& fallback = {}) const;

    /// Stores under the trimmed key, and writes now or within kWriteInterval.
    void setCustomValue(const QString& key, const QVariant& value);

    /// Whether changes wait to be written.
    [[nodiscard]] bool isDirty() const { return m_dirty; }

public slots:
    /// Writes now.
    void delayedSync();

signals:
    void customSettingChanged(const QString& key);

private:
    struct DeleteLater {
        void operator()(QSettings* settings) const;
    };

    void applyIdentity(const QString& organisationName, const QString& applicationName,
                       const QString& applicationVersion);
    void openStore();
    void requestSync();
    void flush(); // returns when all is written
    void writeToDisk();
    void beginFlushTask();
    void endFlushTask();

    const QString m_name;
    const Environment m_environment;
    std::unique_ptr<QSettings, DeleteLater> m_settings;
    qint64 m_lastSyncMs = 0;
    QTimer m_syncTimer;
    bool m_dirty = false;
    bool m_warnedOfWriteFailure = false;
    QString m_taskId; ///< not empty while the flush task is outstanding
    quint64 m_taskSerial = 0;
};
