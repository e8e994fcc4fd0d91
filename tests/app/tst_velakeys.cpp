#include "app/iconbutton.h"
#include "app/vela.h"
#include "shortcuts/shortcutcatalogue.h"
#include "shortcuts/shortcutregistry.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"

#include <QAbstractItemModel>
#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QLineEdit>
#include <QShortcut>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include <memory>
#include <registerresources.h>

namespace {

constexpr qsizetype kFrames = 50'000;
constexpr qint64 kCursor = 1234;

} // namespace

/// The keys of the window: each bound one has its effect, the others have none.
class TestVelaKeys : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<Vela> m_window;

    void press(int key, Qt::KeyboardModifiers modifiers = {}) const
    {
        QTest::keyClick(m_window.get(), static_cast<Qt::Key>(key), modifiers);
    }

    /// Presses a key that opens a file dialog; returns its title, empty if none came.
    QString pressForDialog(int key)
    {
        QString title;
        QTimer look;
        connect(&look, &QTimer::timeout, this, [&title] {
            auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            if (dialog) {
                title = dialog->windowTitle();
                dialog->reject();
            }
        });
        look.start(0);
        press(key, Qt::ControlModifier);
        return title;
    }

    static QWidget* visibleHelp()
    {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (widget->objectName() == QLatin1String("ShortcutHelpWidget") && widget->isVisible())
                return widget;
        }
        return nullptr;
    }

    /// All that a key could change.
    [[nodiscard]] QVariantList state() const
    {
        const ProjectHandle project = m_window->project();
        QVariantList all{
            project->cursor.position, project->play.position, project->selectionStart,
            project->selectionEnd,    project->viewStart,     project->viewEnd,
            project->playing,         project->recording,     project->tainted,
            m_window->isFullScreen(), m_window->isVisible(),  visibleHelp() != nullptr};
        for (const auto* field : m_window->findChildren<QLineEdit*>())
            all << field->isVisible();
        all << QGuiApplication::clipboard()->text();
        for (const TrackHandle& track : std::as_const(project->tracks)) {
            all << track->name << track->muted << track->solo << track->length();
            all << QVariant::fromValue(track->samples);
        }
        return all;
    }

private slots:

    void initTestCase() { registerResources(); }

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        QGuiApplication::clipboard()->setText(QStringLiteral("copied before"));
        m_window = std::make_unique<Vela>();
        const ProjectHandle project = m_window->project();
        project->addTrack({}, 1)->samples[0] = signal_makers::ramp(kFrames, -1.0F, 1.0F);
        project->untaint(QStringLiteral("the test"));
        project->cursor.position = kCursor;
        project->selectionStart = 100;
        project->selectionEnd = 900;
        project->viewStart = 10;
        project->viewEnd = 2000;
        m_window->updateTrackViews();
        m_window->show();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    }

    void cleanup()
    {
        m_window.reset();
        m_log.reset();
    }

    void spaceTogglesPlay_data()
    {
        QTest::addColumn<int>("modifiers");
        QTest::newRow("Space") << int{Qt::NoModifier};
        QTest::newRow("Shift+Space") << int{Qt::ShiftModifier};
    }

    void spaceTogglesPlay()
    {
        QFETCH(const int, modifiers);
        m_window->setProject({}); // so that nothing asks for a device
        const auto* play = m_window->findChild<IconButton*>(QStringLiteral("pushButtonPlayStop"));
        const QSignalSpy toggled(play, &IconButton::toggled);
        press(Qt::Key_Space, Qt::KeyboardModifiers(modifiers));
        press(Qt::Key_Space, Qt::KeyboardModifiers(modifiers));
        QCOMPARE(toggled.count(), 2);
        QCOMPARE(toggled[0][0].toBool(), true);
        QCOMPARE(toggled[1][0].toBool(), false);
    }

    void heldSpaceTogglesPlayOnce_data() { spaceTogglesPlay_data(); }

    void heldSpaceTogglesPlayOnce()
    {
        QFETCH(const int, modifiers);
        m_window->setProject({});
        const auto* play = m_window->findChild<IconButton*>(QStringLiteral("pushButtonPlayStop"));
        const QSignalSpy toggled(play, &IconButton::toggled);
        for (const bool repeated : {false, true, true}) {
            QTest::simulateEvent(m_window.get(), true, Qt::Key_Space,
                                 Qt::KeyboardModifiers(modifiers), QStringLiteral(" "), repeated);
        }
        QCOMPARE(toggled.count(), 1);
    }

    void theWindowsShortcutsAreMadeInTheirOrder()
    {
        QStringList keys;
        for (const QShortcut* shortcut :
             m_window->findChildren<QShortcut*>(QString(), Qt::FindDirectChildrenOnly)) {
            keys << shortcut->key().toString(QKeySequence::PortableText);
            QCOMPARE(shortcut->context(), Qt::WindowShortcut);
            QVERIFY(!shortcut->autoRepeat());
        }
        QCOMPARE(keys, (QStringList{"Space", "Home", "End", "F1", "F11", "Ctrl+S", "Ctrl+O",
                                    "Ctrl+N", "Ctrl+T", "Ctrl+0"}));
    }

    void homeAndEndMoveTheCursor()
    {
        press(Qt::Key_End);
        QCOMPARE(m_window->project()->cursor.position, kFrames);
        press(Qt::Key_Home);
        QCOMPARE(m_window->project()->cursor.position, 0);
    }

    void f11TogglesFullScreen()
    {
        press(Qt::Key_F11);
        QVERIFY(m_window->isFullScreen());
        press(Qt::Key_F11);
        QVERIFY(!m_window->isFullScreen());
    }

    void fileKeysOpenTheirDialogs_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("title");
        QTest::newRow("Ctrl+S") << int{Qt::Key_S} << "Save Project";
        QTest::newRow("Ctrl+O") << int{Qt::Key_O} << "Open File";
    }

    void fileKeysOpenTheirDialogs()
    {
        QFETCH(const int, key);
        QTEST(pressForDialog(key), "title");
    }

    void ctrlNGivesANewProject()
    {
        const ProjectHandle before = m_window->project();
        press(Qt::Key_N, Qt::ControlModifier);
        QVERIFY(m_window->project() != before);
        QVERIFY(m_window->project()->tracks.isEmpty());
    }

    void ctrlTAddsATrack()
    {
        press(Qt::Key_T, Qt::ControlModifier);
        QCOMPARE(m_window->project()->tracks.size(), 2);
    }

    void ctrlZeroZoomsToFit()
    {
        press(Qt::Key_0, Qt::ControlModifier);
        QCOMPARE(m_window->project()->viewStart, 0);
        QCOMPARE(m_window->project()->viewEnd, kFrames);
    }

    void f1ShowsTheWholeCatalogue()
    {
        press(Qt::Key_F1);
        const QWidget* help = visibleHelp();
        QVERIFY(help);
        const QAbstractItemModel* model = help->findChild<QTableView*>()->model();
        ShortcutRegistry registry;
        fillShortcutRegistry(registry);
        QCOMPARE(model->rowCount(), 24);
        for (int row = 0; row < 24; ++row) {
            const ShortcutEntry& entry = registry.entries()[row];
            QCOMPARE(model->index(row, 0).data().toString(), entry.name);
            QCOMPARE(model->index(row, 2).data().toString(),
                     row < 14 ? QStringLiteral("global") : QStringLiteral("track_editor"));
        }
    }

    void catalogueKeysThatAreNotBoundDoNothing_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        const auto row = [](const char* name, int key, Qt::KeyboardModifiers modifiers = {}) {
            QTest::newRow(name) << key << static_cast<int>(modifiers.toInt());
        };
        row("Escape", Qt::Key_Escape);
        row("R", Qt::Key_R);
        row("Ctrl++", Qt::Key_Plus, Qt::ControlModifier);
        row("Ctrl+-", Qt::Key_Minus, Qt::ControlModifier);
        row("Ctrl+E", Qt::Key_E, Qt::ControlModifier);
        row("Ctrl+Shift+T", Qt::Key_T, Qt::ControlModifier | Qt::ShiftModifier);
        row("M", Qt::Key_M);
        row("S", Qt::Key_S);
        row("F2", Qt::Key_F2);
        row("Ctrl+A", Qt::Key_A, Qt::ControlModifier);
        row("Delete", Qt::Key_Delete);
        row("Ctrl+C", Qt::Key_C, Qt::ControlModifier);
        row("Ctrl+X", Qt::Key_X, Qt::ControlModifier);
        row("Ctrl+V", Qt::Key_V, Qt::ControlModifier);
    }

    void catalogueKeysThatAreNotBoundDoNothing()
    {
        QFETCH(const int, key);
        QFETCH(const int, modifiers);
        const QVariantList before = state();
        press(key, Qt::KeyboardModifiers(modifiers));
        QCOMPARE(QApplication::activeModalWidget(), nullptr);
        QCOMPARE(state(), before);
    }
};

QTEST_MAIN(TestVelaKeys)
#include "tst_velakeys.moc"
