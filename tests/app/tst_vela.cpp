#include "app/dialoganswers.h"
#include "app/iconbutton.h"
#include "app/vela.h"
#include "engine/velaengine.h"
#include "settings/settings.h"
#include "support/logcatcher.h"
#include "support/metamethods.h"
#include "support/paintcounter.h"
#include "widgets/stereoseparationwidget.h"
#include "widgets/trackwidget.h"
#include "widgets/unifiedaudioscope.h"
#include "widgets/waveformview.h"

#include <QAbstractButton>
#include <QApplication>
#include <QBoxLayout>
#include <QFile>
#include <QIcon>
#include <QLabel>
#include <QMap>
#include <QMessageBox>
#include <QScrollArea>
#include <QShortcut>
#include <QSplitter>
#include <QTest>
#include <QTimer>

#include <memory>
#include <registerresources.h>

using dialog_answers::pressInNextBox;

/// The window without devices: what it shows and how its commands change the
/// project.
class TestVela : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<Vela> m_window;

    template <typename Widget>
    [[nodiscard]] Widget* child(const char* name) const
    {
        return m_window->findChild<Widget*>(QString::fromLatin1(name));
    }

    [[nodiscard]] QString shownPosition() const { return child<QLabel>("labelPosition")->text(); }

    [[nodiscard]] QList<TrackWidget*> strips() const
    {
        QList<TrackWidget*> found;
        const auto* splitter = child<QSplitter>("trackSplitter");
        for (int i = 0; i < splitter->count(); ++i)
            found.append(qobject_cast<TrackWidget*>(splitter->widget(i)));
        return found;
    }

    /// Two tracks on the screen that have been painted.
    void showTwoTracks() const
    {
        for (int i = 0; i < 2; ++i)
            m_window->project()->addTrack({}, 1)->samples[0].resize(1000);
        m_window->updateTrackViews();
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        QTest::qWait(60); // what showing it has left to paint
    }

private slots:

    void initTestCase() { registerResources(); }

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_window = std::make_unique<Vela>();
    }

    void cleanup()
    {
        m_window.reset();
        m_log.reset();
    }

    void layoutHasTheNamesTextsAndOrder()
    {
        QCOMPARE(m_window->objectName(), "Vela");
        QCOMPARE(m_window->windowTitle(), "Vela Audio Editor");
        auto* outer = qobject_cast<QVBoxLayout*>(m_window->layout());
        QCOMPARE(outer->objectName(), "verticalLayoutOuter");
        QCOMPARE(outer->contentsMargins(), QMargins());
        QCOMPARE(outer->itemAt(0)->widget()->objectName(), "widgetMain");
        auto* vertical = qobject_cast<QVBoxLayout*>(outer->itemAt(0)->widget()->layout());
        QCOMPARE(vertical->objectName(), "verticalLayout");
        QCOMPARE(vertical->contentsMargins(), QMargins());
        QCOMPARE(vertical->count(), 3);
        QCOMPARE(vertical->itemAt(0)->layout()->objectName(), "toolbarLayout");
        QCOMPARE(vertical->itemAt(1)->layout()->objectName(), "scopeLayout");

        QStringList names;
        QStringList texts;
        const QLayout* toolbar = vertical->itemAt(0)->layout();
        for (int i = 0; i < toolbar->count(); ++i) {
            const QWidget* widget = toolbar->itemAt(i)->widget();
            names.append(widget ? widget->objectName() : QStringLiteral("spacer"));
            if (const auto* button = qobject_cast<const QPushButton*>(widget))
                texts.append(button->text());
        }
        QCOMPARE(names, (QStringList{"pushButtonLoad", "pushButtonSave", "pushButtonClear",
                                     "spacer", "pushButtonGoStart", "pushButtonPlayStop",
                                     "pushButtonStop", "pushButtonRecord", "pushButtonGoEnd",
                                     "spacer", "labelPosition", "spacer", "pushButtonHelp"}));
        QCOMPARE(texts,
                 (QStringList{"Load", "Save", "Clear", "|<", "Play", "Stop", "Rec", ">|", "Help"}));
        const QLayout* scopes = vertical->itemAt(1)->layout();
        QVERIFY(qobject_cast<UnifiedAudioScope*>(scopes->itemAt(0)->widget()));
        QVERIFY(qobject_cast<StereoSeparationWidget*>(scopes->itemAt(1)->widget()));
        QCOMPARE(scopes->contentsMargins().left(), 2);
        QCOMPARE(scopes->contentsMargins().right(), 2);
        const auto* splitter = child<QSplitter>("trackSplitter");
        QCOMPARE(splitter->orientation(), Qt::Vertical);
        QCOMPARE(splitter->handleWidth(), 4);
    }

    void buttonsHaveToolTipsIconsAndSizes_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("toolTip");
        QTest::addColumn<bool>("checkable");
        QTest::addColumn<QString>("icon");
        const auto row = [](const char* name, const char* icon, const char* toolTip,
                            bool checkable = false) {
            QTest::newRow(name) << QString::fromLatin1(name) << QString::fromLatin1(toolTip)
                                << checkable << QString::fromLatin1(icon);
        };
        row("pushButtonLoad", ":/icons/app/load.svg", "Open project");
        row("pushButtonSave", ":/icons/app/save.svg", "Save project");
        row("pushButtonClear", ":/icons/app/clear.svg", "New project");
        row("pushButtonGoStart", ":/icons/media/previous.svg", "Go to start");
        row("pushButtonPlayStop", ":/icons/media/play.svg",
            "Play / Stop (Space, Shift+Space = loop)", true);
        row("pushButtonStop", ":/icons/media/stop.svg", "Stop");
        row("pushButtonRecord", ":/icons/media/record.svg", "Record", true);
        row("pushButtonGoEnd", ":/icons/media/next.svg", "Go to end");
        row("pushButtonHelp", ":/icons/app/help.svg", "Keyboard shortcuts (F1)");
    }

    void buttonsHaveToolTipsIconsAndSizes()
    {
        QFETCH(QString, name);
        QFETCH(QString, toolTip);
        QFETCH(bool, checkable);
        const auto* button = m_window->findChild<IconButton*>(name);
        QVERIFY(button);
        QCOMPARE(button->toolTip(), toolTip);
        QCOMPARE(button->isCheckable(), checkable);
        QCOMPARE(button->iconSize(), QSize(24, 24));
        QFETCH(QString, icon);
        QVERIFY(QFile::exists(icon));
        QCOMPARE(button->icon().pixmap(24, 24).toImage(), QIcon(icon).pixmap(24, 24).toImage());
        QCOMPARE(button->minimumSize(), QSize(30, 30));
        QCOMPARE(button->maximumSize(), QSize(30, 30));
    }

    void readOutAndStripsHaveTheirStyleSheets()
    {
        QCOMPARE(child<QLabel>("labelPosition")->styleSheet(),
                 "QLabel { color: #0f0; font-family: monospace; font-size: 13px; "
                 "padding: 2px 6px; background: #222; border: 1px solid #555; "
                 "border-radius: 3px; }");
        QWidget* around = child<QSplitter>("trackSplitter")->parentWidget();
        while (!qobject_cast<QScrollArea*>(around)) {
            around = around->parentWidget();
            QVERIFY(around);
        }
        QCOMPARE(around->styleSheet(), "QScrollArea { background: transparent; } "
                                       "QScrollArea > .QWidget { background: transparent; }");
    }

    void shortcutsAreTheTenOfTheWindowInOrder()
    {
        QStringList keys;
        for (const QShortcut* shortcut :
             m_window->findChildren<QShortcut*>(QString(), Qt::FindDirectChildrenOnly)) {
            QCOMPARE(shortcut->context(), Qt::WindowShortcut);
            keys.append(shortcut->key().toString(QKeySequence::PortableText));
        }
        QCOMPARE(keys, (QStringList{"Space", "Home", "End", "F1", "F11", "Ctrl+S", "Ctrl+O",
                                    "Ctrl+N", "Ctrl+T", "Ctrl+0"}));
    }

    void slotsStandInTheirOrderWithTheirParameters()
    {
        QCOMPARE(declaredMethods(Vela::staticMetaObject),
                 (QStringList{"clear()", "load(suggestedName)", "save(suggestedName)",
                              "togglePlayStop(play)", "toggleRecord(record)", "goToStart()",
                              "goToEnd()", "addTrack()", "removeTrack(index)", "zoomToFit()",
                              "toggleFullscreen(checked)", "triggerKeyboardHelp()",
                              "updatePositionDisplay()", "updateTrackViews()"}));
    }

    void scopesGetTheHeightTheyAskFor()
    {
        m_window->show();
        QCOMPARE(child<UnifiedAudioScope>("audioScope")->height(), 180);
        QCOMPARE(child<StereoSeparationWidget>("stereoSeparation")->height(), 50);
    }

    void startsWithAFreshProject()
    {
        QVERIFY(m_window->project());
        QCOMPARE(m_window->project()->sampleRate, 44100);
        QVERIFY(!m_window->project()->tainted);
        QVERIFY(strips().isEmpty());
        QCOMPARE(shownPosition(), "00:00:00.000");
    }

    void addTrackShowsAStripAndTaints()
    {
        m_window->addTrack();
        m_window->addTrack();
        QCOMPARE(strips().size(), 2);
        QCOMPARE(m_window->project()->tracks[1]->name, "Track 2");
        QCOMPARE(m_window->project()->tracks[1]->channels, 2);
        QVERIFY(m_window->project()->tainted);
        m_window->removeTrack(-1);
        QCOMPARE(strips().size(), 1);
        m_window->removeTrack(7);
        QCOMPARE(strips().size(), 1);
    }

    void readOutShowsCursorOrPlayPosition()
    {
        const ProjectHandle project = m_window->project();
        project->cursor.position = qint64{44100} * 3661 + 22050;
        project->play.position = 44100;
        m_window->updatePositionDisplay();
        QCOMPARE(shownPosition(), "01:01:01.500");
        project->playing = true;
        m_window->updatePositionDisplay();
        QCOMPARE(shownPosition(), "00:00:01.000");
        project->playing = false;
        project->sampleRate = 0;
        m_window->updatePositionDisplay();
        QCOMPARE(shownPosition(), "00:00:00.000");
    }

    void readOutWithoutAProjectIsZero()
    {
        m_window->project()->cursor.position = 44100;
        m_window->updatePositionDisplay();
        QCOMPARE(shownPosition(), "00:00:01.000");
        m_window->setProject({});
        QCOMPARE(shownPosition(), "00:00:00.000");
    }

    void goToStartAndEndMoveTheCursor()
    {
        const ProjectHandle project = m_window->project();
        project->addTrack({}, 1)->samples[0].resize(88200);
        m_window->goToEnd();
        QCOMPARE(project->cursor.position, 88200);
        QCOMPARE(shownPosition(), "00:00:02.000");
        m_window->goToStart();
        QCOMPARE(project->cursor.position, 0);
        QCOMPARE(shownPosition(), "00:00:00.000");
    }

    void goToStartAndEndRepaintEveryWaveformView()
    {
        showTwoTracks();
        const PaintCounter first(*strips()[0]->waveform());
        const PaintCounter second(*strips()[1]->waveform());
        m_window->goToEnd();
        QTRY_VERIFY(first.count() >= 1 && second.count() >= 1);
        QTest::qWait(60);
        const int firstBefore = first.count();
        const int secondBefore = second.count();
        m_window->goToStart();
        QTRY_VERIFY(first.count() > firstBefore && second.count() > secondBefore);
    }

    void whatTheEngineHasMovedIsSeenInReadOutAndWaveformViews()
    {
        showTwoTracks();
        const PaintCounter first(*strips()[0]->waveform());
        const PaintCounter second(*strips()[1]->waveform());
        m_window->project()->cursor.position = 44100;
        emit m_window->engine()->positionChanged();
        QCOMPARE(shownPosition(), "00:00:01.000");
        QTRY_VERIFY(first.count() >= 1 && second.count() >= 1);
    }

    void zoomToFitShowsTheWholeProjectOrOneFrame()
    {
        const ProjectHandle project = m_window->project();
        m_window->zoomToFit();
        QCOMPARE(project->viewEnd, 0);
        m_window->addTrack();
        QCOMPARE(project->viewEnd, 1);
        project->tracks[0]->samples[0].resize(5000);
        m_window->zoomToFit();
        QCOMPARE(project->viewStart, 0);
        QCOMPARE(project->viewEnd, 5000);
    }

    void updateTrackViewsKeepsAViewRangeThatIsSet()
    {
        const ProjectHandle project = m_window->project();
        project->addTrack({}, 1)->samples[0].resize(5000);
        project->viewStart = 100;
        project->viewEnd = 200;
        m_window->updateTrackViews();
        QCOMPARE(project->viewStart, 100);
        QCOMPARE(project->viewEnd, 200);
    }

    void updateTrackViewsRepaintsEveryWaveformViewOfARangeThatIsSet()
    {
        showTwoTracks();
        QCOMPARE(m_window->project()->viewEnd, 1000);
        const PaintCounter first(*strips()[0]->waveform());
        const PaintCounter second(*strips()[1]->waveform());
        m_window->updateTrackViews();
        QTRY_VERIFY(first.count() >= 1 && second.count() >= 1);
    }

    void clearOfAnUntaintedProjectDoesNotAsk()
    {
        const ProjectHandle before = m_window->project();
        QVERIFY(m_window->clear());
        QVERIFY(m_window->project() != before);
        QCOMPARE(m_window->project()->sampleRate, 44100);
    }

    void clearAsksAndCancelKeepsEverything()
    {
        m_window->addTrack();
        const ProjectHandle before = m_window->project();
        QStringList seen;
        pressInNextBox(QStringLiteral("&Cancel"), &seen);
        QVERIFY(!m_window->clear());
        seen.sort();
        QCOMPARE(seen, (QStringList{"&Cancel", "&Discard",
                                    "The project has unsaved changes. Discard them?",
                                    "Unsaved Changes"}));
        QCOMPARE(m_window->project(), before);
        QVERIFY(before->tainted);
        QCOMPARE(strips().size(), 1);
    }

    void clearAsksAndDiscardReplacesTheProject()
    {
        m_window->addTrack();
        QStringList seen;
        pressInNextBox(QStringLiteral("&Discard"), &seen);
        QVERIFY(m_window->clear());
        QVERIFY(m_window->project()->tracks.isEmpty());
        QVERIFY(!m_window->project()->tainted);
        QVERIFY(strips().isEmpty());
    }

    void theQuestionCancelsOnEscapeAndByDefault()
    {
        m_window->addTrack();
        QTimer::singleShot(0, qApp, [] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            QVERIFY(box);
            QCOMPARE(box->escapeButton()->text(), "&Cancel");
            QCOMPARE(box->defaultButton()->text(), "&Cancel");
            QTest::keyClick(box, Qt::Key_Escape);
        });
        QVERIFY(!m_window->clear());
    }

    void theQuestionsButtonsHaveTheirRoles()
    {
        m_window->addTrack();
        QMap<QString, QMessageBox::ButtonRole> roles;
        QTimer::singleShot(0, qApp, [&roles] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            QVERIFY(box);
            for (QAbstractButton* button : box->buttons())
                roles.insert(button->text(), box->buttonRole(button));
            QTest::keyClick(box, Qt::Key_Escape);
        });
        QVERIFY(!m_window->clear());
        QCOMPARE(roles.size(), 2);
        QCOMPARE(roles["&Discard"], QMessageBox::DestructiveRole);
        QCOMPARE(roles["&Cancel"], QMessageBox::RejectRole);
    }

    void closingATaintedWindowAsksTheSameQuestion()
    {
        m_window->addTrack();
        m_window->show();
        QStringList seen;
        pressInNextBox(QStringLiteral("&Cancel"), &seen);
        QVERIFY(!m_window->close());
        QVERIFY(m_window->isVisible());
        pressInNextBox(QStringLiteral("&Discard"), &seen);
        QVERIFY(m_window->close());
        QCOMPARE(seen.count(QStringLiteral("Unsaved Changes")), 2);
    }

    void cursorAndViewRangeAreSharedByAllStrips()
    {
        m_window->addTrack();
        m_window->addTrack();
        m_window->show();
        const ProjectHandle project = m_window->project();
        project->tracks[0]->samples[0].resize(44100);
        WaveformView* second = strips()[1]->waveform();
        second->setViewRange(0, 10 * second->width());
        m_log->tolerate(QtWarningMsg, QStringLiteral("not accepted by receiving widget"));
        QTest::mouseClick(second, Qt::LeftButton, {}, QPoint(4410 / 10, 40));
        QCOMPARE(project->cursor.position, 4410);
        QCOMPARE(shownPosition(), "00:00:00.100");
        QCOMPARE(strips()[0]->waveform()->xToSample(441), 4410);
    }

    void fullscreenIsRememberedWhileAStoreLives()
    {
        m_window->toggleFullscreen(true);
        QVERIFY(m_window->isFullScreen());
        m_window->toggleFullscreen(false);
        QVERIFY(!m_window->isFullScreen());
    }

    void keyboardHelpOpensAndIsKept()
    {
        m_window->show();
        m_window->triggerKeyboardHelp();
        const auto isHelp = [](const QWidget* widget) {
            return widget->objectName() == QLatin1String("ShortcutHelpWidget");
        };
        const QWidgetList windows = QApplication::topLevelWidgets();
        const auto help = std::find_if(windows.cbegin(), windows.cend(), isHelp);
        QVERIFY(help != windows.cend());
        QVERIFY((*help)->isVisible());
        QCOMPARE((*help)->windowTitle(), "Keyboard Shortcuts");
        (*help)->close();
        m_window->triggerKeyboardHelp();
        QVERIFY((*help)->isVisible());
    }

    void focusPassesTheToolbarInTheEyesOrder()
    {
        m_window->addTrack();
        m_window->show();
        QStringList order;
        const QWidget* widget = child<IconButton>("pushButtonLoad");
        for (int i = 0; i < 9; ++i) {
            order.append(widget->objectName());
            do
                widget = widget->nextInFocusChain();
            while ((widget->focusPolicy() & Qt::TabFocus) == 0 || !widget->isVisible());
        }
        QCOMPARE(order, (QStringList{"pushButtonLoad", "pushButtonSave", "pushButtonClear",
                                     "pushButtonGoStart", "pushButtonPlayStop", "pushButtonStop",
                                     "pushButtonRecord", "pushButtonGoEnd", "pushButtonHelp"}));
    }
};

QTEST_MAIN(TestVela)
#include "tst_vela.moc"
