#include "app/trackstack.h"
#include "project/projectserializer.h"
#include "support/logcatcher.h"
#include "support/paintcounter.h"
#include "widgets/trackheaderwidget.h"
#include "widgets/trackwidget.h"
#include "widgets/waveformview.h"

#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSplitter>
#include <QTest>
#include <QVBoxLayout>

#include <functional>
#include <malloc.h>
#include <memory>

using Action = std::function<void(WaveformView&)>;
Q_DECLARE_METATYPE(Action)

namespace {

constexpr int kCrowd = 30;

/// A button above more strips than the window has room for.
struct CrowdedWindow {
    QWidget window;
    QPushButton* button = new QPushButton;
    TrackStack* stack = new TrackStack;

    CrowdedWindow()
    {
        auto* column = new QVBoxLayout(&window);
        column->addWidget(button);
        column->addWidget(stack);
        const auto project = VelaProject::create();
        for (int i = 0; i < kCrowd; ++i)
            project->addTrack({}, 2);
        stack->rebuild(project);
        window.resize(500, 300);
        window.show();
    }

    [[nodiscard]] bool isReady()
    {
        return QTest::qWaitForWindowActive(&window) && QTest::qWaitFor([this] {
                   return stack->verticalScrollBar()->maximum() > kCrowd * 80 - 300;
               });
    }

    [[nodiscard]] TrackWidget* first() const { return stack->strips().constFirst(); }

    [[nodiscard]] TrackWidget* last() const { return stack->strips().constLast(); }

    [[nodiscard]] bool isInSight(const QWidget* widget) const
    {
        const QRect place(widget->mapTo(stack->viewport(), QPoint()), widget->size());
        return stack->viewport()->rect().contains(place);
    }
};

} // namespace

class TestTrackStack : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<TrackStack> m_stack;

    [[nodiscard]] QSplitter* splitter() const
    {
        return m_stack->findChild<QSplitter*>(QStringLiteral("trackSplitter"));
    }

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_stack = std::make_unique<TrackStack>();
    }

    void cleanup()
    {
        m_stack.reset();
        m_log.reset();
    }

    void rebuildMakesOneStripPerTrackInOrder()
    {
        const auto project = VelaProject::create();
        for (int i = 0; i < 3; ++i)
            project->addTrack({}, 2);
        m_stack->rebuild(project);
        QCOMPARE(m_stack->strips().size(), 3);
        QCOMPARE(splitter()->count(), 3);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(splitter()->widget(i), m_stack->strips()[i]);
    }

    void aStripTakesNoMoreMemoryThanAProjectIsChargedForItsTrack()
    {
        const auto inUse = [] { return static_cast<qint64>(mallinfo2().uordblks); };
        constexpr int kStrips = 200;
        const auto project = VelaProject::create();
        project->addTrack({}, 2);
        m_stack->rebuild(project);
        m_stack->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_stack.get()));
        const qint64 before = inUse();
        for (int i = 0; i < kStrips; ++i)
            project->addTrack({}, 2);
        m_stack->rebuild(project);
        QCoreApplication::processEvents();
        const qint64 each = (inUse() - before) / kStrips;
        QVERIFY2(each <= kTrackBytes, qPrintable(QString::number(each)));
    }

    void veryManyStripsAreAllShown()
    {
        const auto project = VelaProject::create();
        for (int i = 0; i < 300; ++i)
            project->addTrack({}, 2);
        m_stack->rebuild(project);
        m_stack->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_stack.get()));
        QCOMPARE(splitter()->height(), 300 * 80 + 299 * 4); // with the handles between them
        QCOMPARE(m_stack->strips().constLast()->height(), 80);
    }

    void rebuildKeepsTheStripsOfTracksThatStay()
    {
        const auto project = VelaProject::create();
        for (int i = 0; i < 3; ++i)
            project->addTrack({}, 2);
        m_stack->rebuild(project);
        const QList<TrackWidget*> before = m_stack->strips();
        const QPointer<TrackWidget> dropped = before[1];
        project->removeTrack(1);
        project->addTrack({}, 2);
        m_stack->rebuild(project);
        QCOMPARE(m_stack->strips().size(), 3);
        QCOMPARE(m_stack->strips()[0], before[0]);
        QCOMPARE(m_stack->strips()[1], before[2]);
        QCOMPARE(splitter()->widget(1), before[2]);
        QVERIFY(dropped.isNull());
    }

    void rebuildForAnotherProjectKeepsNothingOfTheOld()
    {
        auto project = VelaProject::create();
        project->addTrack({}, 2);
        m_stack->rebuild(project);
        const QPointer<TrackWidget> old = m_stack->strips().constFirst();
        const QWeakPointer<VelaProject> former = project;
        project.reset();
        m_stack->rebuild(VelaProject::create());
        QVERIFY(old.isNull());
        QVERIFY(m_stack->strips().isEmpty());
        QVERIFY(former.isNull());
    }

    void aClickInOneStripTellsThatThePositionWasEdited()
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 1)->samples[0].resize(1000);
        m_stack->rebuild(project);
        m_stack->resize(500, 200);
        m_stack->show();
        QSignalSpy edited(m_stack.get(), &TrackStack::positionEdited);
        WaveformView* view = m_stack->strips().constFirst()->waveform();
        view->setViewRange(0, view->width());
        m_log->tolerate(QtWarningMsg, QStringLiteral("not accepted by receiving widget"));
        QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(100, 50));
        QVERIFY(edited.count() >= 1);
        QCOMPARE(project->cursor.position, 100);
    }

    void whatIsDoneInOneStripRepaintsTheOthers_data()
    {
        QTest::addColumn<Action>("action");
        const auto row = [](const char* name, const Action& action) {
            QTest::newRow(name) << action;
        };
        row("a zoom", [](WaveformView& view) { view.zoom(1); });
        row("a range", [](WaveformView& view) { view.setViewRange(100, 300); });
        row("a cursor", [](WaveformView& view) { view.placeCursor(50); });
        row("a press", [](WaveformView& view) {
            QTest::mousePress(&view, Qt::LeftButton, {}, {100, 50});
        });
        row("a selection", [](WaveformView& view) { emit view.selectionChanged(10, 20); });
    }

    void whatIsDoneInOneStripRepaintsTheOthers()
    {
        QFETCH(Action, action);
        m_log->tolerate(QtWarningMsg, QStringLiteral("not accepted by receiving widget"));
        const auto project = VelaProject::create();
        for (int i = 0; i < 2; ++i)
            project->addTrack({}, 1)->samples[0].resize(1000);
        m_stack->rebuild(project);
        m_stack->resize(500, 400);
        m_stack->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_stack.get()));
        WaveformView* const used = m_stack->strips()[0]->waveform();
        used->setViewRange(0, 1000);
        QTest::qWait(60); // what showing it has left to paint
        const PaintCounter paints(*m_stack->strips()[1]->waveform());
        action(*used);
        QTRY_VERIFY(paints.count() >= 1);
    }

    void saysHowToBeginUntilThereIsATrack()
    {
        const auto project = VelaProject::create();
        m_stack->rebuild(project);
        m_stack->show();
        const auto* hint = m_stack->findChild<QLabel*>(QStringLiteral("labelHowToBegin"));
        QVERIFY(hint->isVisible());
        QVERIFY(hint->text().contains(QStringLiteral("Ctrl+O")));
        QCOMPARE(hint->size(), m_stack->viewport()->size());
        const QImage shown = m_stack->grab().toImage();
        QImage blank(shown.size(), shown.format());
        blank.setDevicePixelRatio(shown.devicePixelRatio());
        blank.fill(shown.pixelColor(0, 0));
        QVERIFY(shown != blank);
        project->addTrack({}, 2);
        m_stack->rebuild(project);
        QVERIFY(!hint->isVisible());
        project->removeTrack(0);
        m_stack->rebuild(project);
        QVERIFY(hint->isVisible());
    }

    void aKeyMakesAStripHigherAsADragDoes()
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 2);
        project->addTrack({}, 2);
        m_stack->rebuild(project);
        m_stack->resize(500, 404);
        m_stack->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_stack.get()));
        QCOMPARE(splitter()->sizes(), (QList<int>{200, 200}));
        emit m_stack->strips()[0]->heightStepped(2);
        QCOMPARE(splitter()->sizes(), (QList<int>{240, 200}));
        QTRY_COMPARE(splitter()->height(), 444);
        emit m_stack->strips()[1]->heightStepped(-1);
        QCOMPARE(splitter()->sizes(), (QList<int>{240, 180}));
    }

    void theTrackToRemoveIsNamedByItsPlaceAndLater()
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 2);
        project->addTrack({}, 2);
        m_stack->rebuild(project);
        QSignalSpy requests(m_stack.get(), &TrackStack::removeRequested);
        emit m_stack->strips()[1]->removeRequested();
        QCOMPARE(requests.count(), 0);
        QTRY_COMPARE(requests.count(), 1);
        QCOMPARE(requests.constFirst(), QList<QVariant>{1});
    }

    void aRequestOfAStripThatHasGoneIsDropped()
    {
        const auto project = VelaProject::create();
        project->addTrack({}, 2);
        m_stack->rebuild(project);
        QSignalSpy requests(m_stack.get(), &TrackStack::removeRequested);
        emit m_stack->strips()[0]->removeRequested();
        project->removeTrack(0);
        m_stack->rebuild(project);
        QCoreApplication::processEvents();
        QCOMPARE(requests.count(), 0);
    }

    void theFocusOfARemovedStripGoesToItsNeighbour()
    {
        const auto project = VelaProject::create();
        for (int i = 0; i < 3; ++i)
            project->addTrack({}, 2);
        m_stack->rebuild(project);
        m_stack->show();
        const QList<TrackWidget*> strips = m_stack->strips();
        strips[1]->waveform()->setFocus();
        project->removeTrack(1);
        m_stack->rebuild(project);
        QCOMPARE(m_stack->focusWidget(), strips[2]->waveform());
        project->removeTrack(1);
        m_stack->rebuild(project);
        QCOMPARE(m_stack->focusWidget(), strips[0]->waveform());
    }

    void theTabKeyBringsIntoSightWhatItReachesFromOutside()
    {
        CrowdedWindow w;
        QVERIFY(w.isReady());
        w.button->setFocus();
        QVERIFY(!w.isInSight(w.last()->waveform()));
        QTest::keyClick(w.button, Qt::Key_Backtab);
        QCOMPARE(w.window.focusWidget(), w.last()->waveform());
        QVERIFY(w.isInSight(w.last()->waveform()));
        QTest::keyClick(w.last()->waveform(), Qt::Key_Tab);
        QVERIFY(w.button->hasFocus());
        QWidget* const name = w.first()->header()->findChild<QLabel*>();
        QVERIFY(!w.isInSight(name));
        QTest::keyClick(w.button, Qt::Key_Tab);
        QCOMPARE(w.window.focusWidget(), name);
        QVERIFY(w.isInSight(name));
    }

    void whatGetsTheKeyboardOtherwiseStaysWhereItIs()
    {
        CrowdedWindow w;
        QVERIFY(w.isReady());
        for (const Qt::FocusReason reason :
             {Qt::MouseFocusReason, Qt::ActiveWindowFocusReason, Qt::OtherFocusReason}) {
            w.button->setFocus();
            w.last()->waveform()->setFocus(reason);
            QVERIFY(w.last()->waveform()->hasFocus());
            QCOMPARE(w.stack->verticalScrollBar()->value(), 0);
        }
    }

    void thirtyStripsScroll()
    {
        const auto project = VelaProject::create();
        for (int i = 0; i < 30; ++i)
            project->addTrack({}, 2);
        m_stack->rebuild(project);
        m_stack->resize(500, 300);
        m_stack->show();
        QTRY_VERIFY(splitter()->height() >= 30 * 80);
    }
};

QTEST_MAIN(TestTrackStack)
#include "tst_trackstack.moc"
