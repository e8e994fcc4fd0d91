#include "support/metamethods.h"
#include "support/signalmakers.h"
#include "waveformsuite.h"

#include <QApplication>
#include <QResizeEvent>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr QRgb kBackground = qRgb(30, 30, 30);

} // namespace

class TestWaveformView : public WaveformSuite {
    Q_OBJECT

public:
    TestWaveformView()
        : WaveformSuite(0.0F)
    {
    }

private:
    /// The pixel at a logical position.
    [[nodiscard]] QRgb pixelAt(int x, int y) const
    {
        const QImage image = m_view->grab().toImage();
        const double ratio = image.devicePixelRatio();
        return image.pixel(static_cast<int>(x * ratio), static_cast<int>(y * ratio));
    }

private slots:

    void constructionSetsSizeFocusAndTracking()
    {
        const WaveformView view;
        QCOMPARE(view.minimumHeight(), 60);
        QCOMPARE(view.sizePolicy(), QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding));
        QVERIFY(view.hasMouseTracking());
        QCOMPARE(view.focusPolicy(), Qt::ClickFocus);
    }

    void signalsStandInTheirOrderWithTheirParameters()
    {
        QCOMPARE(declaredMethods(WaveformView::staticMetaObject),
                 (QStringList{"cursorMoved(sample)", "selectionChanged(begin,end)",
                              "viewRangeChanged(begin,end)"}));
    }

    void assistiveTechnologyIsToldTheTracksName()
    {
        QCOMPARE(m_view->accessibleName(), "Waveform of Take");
        m_project->tracks.constFirst()->name = "Other";
        m_view->updateAccessibleName();
        QCOMPARE(m_view->accessibleName(), "Waveform of Other");
        m_view->setTrack(nullptr);
        QVERIFY(m_view->accessibleName().isEmpty());
    }

    void setViewRangeStoresTheRangeAndTheScaleInTheProject()
    {
        QSignalSpy ranges(m_view.get(), &WaveformView::viewRangeChanged);
        m_view->setViewRange(100, 900);
        QCOMPARE(m_project->viewStart, 100);
        QCOMPARE(m_project->viewEnd, 900);
        QCOMPARE(m_project->viewScale, 2.0);
        m_view->setViewRange(-100, 700);
        QCOMPARE(m_project->viewStart, 0);
        QCOMPARE(m_project->viewEnd, 800);
        m_view->setViewRange(-100, 700); // announced although nothing changes
        const QList<QList<QVariant>> expected{{100, 900}, {0, 800}, {0, 800}};
        QCOMPARE(ranges, expected);
    }

    void theProjectsRangeCountsBeforeTheOwn()
    {
        m_project->viewStart = 1000;
        m_project->viewEnd = 1800;
        QCOMPARE(m_view->xToSample(100), 1200);
        QCOMPARE(m_view->sampleToX(1200), 100);
        m_project->viewEnd = 1000; // not valid: the view's own
        QCOMPARE(m_view->xToSample(100), 1000);
        m_view->setViewState(nullptr);
        QCOMPARE(m_view->xToSample(200), 2000);
    }

    void withoutAProjectTheOwnRangeServes()
    {
        m_view->setViewState(nullptr);
        QSignalSpy ranges(m_view.get(), &WaveformView::viewRangeChanged);
        m_view->setViewRange(40, 840);
        QCOMPARE(m_view->xToSample(10), 60);
        QCOMPARE(ranges.size(), 1);
        QCOMPARE(m_project->viewEnd, 4000);
        QCOMPARE(pixelAt(10, 10), qRgb(45, 45, 45));
    }

    void resizeKeepsTheRangeAndUpdatesTheScale()
    {
        m_view->resize(800, kHeight);
        QTRY_COMPARE(m_project->viewScale, 5.0);
        QCOMPARE(m_project->viewEnd, 4000);
    }

    void resizeWithoutARangeInTheProjectGoesByTheOwn()
    {
        m_project->viewEnd = m_project->viewStart;
        m_view->resize(800, kHeight);
        QTRY_COMPARE(m_project->viewScale, 5.0);
    }

    void resizeWithoutAnyRangeLeavesTheScale()
    {
        WaveformView view;
        view.setViewState(m_project.data());
        m_project->viewEnd = m_project->viewStart;
        m_project->viewScale = 77.0;
        QResizeEvent event({800, kHeight}, {400, kHeight});
        QApplication::sendEvent(&view, &event);
        QCOMPARE(m_project->viewScale, 77.0);
    }

    void theCursorIsAWhiteLineThroughTheWaveformArea()
    {
        m_project->cursor.position = 1000;
        for (const int y : {20, 60, kHeight - 1})
            QCOMPARE(pixelAt(100, y), qRgb(255, 255, 255));
        QVERIFY(pixelAt(100, 19) != qRgb(255, 255, 255));
        QCOMPARE(pixelAt(99, 30), kBackground);
        QCOMPARE(pixelAt(101, 30), kBackground);
        m_view->setViewState(nullptr);
        QCOMPARE(pixelAt(100, 30), kBackground);
    }

    void theCursorAtTheRightEdgeIsNotDrawn()
    {
        m_project->cursor.position = 4000;
        QCOMPARE(pixelAt(kWidth - 1, 30), kBackground);
        m_project->cursor.position = 3999;
        QCOMPARE(pixelAt(kWidth - 1, 30), qRgb(255, 255, 255));
    }

    void thePlayHeadIsARedLineWhilePlaying()
    {
        m_project->play.position = 2000;
        QCOMPARE(pixelAt(200, 30), kBackground);
        m_project->playing = true;
        for (const int y : {20, 60, kHeight - 1}) {
            QCOMPARE(pixelAt(199, y), qRgb(255, 80, 80));
            QCOMPARE(pixelAt(200, y), qRgb(255, 80, 80));
        }
        QCOMPARE(pixelAt(198, 30), kBackground);
        QCOMPARE(pixelAt(201, 30), kBackground);
    }

    void theSelectionTintsTheWaveformArea()
    {
        m_project->selectionStart = 3000;
        m_project->selectionEnd = 2000;
        // 80 of 255 of the colour over the background, to within rounding.
        const QRgb tinted = pixelAt(250, 30);
        QVERIFY(qAbs(qRed(tinted) - (30 * 175 + 100 * 80) / 255) <= 1);
        QVERIFY(qAbs(qGreen(tinted) - (30 * 175 + 140 * 80) / 255) <= 1);
        QVERIFY(qAbs(qBlue(tinted) - (30 * 175 + 200 * 80) / 255) <= 1);
        QCOMPARE(pixelAt(200, kHeight - 1), tinted);
        QCOMPARE(pixelAt(299, 20), tinted);
        QCOMPARE(pixelAt(199, 30), kBackground);
        QCOMPARE(pixelAt(300, 30), kBackground);
        QVERIFY(pixelAt(250, 19) != tinted);
        m_project->selectionEnd = 3000;
        QCOMPARE(pixelAt(250, 30), kBackground);
        m_project->selectionEnd = -1;
        QCOMPARE(pixelAt(250, 30), kBackground);
    }

    void aSelectionThatReachesBeyondTheViewIsCutOff()
    {
        m_view->setViewRange(1000, 5000);
        m_project->selectionStart = 0;
        m_project->selectionEnd = 9000;
        QVERIFY(pixelAt(0, 30) != kBackground);
        QVERIFY(pixelAt(kWidth - 1, 30) != kBackground);
        m_project->selectionEnd = 1000; // ends where the view begins
        QCOMPARE(pixelAt(0, 30), kBackground);
    }

    void theLoopRangeIsTwoDashedLines()
    {
        m_project->loopStart = 1000;
        m_project->loopEnd = 3000;
        const QImage image = m_view->grab().toImage();
        const auto ratio = static_cast<int>(image.devicePixelRatio());
        for (const int x : {100, 300}) {
            int loopRows = 0;
            int otherRows = 0;
            for (int y = 20 * ratio; y < 60 * ratio; ++y)
                (image.pixel(x * ratio, y) == qRgb(255, 200, 0) ? loopRows : otherRows) += 1;
            QVERIFY(loopRows > otherRows);
            QVERIFY(otherRows > 0);
        }
        m_project->loopEnd = 1000;
        QCOMPARE(pixelAt(100, 20), kBackground);
    }

    void thePictureIsDrawnInDevicePixels()
    {
        // The silent lane's line: half a device row on each side of the centre.
        const QImage image = m_view->grab().toImage();
        const double ratio = m_view->devicePixelRatioF();
        QCOMPARE(image.height(), static_cast<int>(kHeight * ratio));
        const auto centre = static_cast<int>(70 * ratio);
        QCOMPARE(image.pixel(10, centre - 2), kBackground);
        QCOMPARE(image.pixel(10, centre - 1), qRgb(54, 104, 142));
        QCOMPARE(image.pixel(10, centre), qRgb(69, 119, 157));
        QCOMPARE(image.pixel(10, centre + 1), kBackground);
    }

    void aChangeOfTheTrackIsDrawnAtOnce()
    {
        m_view->grab();
        m_project->tracks.constFirst()->samples[0] = signal_makers::constant(5000, 0.9F);
        QVERIFY(pixelAt(10, 30) != kBackground);
    }

    void scrollingIsDrawnAtOnce()
    {
        m_project->tracks.constFirst()->samples[0] = signal_makers::dirac(6000, 5000);
        QCOMPARE(pixelAt(300, 30), kBackground);
        m_view->setViewRange(2000, 6000);
        QVERIFY(pixelAt(300, 30) != kBackground);
    }

    void paintingLeavesTheSamplesShared()
    {
        const QList<float> samples = m_project->tracks.constFirst()->samples.constFirst();
        m_view->grab();
        QCOMPARE(m_project->tracks.constFirst()->samples.constFirst().constData(),
                 samples.constData());
    }

    void theKeyboardFocusIsShown()
    {
        m_view->activateWindow();
        m_view->setFocus();
        QTRY_VERIFY(m_view->hasFocus());
        QCOMPARE(pixelAt(0, 60), kBackground);
        m_view->setAttribute(Qt::WA_KeyboardFocusChange); // as the Tab key does
        QCOMPARE(pixelAt(0, 60), qRgb(255, 255, 255));
        m_view->clearFocus();
        QCOMPARE(pixelAt(0, 60), kBackground);
    }
};

QTEST_MAIN(TestWaveformView)
#include "tst_waveformview.moc"
