#include "waveformsuite.h"

#include <QApplication>
#include <QFocusEvent>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>

namespace {

void turnWheel(WaveformView& view, QPoint angle, double x)
{
    const QPointF position(x, 60);
    QWheelEvent event(position, view.mapToGlobal(position), {}, angle, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    event.ignore();
    QApplication::sendEvent(&view, &event);
    QVERIFY(event.isAccepted());
}

} // namespace

/// What the view does for the mouse.
class TestWaveformViewMouse : public WaveformSuite {
    Q_OBJECT

private:
    void press(Qt::MouseButton button, int x) const
    {
        QTest::mousePress(m_view.get(), button, {}, {x, 60});
    }

    void moveTo(int x) const { QTest::mouseMove(m_view.get(), {x, 60}); }

    void release(Qt::MouseButton button, int x) const
    {
        QTest::mouseRelease(m_view.get(), button, {}, {x, 60});
    }

    /// As when a dialog or a menu opens.
    void loseTheFocus() const
    {
        QFocusEvent event(QEvent::FocusOut, Qt::PopupFocusReason);
        QApplication::sendEvent(m_view.get(), &event);
    }

private slots:

    void aClickPlacesTheCursorAndClearsTheSelection()
    {
        m_project->selectionStart = 7;
        m_project->selectionEnd = 70;
        QStringList order;
        connect(m_view.get(), &WaveformView::cursorMoved, this,
                [&](qlonglong sample) { order.append(QStringLiteral("cursor %1").arg(sample)); });
        connect(m_view.get(), &WaveformView::selectionChanged, this,
                [&](qlonglong begin, qlonglong end) {
                    order.append(QStringLiteral("selection %1 %2").arg(begin).arg(end));
                });
        press(Qt::LeftButton, 50);
        QCOMPARE(m_project->cursor.position, 500);
        QCOMPARE(m_project->selectionStart, 500);
        QCOMPARE(m_project->selectionEnd, 500);
        release(Qt::LeftButton, 52);
        QCOMPARE(order, (QStringList{"cursor 500", "selection -1 -1"}));
        QCOMPARE(m_project->selectionStart, -1);
        QCOMPARE(m_project->selectionEnd, -1);
    }

    void aDragSelectsInEitherDirection()
    {
        QSignalSpy selections(m_view.get(), &WaveformView::selectionChanged);
        press(Qt::LeftButton, 100);
        moveTo(150);
        moveTo(60);
        moveTo(100);
        moveTo(70);
        release(Qt::LeftButton, 70);
        const QList<QList<QVariant>> expected{{1000, 1500}, {600, 1000}, {0, 0}, {700, 1000}};
        QCOMPARE(selections, expected);
        QCOMPARE(m_project->selectionStart, 1000);
        QCOMPARE(m_project->selectionEnd, 700);
        QCOMPARE(m_project->cursor.position, 1000);
    }

    void aDragBeforeTheFirstFrameSelectsNothing()
    {
        QSignalSpy selections(m_view.get(), &WaveformView::selectionChanged);
        press(Qt::LeftButton, 100);
        moveTo(-20);
        const QList<QList<QVariant>> expected{{0, 0}};
        QCOMPARE(selections, expected);
        release(Qt::LeftButton, -20);
    }

    void aReleaseThreePixelsAwayIsADrag()
    {
        QSignalSpy selections(m_view.get(), &WaveformView::selectionChanged);
        press(Qt::LeftButton, 100);
        moveTo(103);
        release(Qt::LeftButton, 103);
        const QList<QList<QVariant>> expected{{1000, 1030}};
        QCOMPARE(selections, expected);
        QCOMPARE(m_project->selectionEnd, 1030);
    }

    void withoutAProjectTheLeftButtonSaysNothing()
    {
        m_view->setViewState(nullptr);
        QSignalSpy cursors(m_view.get(), &WaveformView::cursorMoved);
        QSignalSpy selections(m_view.get(), &WaveformView::selectionChanged);
        press(Qt::LeftButton, 100);
        moveTo(150);
        release(Qt::LeftButton, 150);
        QVERIFY(cursors.isEmpty());
        QVERIFY(selections.isEmpty());
    }

    void theMiddleButtonPans()
    {
        m_view->setViewRange(1000, 5000);
        QSignalSpy ranges(m_view.get(), &WaveformView::viewRangeChanged);
        press(Qt::MiddleButton, 200);
        QCOMPARE(m_view->cursor().shape(), Qt::ClosedHandCursor);
        moveTo(250);
        moveTo(190);
        moveTo(350); // 1500 to the left of 1000: pinned to 0, the span kept
        release(Qt::MiddleButton, 350);
        QCOMPARE(m_view->cursor().shape(), Qt::ArrowCursor);
        moveTo(100);
        const QList<QList<QVariant>> expected{{500, 4500}, {1100, 5100}, {0, 4000}};
        QCOMPARE(ranges, expected);
        QCOMPARE(m_project->cursor.position, 50000);
    }

    void otherButtonsAndHoveringDoNothing()
    {
        QSignalSpy cursors(m_view.get(), &WaveformView::cursorMoved);
        QSignalSpy selections(m_view.get(), &WaveformView::selectionChanged);
        QSignalSpy ranges(m_view.get(), &WaveformView::viewRangeChanged);
        moveTo(20);
        press(Qt::RightButton, 50);
        moveTo(90);
        release(Qt::RightButton, 90);
        QVERIFY(cursors.isEmpty() && selections.isEmpty() && ranges.isEmpty());
    }

    void theWheelZoomsAroundThePointer()
    {
        QSignalSpy ranges(m_view.get(), &WaveformView::viewRangeChanged);
        turnWheel(*m_view, {0, 120}, 100.9); // at pixel 100, frame 1000, a quarter in
        turnWheel(*m_view, {0, -120}, 0);
        turnWheel(*m_view, {0, 60}, 0); // half a notch: 4000 × √0.8 = 3577.7
        const QList<QList<QVariant>> expected{{200, 3400}, {200, 4200}, {200, 3777}};
        QCOMPARE(ranges, expected);
    }

    void theWheelTurnedSidewaysDoesNothing()
    {
        QSignalSpy ranges(m_view.get(), &WaveformView::viewRangeChanged);
        turnWheel(*m_view, {120, 0}, 100);
        QVERIFY(ranges.isEmpty());
    }

    void zoomingInStopsAtSixteenFrames()
    {
        m_view->setViewRange(100, 117);
        turnWheel(*m_view, {0, 120}, 0);
        QCOMPARE(m_project->viewEnd - m_project->viewStart, 16);
        turnWheel(*m_view, {0, 1200}, 0);
        QCOMPARE(m_project->viewEnd - m_project->viewStart, 16);
    }

    // Whoever takes the focus may take the release of the button as well.
    void aDragEndsWhereTheFocusGoes()
    {
        press(Qt::LeftButton, 100);
        moveTo(150);
        QSignalSpy selections(m_view.get(), &WaveformView::selectionChanged);
        loseTheFocus();
        moveTo(300);
        QVERIFY(selections.isEmpty());
        QCOMPARE(m_project->selectionStart, 1000);
        QCOMPARE(m_project->selectionEnd, 1500);
    }

    void panningEndsWhereTheFocusGoes()
    {
        press(Qt::MiddleButton, 100);
        loseTheFocus();
        QCOMPARE(m_view->cursor().shape(), Qt::ArrowCursor);
        QSignalSpy ranges(m_view.get(), &WaveformView::viewRangeChanged);
        moveTo(50);
        QVERIFY(ranges.isEmpty());
    }

    void aLeftPressWhilePanningLetsGoOfTheHand()
    {
        press(Qt::MiddleButton, 100);
        press(Qt::LeftButton, 100);
        QCOMPARE(m_view->cursor().shape(), Qt::ArrowCursor);
        QSignalSpy ranges(m_view.get(), &WaveformView::viewRangeChanged);
        moveTo(150);
        release(Qt::LeftButton, 150);
        QVERIFY(ranges.isEmpty());
        QCOMPARE(m_project->selectionEnd, 1500);
    }
};

QTEST_MAIN(TestWaveformViewMouse)
#include "tst_waveformviewmouse.moc"
