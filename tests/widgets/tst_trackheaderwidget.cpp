#include "support/logcatcher.h"
#include "support/metamethods.h"
#include "widgets/namelabel.h"
#include "widgets/trackheaderwidget.h"

#include <QAccessible>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <memory>

class TestTrackHeaderWidget : public QObject {
    Q_OBJECT

private:
    [[nodiscard]] QPushButton* button(const QString& text) const
    {
        for (QPushButton* candidate : m_header->findChildren<QPushButton*>()) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }

    static void toggleByAssistiveTechnology(QPushButton* button)
    {
        QAccessibleInterface* const control = QAccessible::queryAccessibleInterface(button);
        control->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
    }

    [[nodiscard]] QLabel* label() const { return m_header->findChild<QLabel*>(); }

    [[nodiscard]] QLineEdit* editor() const { return m_header->findChild<QLineEdit*>(); }

    void startRenaming() const
    {
        QTest::mouseDClick(m_header.get(), Qt::LeftButton, {}, {100, 100});
    }

    void typeName(const QString& name) const
    {
        QTest::keyClicks(editor(), name);
        QTest::keyClick(editor(), Qt::Key_Return);
    }

    std::unique_ptr<LogCatcher> m_log;
    TrackHandle m_track;
    std::unique_ptr<TrackHeaderWidget> m_header;

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        // Said of every window of a fixed size.
        m_log->tolerate(QtWarningMsg, "propagateSizeHints");
        m_track = TrackHandle::create("Take", 1, 44100);
        m_header = std::make_unique<TrackHeaderWidget>();
        m_header->setTrack(m_track);
        m_header->resize(140, 120);
        m_header->show();
        QVERIFY(QTest::qWaitForWindowActive(m_header.get()));
    }

    void cleanup()
    {
        m_header.reset();
        m_log.reset();
    }

    void constructionLaysOutNameAndButtons()
    {
        QCOMPARE(m_header->width(), 140);
        QCOMPARE(m_header->minimumWidth(), 140);
        QCOMPARE(m_header->maximumWidth(), 140);
        QCOMPARE(m_header->sizePolicy(), QSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding));
        QCOMPARE(m_header->styleSheet(),
                 "TrackHeaderWidget { background: #2a2a2a; border-right: 1px solid #555; }");
        QCOMPARE(label()->text(), "Take");
        QCOMPARE(label()->alignment(), Qt::AlignCenter);
        QCOMPARE(label()->styleSheet(), "QLabel { color: #ddd; font-weight: bold; padding: 2px; }");
        QVERIFY(editor()->isHidden());
        QCOMPARE(editor()->alignment(), Qt::AlignCenter);
        QCOMPARE(button("M")->toolTip(), "Mute");
        QCOMPARE(button("S")->toolTip(), "Solo");
        QCOMPARE(button("M")->geometry().size(), QSize(30, 24));
        QCOMPARE(button("S")->geometry().size(), QSize(30, 24));
        QCOMPARE(button("M")->x(), 4);
        QCOMPARE(button("S")->x(), 4 + 30 + 2);
        QCOMPARE(button("M")->styleSheet(),
                 "QPushButton { background: #444; color: #aaa; border: 1px solid #555; "
                 "border-radius: 3px; font-weight: bold; }QPushButton:checked { background: "
                 "#c44; color: #fff; }");
        QCOMPARE(button("S")->styleSheet(),
                 "QPushButton { background: #444; color: #aaa; border: 1px solid #555; "
                 "border-radius: 3px; font-weight: bold; }QPushButton:checked { background: "
                 "#cc4; color: #333; }");
    }

    void signalsAndSlotsStandInTheirOrderWithTheirParameters()
    {
        QCOMPARE(declaredMethods(TrackHeaderWidget::staticMetaObject),
                 (QStringList{"muteToggled(muted)", "soloToggled(solo)", "nameChanged(name)",
                              "onMuteClicked()", "onSoloClicked()", "onNameEditFinished()"}));
    }

    void ofAVeryLongNameOnlyTheBeginningIsShownAndTold()
    {
        const QString shown = QString(kMaxShownName, u'x') + QChar(0x2026);
        m_track->name = QString(kMaxShownName, u'x');
        m_header->setTrack(m_track);
        QCOMPARE(label()->text(), m_track->name);
        m_track->name += u'x';
        m_header->setTrack(m_track);
        QCOMPARE(label()->text(), shown);
        QCOMPARE(label()->toolTip(), shown);
        QCOMPARE(button("M")->accessibleName(), "Mute " + shown);
        QCOMPARE(button("S")->accessibleName(), "Solo " + shown);
        QCOMPARE(m_track->name.size(), kMaxShownName + 1);
    }

    void noCharacterIsCutInTwo()
    {
        const QString clef = QString::fromUcs4(U"\U0001D11E", 1);
        const QString name = QString(kMaxShownName - 1, u'x') + clef;
        QCOMPARE(shownName(name), QString(kMaxShownName - 1, u'x') + QChar(0x2026));
    }

    void aNameThatTheFieldCannotHoldSurvivesAnEditWithoutAChange()
    {
        const QString name(40000, u'x');
        m_track->name = name;
        QSignalSpy renames(m_header.get(), &TrackHeaderWidget::nameChanged);
        startRenaming();
        QTest::keyClick(editor(), Qt::Key_Return);
        QCOMPARE(m_track->name, name);
        QCOMPARE(renames.count(), 0);
        startRenaming();
        typeName("Bass");
        QCOMPARE(m_track->name, "Bass");
    }

    void theStyledBackgroundIsDrawn()
    {
        const QImage image = m_header->grab().toImage();
        QCOMPARE(image.pixel(10, image.height() - 3), qRgb(0x2a, 0x2a, 0x2a));
        QCOMPARE(image.pixel(image.width() - 1, 5), qRgb(0x55, 0x55, 0x55));
    }

    void setTrackShowsTheTrackAndEmitsNothing()
    {
        QSignalSpy mutes(m_header.get(), &TrackHeaderWidget::muteToggled);
        QSignalSpy solos(m_header.get(), &TrackHeaderWidget::soloToggled);
        const auto other = TrackHandle::create("Other", 1, 44100);
        other->muted = true;
        other->solo = true;
        m_header->setTrack(other);
        QCOMPARE(label()->text(), "Other");
        QVERIFY(button("M")->isChecked());
        QVERIFY(button("S")->isChecked());
        m_header->setTrack({});
        QVERIFY(label()->text().isEmpty());
        QVERIFY(!button("M")->isChecked());
        QVERIFY(!button("S")->isChecked());
        QVERIFY(mutes.isEmpty() && solos.isEmpty());
    }

    void clicksWriteTheTracksFlags()
    {
        QSignalSpy mutes(m_header.get(), &TrackHeaderWidget::muteToggled);
        QSignalSpy solos(m_header.get(), &TrackHeaderWidget::soloToggled);
        button("M")->click();
        QVERIFY(m_track->muted);
        button("M")->click();
        QVERIFY(!m_track->muted);
        button("S")->click();
        QVERIFY(m_track->solo);
        QCOMPARE(mutes, (QList<QList<QVariant>>{{true}, {false}}));
        QCOMPARE(solos, (QList<QList<QVariant>>{{true}}));
    }

    void withoutATrackButtonsToggleSilently()
    {
        m_header->setTrack({});
        QSignalSpy mutes(m_header.get(), &TrackHeaderWidget::muteToggled);
        QSignalSpy solos(m_header.get(), &TrackHeaderWidget::soloToggled);
        button("M")->click();
        button("S")->click();
        QVERIFY(button("M")->isChecked());
        QVERIFY(button("S")->isChecked());
        QVERIFY(mutes.isEmpty() && solos.isEmpty());
        startRenaming();
        QVERIFY(editor()->isHidden());
    }

    void aDoubleClickOnTheNameStartsRenaming()
    {
        QTest::mouseDClick(label(), Qt::LeftButton);
        QVERIFY(editor()->isVisible());
        QVERIFY(editor()->hasFocus());
        QVERIFY(!label()->isVisible());
        QCOMPARE(editor()->text(), "Take");
        QCOMPARE(editor()->selectedText(), "Take");
    }

    void aNewNameIsStoredTrimmed()
    {
        QSignalSpy names(m_header.get(), &TrackHeaderWidget::nameChanged);
        startRenaming();
        typeName("  Lead vocals \t");
        QCOMPARE(m_track->name, "Lead vocals");
        QCOMPARE(label()->text(), "Lead vocals");
        QVERIFY(label()->isVisible());
        QVERIFY(editor()->isHidden());
        QCOMPARE(names, (QList<QList<QVariant>>{{"Lead vocals"}}));
        QCOMPARE(button("M")->accessibleName(), "Mute Lead vocals");
    }

    void anEmptyOrUnchangedNameIsDropped()
    {
        QSignalSpy names(m_header.get(), &TrackHeaderWidget::nameChanged);
        for (const QString& text : {QStringLiteral("   "), QStringLiteral(" Take ")}) {
            startRenaming();
            typeName(text);
            QCOMPARE(m_track->name, "Take");
            QCOMPARE(label()->text(), "Take");
            QVERIFY(editor()->isHidden());
        }
        QVERIFY(names.isEmpty());
    }

    void losingTheFocusKeepsTheNewName()
    {
        startRenaming();
        QTest::keyClicks(editor(), "Bass");
        button("M")->setFocus();
        QCOMPARE(m_track->name, "Bass");
        QVERIFY(editor()->isHidden());
        QVERIFY(button("M")->hasFocus());
    }

    void leavingTheWindowKeepsTheNewNameAndTheKeyboardOnIt()
    {
        startRenaming();
        QTest::keyClicks(editor(), "Bass");
        QWidget other;
        other.show();
        other.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        QCOMPARE(m_track->name, "Bass");
        QVERIFY(editor()->isHidden());
        m_header->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_header.get()));
        QVERIFY(label()->hasFocus());
    }

    void escapeKeepsTheOldName()
    {
        QSignalSpy names(m_header.get(), &TrackHeaderWidget::nameChanged);
        startRenaming();
        QTest::keyClicks(editor(), "Bass");
        QTest::keyClick(editor(), Qt::Key_Escape);
        QCOMPARE(m_track->name, "Take");
        QVERIFY(editor()->isHidden());
        QVERIFY(label()->isVisible());
        QVERIFY(names.isEmpty());
        startRenaming();
        typeName("Drums");
        QCOMPARE(m_track->name, "Drums");
    }

    void afterRenamingNoButtonHasTheFocus()
    {
        startRenaming();
        typeName("Bass");
        QVERIFY(!button("M")->hasFocus());
        QVERIFY(!button("S")->hasFocus());
    }

    void aSecondDoubleClickDoesNotRestartTheEdit()
    {
        startRenaming();
        QTest::keyClicks(editor(), "Ba");
        startRenaming();
        QCOMPARE(editor()->text(), "Ba");
        QVERIFY(editor()->isVisible());
    }

    void anotherTrackDropsTheEdit()
    {
        const auto other = TrackHandle::create("Other", 1, 44100);
        startRenaming();
        QTest::keyClicks(editor(), "Bass");
        m_header->setTrack(other);
        QVERIFY(editor()->isHidden());
        QCOMPARE(m_track->name, "Take");
        QCOMPARE(other->name, "Other");
        QCOMPARE(label()->text(), "Other");
    }

    void aHeaderThatDiesWhileRenamingKeepsTheOldName()
    {
        startRenaming();
        QTest::keyClicks(editor(), "Bass");
        m_header.reset();
        QCOMPARE(m_track->name, "Take");
    }

    void editFinishedWithoutAnEditDoesNothing()
    {
        editor()->setText("Bass");
        m_header->onNameEditFinished();
        QCOMPARE(m_track->name, "Take");
    }

    void aLongNameIsElidedAndItsToolTipShowsItAll()
    {
        const QString name = QStringLiteral("A name that is far too long for the header");
        m_header->setTrack(TrackHandle::create(name, 1, 44100));
        QCOMPARE(m_header->width(), 140);
        QCOMPARE(label()->text(), name);
        QCOMPARE(label()->toolTip(), name);
        QVERIFY(label()->minimumSizeHint().width() < 132);
        QVERIFY(label()->geometry().right() <= 135);
        // The elided picture of a long name begins as it begins: not centred and cut.
        const QImage longName = label()->grab().toImage();
        m_header->setTrack(TrackHandle::create(name + " and longer", 1, 44100));
        QVERIFY(label()->grab().toImage() == longName);
    }

    void aNameThatLooksLikeMarkupIsShownAsItIs()
    {
        m_header->setTrack(TrackHandle::create("<b>Bass</b>", 1, 44100));
        QCOMPARE(label()->textFormat(), Qt::PlainText);
        QCOMPARE(label()->toolTip(), "<qt>&lt;b&gt;Bass&lt;/b&gt;</qt>");
    }

    void assistiveTechnologyIsToldButtonAndTrack()
    {
        QCOMPARE(button("M")->accessibleName(), "Mute Take");
        QCOMPARE(button("S")->accessibleName(), "Solo Take");
        QCOMPARE(editor()->accessibleName(), "Track name");
        m_header->setTrack({});
        QCOMPARE(button("M")->accessibleName(), "Mute");
        QCOMPARE(button("S")->accessibleName(), "Solo");
    }

    void assistiveTechnologyTogglesAsAClickDoes()
    {
        QSignalSpy mutes(m_header.get(), &TrackHeaderWidget::muteToggled);
        QSignalSpy solos(m_header.get(), &TrackHeaderWidget::soloToggled);
        toggleByAssistiveTechnology(button("M"));
        QTRY_VERIFY(m_track->muted);
        toggleByAssistiveTechnology(button("S"));
        QTRY_VERIFY(m_track->solo);
        toggleByAssistiveTechnology(button("M"));
        QTRY_VERIFY(!m_track->muted);
        QCOMPARE(mutes, (QList<QList<QVariant>>{{true}, {false}}));
        QCOMPARE(solos, (QList<QList<QVariant>>{{true}}));
    }

    void aClickIsCountedOnceAfterEverythingPendingIsDone()
    {
        QSignalSpy mutes(m_header.get(), &TrackHeaderWidget::muteToggled);
        button("M")->click();
        QCoreApplication::processEvents();
        QCOMPARE(mutes, (QList<QList<QVariant>>{{true}}));
    }

    void returnOnTheNameRenamesAndGivesTheKeyboardBack()
    {
        label()->setFocus(Qt::TabFocusReason);
        QVERIFY(label()->hasFocus());
        QTest::keyClick(label(), Qt::Key_Return);
        QVERIFY(editor()->hasFocus());
        QCOMPARE(editor()->selectedText(), "Take");
        typeName("Bass");
        QCOMPARE(m_track->name, "Bass");
        QVERIFY(label()->hasFocus());
        QTest::keyClick(label(), Qt::Key_Enter);
        QTest::keyClick(editor(), Qt::Key_Escape);
        QVERIFY(label()->hasFocus());
        QVERIFY(m_header->toolTip().contains("Return"));
    }

    void aClickOnTheNameLeavesTheKeyboardWhereItIs()
    {
        button("S")->setFocus();
        QTest::mouseClick(label(), Qt::LeftButton);
        QVERIFY(button("S")->hasFocus());
    }

    void returnOnTheNameOfNoTrackDoesNothing()
    {
        m_header->setTrack({});
        QTest::keyClick(label(), Qt::Key_Return);
        QVERIFY(editor()->isHidden());
    }

    void whatHasTheKeyboardIsMarkedOnceTheKeyboardMovesIt()
    {
        const QList<QWidget*> controls{label(), button("M"), button("S")};
        for (QWidget* control : controls) {
            m_header->setAttribute(Qt::WA_KeyboardFocusChange, false);
            control->setFocus();
            const QImage unmarked = control->grab().toImage();
            QVERIFY(unmarked.pixelColor(8, 0) != Qt::white);
            m_header->setAttribute(Qt::WA_KeyboardFocusChange);
            const QImage marked = control->grab().toImage();
            QCOMPARE(marked.pixelColor(8, 0), QColor(Qt::white));
            QCOMPARE(marked.pixelColor(8, control->height() - 1), QColor(Qt::white));
            QCOMPARE(marked.pixelColor(8, 1), QColor(0x10, 0x10, 0x10));
            control->clearFocus();
            QVERIFY(control->grab().toImage().pixelColor(8, 0) != Qt::white);
        }
    }

    void tabGoesFromNameToMuteToSolo()
    {
        startRenaming();
        QTest::keyClick(editor(), Qt::Key_Tab);
        QVERIFY(button("M")->hasFocus());
        QVERIFY(editor()->isHidden());
        QTest::keyClick(button("M"), Qt::Key_Tab);
        QVERIFY(button("S")->hasFocus());
    }
};

QTEST_MAIN(TestTrackHeaderWidget)
#include "tst_trackheaderwidget.moc"
