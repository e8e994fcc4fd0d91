#include "project/velaproject.h"
#include "support/logcatcher.h"
#include "support/metamethods.h"
#include "widgets/namelabel.h"
#include "widgets/trackheaderwidget.h"
#include "widgets/trackwidget.h"
#include "widgets/waveformview.h"

#include <QContextMenuEvent>
#include <QLayout>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <memory>

class TestTrackWidget : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        // Said of every window of a least size.
        m_log->tolerate(QtWarningMsg, "propagateSizeHints");
    }

    void cleanup() { m_log.reset(); }

    void theWaveformTakesWhatTheHeaderLeaves()
    {
        TrackWidget strip;
        QCOMPARE(strip.minimumHeight(), 80);
        QCOMPARE(strip.layout()->contentsMargins(), QMargins());
        QCOMPARE(strip.layout()->spacing(), 0);
        strip.resize(640, 100);
        strip.show();
        QVERIFY(QTest::qWaitForWindowExposed(&strip));
        QCOMPARE(strip.header()->geometry(), QRect(0, 0, 140, 100));
        QCOMPARE(strip.waveform()->geometry(), QRect(140, 0, 500, 100));
    }

    void signalsStandInTheirOrderWithTheirParameters()
    {
        QCOMPARE(declaredMethods(TrackWidget::staticMetaObject),
                 (QStringList{"cursorMoved(sample)", "selectionChanged(begin,end)",
                              "viewRangeChanged(begin,end)", "heightStepped(steps)",
                              "removeRequested()"}));
    }

    void theWaveformsSignalsAreForwarded()
    {
        TrackWidget strip;
        QSignalSpy cursors(&strip, &TrackWidget::cursorMoved);
        QSignalSpy selections(&strip, &TrackWidget::selectionChanged);
        QSignalSpy ranges(&strip, &TrackWidget::viewRangeChanged);
        emit strip.waveform()->cursorMoved(5);
        emit strip.waveform()->selectionChanged(6, 7);
        emit strip.waveform()->viewRangeChanged(8, 9);
        QCOMPARE(cursors, (QList<QList<QVariant>>{{5}}));
        QCOMPARE(selections, (QList<QList<QVariant>>{{6, 7}}));
        QCOMPARE(ranges, (QList<QList<QVariant>>{{8, 9}}));
    }

    void setTrackReachesBothParts()
    {
        TrackWidget strip;
        const auto track = TrackHandle::create("Take", 1, 44100);
        strip.setTrack(track);
        QCOMPARE(strip.header()->track(), track);
        QCOMPARE(strip.waveform()->accessibleName(), "Waveform of Take");
        QCOMPARE(strip.accessibleName(), "Take");
    }

    void ofAVeryLongNameOnlyTheBeginningIsTold()
    {
        const QString name(kMaxShownName + 1, u'x');
        const QString shown = QString(kMaxShownName, u'x') + QChar(0x2026);
        TrackWidget strip;
        const auto track = TrackHandle::create(name, 1, 44100);
        strip.setTrack(track);
        QCOMPARE(strip.accessibleName(), shown);
        QCOMPARE(strip.waveform()->accessibleName(), "Waveform of " + shown);
        strip.setTrack({});
        strip.setAccessibleName({});
        emit strip.header()->nameChanged(name);
        QCOMPARE(strip.accessibleName(), shown);
    }

    void theStripKeepsItsTrackAlive()
    {
        TrackWidget strip;
        auto track = TrackHandle::create("Take", 1, 44100);
        const QWeakPointer<Track> watch = track;
        strip.setTrack(track);
        track.reset();
        QVERIFY(!watch.isNull());
        strip.grab(); // draws it
        strip.setTrack({});
        QVERIFY(watch.isNull());
        strip.grab();
    }

    void aRenameReachesTheWaveformsAccessibleName()
    {
        TrackWidget strip;
        const auto track = TrackHandle::create("Take", 1, 44100);
        strip.setTrack(track);
        track->name = "Bass";
        emit strip.header()->nameChanged("Bass");
        QCOMPARE(strip.waveform()->accessibleName(), "Waveform of Bass");
        QCOMPARE(strip.accessibleName(), "Bass");
    }

    void theWaveformIsReachedByTabAfterTheHead()
    {
        const TrackWidget strip;
        QCOMPARE(strip.waveform()->focusPolicy(), Qt::StrongFocus);
        const QWidget* solo = strip.header()->findChildren<QPushButton*>().at(1);
        QCOMPARE(solo->nextInFocusChain(), strip.waveform());
    }

    void keysDoWhatTheMouseDoes_data()
    {
        QTest::addColumn<QKeyCombination>("keys");
        QTest::addColumn<qint64>("cursor");
        QTest::addColumn<qint64>("begin");
        QTest::addColumn<qint64>("end");
        const auto row = [](const char* name, QKeyCombination keys, qint64 cursor, qint64 begin,
                            qint64 end) { QTest::newRow(name) << keys << cursor << begin << end; };
        // 500 pixels show frames 1000 to 6000, the cursor is in the middle.
        row("a pixel earlier", Qt::Key_Left, 3490, 1000, 6000);
        row("a pixel later", Qt::Key_Right, 3510, 1000, 6000);
        row("fifty earlier", Qt::CTRL | Qt::Key_Left, 3000, 1000, 6000);
        row("fifty later", Qt::CTRL | Qt::Key_Right, 4000, 1000, 6000);
        row("an eighth to the left", Qt::ALT | Qt::Key_Left, 3500, 380, 5380);
        row("an eighth to the right", Qt::ALT | Qt::Key_Right, 3500, 1620, 6620);
        row("in", Qt::Key_Plus, 3500, 1500, 5500);
        row("in, of a key with two signs", Qt::SHIFT | Qt::Key_Plus, 3500, 1500, 5500);
        row("in, by the number block", QKeyCombination(Qt::KeypadModifier, Qt::Key_Plus), 3500,
            1500, 5500);
        row("out", Qt::Key_Minus, 3500, 375, 6625);
    }

    void keysDoWhatTheMouseDoes()
    {
        QFETCH(QKeyCombination, keys);
        const auto project = VelaProject::create(1000);
        project->addTrack("Take", 1)->samples[0].resize(8000);
        TrackWidget strip;
        strip.setTrack(project->tracks.constFirst());
        strip.waveform()->setViewState(project.data());
        strip.resize(640, 100);
        strip.show();
        QVERIFY(QTest::qWaitForWindowExposed(&strip));
        strip.waveform()->setViewRange(1000, 6000);
        project->cursor.position = 3500;
        QTest::keyClick(strip.waveform(), keys.key(), keys.keyboardModifiers());
        QTEST(project->cursor.position, "cursor");
        QTEST(project->viewStart, "begin");
        QTEST(project->viewEnd, "end");
    }

    void keysThatOnlyTheHelpKnowsDoNothing()
    {
        const auto project = VelaProject::create(1000);
        project->addTrack("Take", 1)->samples[0].resize(8000);
        TrackWidget strip;
        strip.setTrack(project->tracks.constFirst());
        strip.waveform()->setViewState(project.data());
        strip.waveform()->setViewRange(1000, 6000);
        QSignalSpy removals(&strip, &TrackWidget::removeRequested);
        for (const QKeyCombination keys :
             {Qt::CTRL | Qt::Key_Plus, Qt::CTRL | Qt::Key_Minus, Qt::CTRL | Qt::Key_E,
              QKeyCombination(Qt::Key_M), QKeyCombination(Qt::Key_S), QKeyCombination(Qt::Key_F2),
              QKeyCombination(Qt::Key_Delete), Qt::CTRL | Qt::SHIFT | Qt::Key_T})
            QTest::keyClick(strip.waveform(), keys.key(), keys.keyboardModifiers());
        QCOMPARE(project->viewStart, 1000);
        QCOMPARE(project->viewEnd, 6000);
        QCOMPARE(removals.count(), 0);
        QVERIFY(strip.header()->findChild<QLineEdit*>()->isHidden());
        QVERIFY(!project->tracks.constFirst()->muted);
        QVERIFY(!project->tracks.constFirst()->solo);
    }

    void keysOnTheNameStepTheHeight()
    {
        TrackWidget strip;
        QSignalSpy steps(&strip, &TrackWidget::heightStepped);
        QWidget* name = strip.header()->findChild<NameLabel*>();
        QTest::keyClick(name, Qt::Key_Up, Qt::AltModifier);
        QTest::keyClick(name, Qt::Key_Down, Qt::AltModifier);
        QCOMPARE(steps, (QList<QList<QVariant>>{{1}, {-1}}));
    }

    void theContextMenuOffersTheRest()
    {
        TrackWidget strip;
        QSignalSpy steps(&strip, &TrackWidget::heightStepped);
        QSignalSpy removals(&strip, &TrackWidget::removeRequested);
        strip.show();
        QContextMenuEvent asked(QContextMenuEvent::Keyboard, QPoint(200, 40), QPoint(200, 40));
        QCoreApplication::sendEvent(strip.waveform(), &asked);
        auto* menu = strip.findChild<QMenu*>();
        QVERIFY(menu != nullptr);
        QStringList texts;
        for (QAction* action : menu->actions()) {
            texts.append(action->text());
            if (!action->isSeparator() && !action->text().startsWith(QStringLiteral("Zoom")))
                action->trigger();
        }
        QCOMPARE(texts, (QStringList{"Zoom In\t+", "Zoom Out\t-", "Higher Strip\tAlt+Up",
                                     "Lower Strip\tAlt+Down", "", "Remove Track"}));
        QCOMPARE(steps, (QList<QList<QVariant>>{{1}, {-1}}));
        QCOMPARE(removals.count(), 1);
    }
};

QTEST_MAIN(TestTrackWidget)
#include "tst_trackwidget.moc"
