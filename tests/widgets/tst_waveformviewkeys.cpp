#include "waveformsuite.h"

#include <QSignalSpy>
#include <QTest>

/// What the view does for the keyboard and for assistive technology.
class TestWaveformViewKeys : public WaveformSuite {
    Q_OBJECT

private slots:

    void placeCursorDoesWhatAClickDoes()
    {
        m_project->selectionStart = 7;
        m_project->selectionEnd = 9;
        QSignalSpy cursors(m_view.get(), &WaveformView::cursorMoved);
        QSignalSpy selections(m_view.get(), &WaveformView::selectionChanged);
        m_view->placeCursor(1234);
        QCOMPARE(m_project->cursor.position, 1234);
        QCOMPARE(m_project->selectionStart, -1);
        QCOMPARE(m_project->selectionEnd, -1);
        QCOMPARE(cursors, (QList<QList<QVariant>>{{1234}}));
        QCOMPARE(selections, (QList<QList<QVariant>>{{-1, -1}}));
        QCOMPARE(m_project->viewEnd, 4000);
        m_view->placeCursor(-5);
        QCOMPARE(m_project->cursor.position, 0);
    }

    void aCursorPlacedOutOfSightComesIntoTheMiddle()
    {
        m_view->placeCursor(9000); // of a view that is 4000 frames wide
        QCOMPARE(m_project->viewStart, 7000);
        QCOMPARE(m_project->viewEnd, 11000);
        m_view->placeCursor(500);
        QCOMPARE(m_project->viewStart, 0);
        QCOMPARE(m_project->viewEnd, 4000);
    }

    void stepCursorCountsPixelsAndAtLeastAFrame()
    {
        m_project->cursor.position = 1000;
        m_view->stepCursor(3); // at ten frames a pixel
        QCOMPARE(m_project->cursor.position, 1030);
        m_view->stepCursor(-50);
        QCOMPARE(m_project->cursor.position, 530);
        m_view->setViewRange(500, 540); // ten pixels a frame
        m_view->stepCursor(1);
        QCOMPARE(m_project->cursor.position, 531);
        m_view->stepCursor(-1);
        QCOMPARE(m_project->cursor.position, 530);
    }

    void zoomKeepsTheCursorWhereItIs()
    {
        m_project->cursor.position = 1000; // a quarter from the left
        m_view->zoom(1);
        QCOMPARE(m_project->viewStart, 200); // 1000 − 3200 / 4
        QCOMPARE(m_project->viewEnd, 3400);
        m_view->zoom(-1);
        QCOMPARE(m_project->viewStart, 0);
        QCOMPARE(m_project->viewEnd, 4000);
    }

    void zoomWithTheCursorOutOfSightKeepsTheMiddle()
    {
        m_view->zoom(1);
        QCOMPARE(m_project->viewStart, 400);
        QCOMPARE(m_project->viewEnd, 3600);
    }

    void panMovesTheViewAndStopsAtTheStart()
    {
        m_view->pan(100);
        QCOMPARE(m_project->viewStart, 1000);
        QCOMPARE(m_project->viewEnd, 5000);
        m_view->pan(-300);
        QCOMPARE(m_project->viewStart, 0);
        QCOMPARE(m_project->viewEnd, 4000);
    }

    void withoutAProjectTheKeyboardsOperationsLeaveTheCursorAlone()
    {
        m_view->setViewState(nullptr);
        m_view->placeCursor(10);
        m_view->stepCursor(1);
        m_view->placeCursorAt(1.0);
        QCOMPARE(m_project->cursor.position, 50000);
        QCOMPARE(m_view->cursorSeconds(), 0.0);
        QCOMPARE(m_view->lengthSeconds(), 0.0);
    }

    void theCursorIsToldAndPlacedInSeconds()
    {
        m_view->placeCursorAt(1.2346); // to the nearest of 1000 frames a second
        QCOMPARE(m_project->cursor.position, 1235);
        QCOMPARE(m_view->cursorSeconds(), 1.235);
        QCOMPARE(m_view->lengthSeconds(), 4.0);
        m_project->sampleRate = 0;
        QCOMPARE(m_view->cursorSeconds(), 0.0);
    }
};

QTEST_MAIN(TestWaveformViewKeys)
#include "tst_waveformviewkeys.moc"
