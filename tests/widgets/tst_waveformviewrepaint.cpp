#include "support/paintcounter.h"
#include "waveformsuite.h"

#include <QTest>
#include <QTimer>

#include <functional>

using Action = std::function<void(WaveformView&, VelaProject&)>;
Q_DECLARE_METATYPE(Action)

/// When the view paints by itself, and when it draws its picture anew for it.
class TestWaveformViewRepaint : public WaveformSuite {
    Q_OBJECT

private slots:

    void whatChangesIsPaintedUnasked_data()
    {
        QTest::addColumn<Action>("action");
        const auto row = [](const char* name, const Action& action) {
            QTest::newRow(name) << action;
        };
        row("another track", [](WaveformView& view, VelaProject&) { view.setTrack(nullptr); });
        row("another project",
            [](WaveformView& view, VelaProject&) { view.setViewState(nullptr); });
        row("another range",
            [](WaveformView& view, VelaProject&) { view.setViewRange(500, 4500); });
        row("a cursor", [](WaveformView& view, VelaProject&) { view.placeCursor(1000); });
        row("a press", [](WaveformView& view, VelaProject&) {
            QTest::mousePress(&view, Qt::LeftButton, {}, {100, 60});
        });
        row("the wheel", [](WaveformView& view, VelaProject&) { view.zoom(1); });
    }

    void whatChangesIsPaintedUnasked()
    {
        QFETCH(Action, action);
        QTest::qWait(60); // what showing it has left to paint
        const PaintCounter paints(*m_view);
        action(*m_view, *m_project);
        QTRY_VERIFY(paints.count() >= 1);
    }

    void aDragIsPaintedAtEachMoveAndAClickAtItsEnd()
    {
        QTest::mousePress(m_view.get(), Qt::LeftButton, {}, {100, 60});
        QTest::qWait(60);
        const PaintCounter paints(*m_view);
        QTest::mouseMove(m_view.get(), {150, 60});
        QTRY_VERIFY(paints.count() >= 1);
        QTest::mouseMove(m_view.get(), {101, 60});
        QTest::qWait(60);
        const int before = paints.count();
        QTest::mouseRelease(m_view.get(), Qt::LeftButton, {}, {101, 60});
        QTRY_VERIFY(paints.count() > before);
    }

    void aRangeThatIsSetStartsTheTimerForOneMorePaint()
    {
        const auto* timer = m_view->findChild<QTimer*>();
        QVERIFY(timer);
        QCOMPARE(timer->interval(), 40);
        QVERIFY(timer->isSingleShot());
        QTRY_VERIFY(!timer->isActive()); // since the view got its first range
        m_view->setViewRange(500, 4500);
        QVERIFY(timer->isActive());
    }

    void zoomingIsThrottledAndTheTimerPaintsTheLast()
    {
        // On a busy machine the interval may pass between the two: try again.
        bool sawStale = false;
        for (int attempt = 0; attempt < 100 && !sawStale; ++attempt) {
            QTest::qWait(60); // for a timer that runs as well
            // In the project, as setting the view's range starts the timer of itself.
            m_project->viewEnd = 8000 + attempt;
            const QImage first = m_view->grab().toImage();
            m_project->viewEnd = 5000;
            m_view->update();
            sawStale = m_view->grab().toImage() == first;
        }
        QVERIFY(sawStale);
        QCoreApplication::sendPostedEvents(); // what has been asked for
        const PaintCounter paints(*m_view);
        QTRY_VERIFY(paints.count() >= 1);
        WaveformView fresh;
        fresh.resize(m_view->size());
        fresh.setViewState(m_project.data());
        fresh.setTrack(m_project->tracks.constFirst().data());
        QCOMPARE(m_view->grab().toImage(), fresh.grab().toImage());
    }

    void aZoomAfterTheIntervalIsDrawnAtOnce()
    {
        constexpr int kIntervalMs = 33;
        QTest::qWait(kIntervalMs + 1); // since it was shown
        m_view->setViewRange(0, 8000);
        const QImage first = m_view->grab().toImage();
        QTest::qWait(kIntervalMs + 1);
        m_view->setViewRange(0, 4000);
        QVERIFY(m_view->grab().toImage() != first);
    }
};

QTEST_MAIN(TestWaveformViewRepaint)
#include "tst_waveformviewrepaint.moc"
