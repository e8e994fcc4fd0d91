#include "app/vela.h"
#include "lifecycle/shutdownlifecycle.h"
#include "settings/settings.h"
#include "support/logcatcher.h"

#include <QApplication>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>
#include <registerresources.h>

namespace {

constexpr qint64 kTaskDeadlineMs = 200;

ShutdownLifecycle& lifecycle()
{
    return ShutdownLifecycle::instance();
}

} // namespace

/// What closing the window sees to before the program ends.
class TestVelaEnd : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Vela> m_window;
    QSharedPointer<Settings> m_settings;
    qint64 m_nowMs = 1'700'000'000'000;

    /// The file itself, as the toolkit's class would answer from its memory.
    [[nodiscard]] QByteArray onDisk() const
    {
        QFile file(m_settings->filePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
    }

private slots:

    void initTestCase() { registerResources(); }

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_folder = std::make_unique<QTemporaryDir>();
        Settings::Environment environment;
        environment.clock = [this] { return m_nowMs; };
        m_settings = QSharedPointer<Settings>::create(
            QString(), QString(), QString(), m_folder->filePath(QStringLiteral("Vela.ini")),
            environment);
        m_window = std::make_unique<Vela>();
        m_window->setSettings(m_settings);
        m_window->show();
    }

    void cleanup()
    {
        m_window.reset();
        m_settings.reset();
        lifecycle().abortShutdown();
        m_folder.reset();
        m_log.reset();
    }

    void pendingSettingsAreWritten()
    {
        m_window->toggleFullscreen(true);
        QCOMPARE(onDisk(), "[vela]\nfullScreen=true");
        m_window->toggleFullscreen(false);
        QVERIFY(m_settings->isDirty());
        QCOMPARE(onDisk(), "[vela]\nfullScreen=true");

        QVERIFY(m_window->close());
        QVERIFY(!m_settings->isDirty());
        QCOMPARE(onDisk(), "[vela]\nfullScreen=false");
        QVERIFY(lifecycle().isShutdownRequested());
        QVERIFY(lifecycle().taskIds().isEmpty());
    }

    void aStuckTaskIsOvertakenAndTheOthersAreDone()
    {
        bool hurried = false;
        ShutdownTask stuck;
        stuck.id = QStringLiteral("stuck");
        stuck.deadlineMs = lifecycle().nowMs() + kTaskDeadlineMs;
        stuck.run = [&hurried] { hurried = true; };
        const quint64 serial = lifecycle().registerTask(stuck);
        m_window->toggleFullscreen(true);
        m_window->toggleFullscreen(false);

        QVERIFY(m_window->close());
        QVERIFY(!m_window->isVisible());
        QVERIFY(hurried);
        QVERIFY(lifecycle().nowMs() >= stuck.deadlineMs);
        QCOMPARE(onDisk(), "[vela]\nfullScreen=false");
        QCOMPARE(m_log->take(QtWarningMsg,
                             R"(ShutdownLifecycle: not waiting any longer for QList("stuck"))"),
                 1);
        lifecycle().finishTask(stuck.id, serial);
    }

    void aTaskThatEndsInTimeIsWaitedFor()
    {
        ShutdownTask slow;
        slow.id = QStringLiteral("slow");
        quint64 serial = 0;
        bool done = false;
        slow.run = [&] {
            QTimer::singleShot(kTaskDeadlineMs, &lifecycle(), [&] {
                done = true;
                lifecycle().finishTask(slow.id, serial);
            });
        };
        serial = lifecycle().registerTask(slow);
        QVERIFY(m_window->close());
        QVERIFY(done);
    }

    void whoStaysIsNotEnding()
    {
        m_window->addTrack();
        QTimer::singleShot(0, qApp, [] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            QVERIFY(box);
            box->defaultButton()->click();
        });
        QVERIFY(!m_window->close());
        QVERIFY(m_window->isVisible());
        QVERIFY(!lifecycle().isShutdownRequested());
    }

    void theHelpIsClosedWithTheWindow()
    {
        m_window->triggerKeyboardHelp();
        QVERIFY(m_window->close());
        for (const QWidget* widget : QApplication::topLevelWidgets())
            QVERIFY2(!widget->isVisible(), qPrintable(widget->objectName()));
    }
};

QTEST_MAIN(TestVelaEnd)
#include "tst_velaend.moc"
