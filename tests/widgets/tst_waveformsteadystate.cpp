#include "project/velaproject.h"
#include "support/allocationcounter.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/lanepainter.h"
#include "widgets/waveformview.h"

#include <QPainter>
#include <QTest>

#include <algorithm>
#include <limits>
#include <memory>

namespace {

constexpr QSize kSize(400, 120);

/// Counts what a widget's painting allocates, without what the toolkit does
/// around it.
template <typename Widget>
class Counted : public Widget {
public:
    [[nodiscard]] qint64 lastCount() const { return m_lastCount; }

protected:
    void paintEvent(QPaintEvent* event) override
    {
        const AllocationCounter counter;
        Widget::paintEvent(event);
        m_lastCount = counter.count();
    }

private:
    qint64 m_lastCount = -1;
};

/// The least that shows a picture and the lines of cursor and play head: the
/// toolkit's painter itself allocates for that.
class BarePicture : public QWidget {
public:
    BarePicture()
        : m_pixmap(kSize)
    {
        m_pixmap.fill(Qt::black);
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        QPainter painter(this);
        painter.drawPixmap(rect(), m_pixmap, m_pixmap.rect());
        for (const int x : {0, 100}) {
            painter.setPen(QPen(Qt::white, 1, Qt::SolidLine, Qt::FlatCap, Qt::BevelJoin));
            painter.drawLine(x, 20, x, height());
        }
    }

private:
    QPixmap m_pixmap;
};

/// The least of several repaints: the first ones fill the toolkit's caches.
template <typename Widget, typename Change>
qint64 leastPerPaint(Counted<Widget>& widget, const Change& change)
{
    qint64 least = std::numeric_limits<qint64>::max();
    for (int round = 0; round < 10; ++round) {
        change();
        widget.repaint();
        least = std::min(least, widget.lastCount());
    }
    return least;
}

} // namespace

class TestWaveformSteadyState : public QObject {
    Q_OBJECT

private slots:

    void aRepaintForThePlayHeadAllocatesNoMoreThanTheToolkitsPainter()
    {
        const LogCatcher log;
        const ProjectHandle project = VelaProject::create();
        const TrackHandle track = project->addTrack({}, 2);
        for (QList<float>& channel : track->samples)
            channel = signal_makers::noise(100000, 5);
        project->viewEnd = track->length();
        project->playing = true;

        Counted<WaveformView> view;
        view.resize(kSize);
        view.setTrack(track.data());
        view.setViewState(project.data());
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        Counted<BarePicture> bare;
        bare.resize(kSize);
        bare.show();
        QVERIFY(QTest::qWaitForWindowExposed(&bare));

        const qint64 ofThePainter = leastPerPaint(bare, [] {});
        const qint64 ofTheView = leastPerPaint(view, [&] { project->play.position += 1024; });
        QVERIFY(ofThePainter >= 0 && ofTheView >= 0); // both have painted
        QVERIFY(project->play.position > 0);
        QVERIFY2(ofTheView <= ofThePainter,
                 qPrintable(QStringLiteral("%1 against %2").arg(ofTheView).arg(ofThePainter)));
    }

    void oneMoreLanePainterTakesNoMemory()
    {
        const LanePainter first;
        const AllocationCounter counter;
        const LanePainter second;
        QCOMPARE(counter.count(), 0);
        QVERIFY(sizeof(LanePainter) <= 64);
    }
};

QTEST_MAIN(TestWaveformSteadyState)
#include "tst_waveformsteadystate.moc"
