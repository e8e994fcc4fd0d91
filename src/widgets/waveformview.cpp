#include "widgets/waveformview.h"

#include "project/velaproject.h"
#include "widgets/focusring.h"
#include "widgets/framemath.h"
#include "widgets/namelabel.h"

#include <QAccessible>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int kMinHeight = 60;
constexpr std::chrono::milliseconds kRepaintDelay{40};
constexpr qint64 kMinRenderIntervalMs = 33;
constexpr int kClickTolerancePixels = 3;
constexpr double kDegreesPerAngleUnit = 0.125;
constexpr double kDegreesPerNotch = 15.0;

constexpr QColor kSelectionColour(100, 140, 200, 80);
constexpr QColor kCursorColour(255, 255, 255);
constexpr QColor kPlayHeadColour(255, 80, 80);
constexpr QColor kLoopColour(255, 200, 0);
constexpr int kPlayHeadWidth = 2;

QPen linePen(const QColor& colour, int width, Qt::PenStyle style)
{
    return {colour, static_cast<qreal>(width), style, Qt::FlatCap, Qt::BevelJoin};
}

} // namespace

WaveformView::WaveformView(QWidget* parent)
    : QWidget(parent)
{
    setMinimumHeight(kMinHeight);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setMouseTracking(true);
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_OpaquePaintEvent); // the picture covers all of it
    m_repaintTimer.setSingleShot(true);
    m_repaintTimer.setInterval(kRepaintDelay);
    connect(&m_repaintTimer, &QTimer::timeout, this, qOverload<>(&QWidget::update));
}

WaveformView::~WaveformView() = default;

void WaveformView::setTrack(const Track* track)
{
    if (m_track == track)
        return;
    m_track = track;
    m_cache.forgetTrack();
    updateAccessibleName();
    update();
}

void WaveformView::updateAccessibleName()
{
    setAccessibleName(m_track != nullptr ? tr("Waveform of %1").arg(shownName(m_track->name))
                                         : QString());
}

void WaveformView::setViewState(VelaProject* state)
{
    if (m_state == state)
        return;
    m_state = state;
    update();
}

void WaveformView::setViewRange(qint64 begin, qint64 end)
{
    m_ownRange = visibleRange(begin, end);
    if (m_state != nullptr) {
        m_state->viewStart = m_ownRange.begin;
        m_state->viewEnd = m_ownRange.end;
        m_state->viewScale = WaveformGeometry(m_ownRange, width()).samplesPerPixel();
    }
    emit viewRangeChanged(m_ownRange.begin, m_ownRange.end);
    m_repaintTimer.start();
    update();
}

void WaveformView::placeCursor(qint64 sample)
{
    if (m_state == nullptr)
        return;
    moveCursor(std::max<qint64>(sample, 0));
    dropSelection();
    showCursor();
}

void WaveformView::moveCursor(qint64 sample)
{
    m_state->cursor.position = sample;
    emit cursorMoved(sample);
    announceCursor();
}

void WaveformView::announceCursor()
{
    if (QAccessible::isActive()) {
        QAccessibleValueChangeEvent moved(this, cursorSeconds());
        QAccessible::updateAccessibility(&moved);
    }
}

double WaveformView::seconds(qint64 sample) const
{
    if (m_state == nullptr || m_state->sampleRate < 1)
        return 0.0;
    return static_cast<double>(sample) / m_state->sampleRate;
}

double WaveformView::cursorSeconds() const
{
    return m_state != nullptr ? seconds(m_state->cursor.position) : 0.0;
}

double WaveformView::lengthSeconds() const
{
    return m_state != nullptr ? seconds(m_state->length()) : 0.0;
}

void WaveformView::placeCursorAt(double seconds)
{
    if (m_state != nullptr)
        placeCursor(frame_math::truncated(std::round(seconds * m_state->sampleRate)));
}

void WaveformView::stepCursor(int pixels)
{
    if (m_state == nullptr || pixels == 0)
        return;
    const double step = std::max(std::abs(pixels) * timeGeometry().samplesPerPixel(), 1.0);
    const qint64 frames = frame_math::truncated(step);
    placeCursor(frame_math::sum(m_state->cursor.position, pixels < 0 ? -frames : frames));
}

/// A view that has lost sight of the cursor has it in the middle then.
void WaveformView::showCursor()
{
    const FrameRange range = effectiveRange();
    const qint64 cursor = m_state->cursor.position;
    if (!range.isValid() || (cursor >= range.begin && cursor < range.end))
        return;
    const qint64 begin = frame_math::difference(cursor, range.span() / 2);
    setViewRange(begin, frame_math::sum(begin, range.span()));
}

void WaveformView::zoom(double notches)
{
    int x = width() / 2;
    if (m_state != nullptr) {
        const int cursorX = sampleToX(m_state->cursor.position);
        if (cursorX >= 0 && cursorX < width())
            x = cursorX;
    }
    const FrameRange range = timeGeometry().zoomed(notches, x);
    setViewRange(range.begin, range.end);
}

void WaveformView::pan(int pixels)
{
    const FrameRange range = timeGeometry().panned(effectiveRange().begin, -pixels);
    setViewRange(range.begin, range.end);
}

qint64 WaveformView::xToSample(int x) const
{
    return timeGeometry().xToSample(x);
}

int WaveformView::sampleToX(qint64 sample) const
{
    return timeGeometry().sampleToX(sample);
}

FrameRange WaveformView::effectiveRange() const
{
    if (m_state != nullptr && m_state->viewEnd > m_state->viewStart)
        return {m_state->viewStart, m_state->viewEnd};
    return m_ownRange;
}

WaveformGeometry WaveformView::timeGeometry() const
{
    return {effectiveRange(), width()};
}

WaveformScene WaveformView::scene() const
{
    WaveformScene scene;
    scene.track = m_track;
    scene.range = effectiveRange();
    scene.showTicks = m_state != nullptr;
    scene.sampleRate = m_state != nullptr ? m_state->sampleRate : 0;
    scene.size = {std::max(width(), 1), std::max(height(), 1)};
    scene.devicePixelRatio = devicePixelRatioF();
    return scene;
}

void WaveformView::refreshPicture()
{
    const WaveformScene now = scene();
    const WaveformCache::State state = m_cache.stateFor(now);
    if (state == WaveformCache::State::Current)
        return;
    if (state == WaveformCache::State::Outdated && m_sinceRender.isValid() &&
        m_sinceRender.elapsed() < kMinRenderIntervalMs) {
        m_repaintTimer.start();
        return;
    }
    if (m_cache.render(now))
        m_sinceRender.start();
}

void WaveformView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    refreshPicture();
    painter.drawPixmap(rect(), m_cache.pixmap(), m_cache.pixmap().rect());
    if (m_state != nullptr) {
        drawSelection(painter);
        drawPositions(painter);
    }
    focus_ring::paint(painter, *this);
}

void WaveformView::drawSelection(QPainter& painter) const
{
    const qint64 anchor = m_state->selectionStart;
    const qint64 end = m_state->selectionEnd;
    if (anchor < 0 || end < 0 || anchor == end)
        return;
    const int x0 = sampleToX(std::min(anchor, end));
    const int x1 = sampleToX(std::max(anchor, end));
    if (x1 <= 0 || x0 >= width())
        return;
    const int left = std::max(x0, 0);
    painter.fillRect(left, kRulerHeight, std::min(width(), x1) - left, height() - kRulerHeight,
                     kSelectionColour);
}

void WaveformView::drawPositions(QPainter& painter) const
{
    const auto drawLine = [&](qint64 sample, const QPen& pen) {
        const int x = sampleToX(sample);
        if (x < 0 || x >= width())
            return;
        painter.setPen(pen);
        painter.drawLine(x, kRulerHeight, x, height());
    };
    drawLine(m_state->cursor.position, linePen(kCursorColour, 1, Qt::SolidLine));
    if (m_state->playing)
        drawLine(m_state->play.position, linePen(kPlayHeadColour, kPlayHeadWidth, Qt::SolidLine));
    if (m_state->loopStart < m_state->loopEnd) {
        const QPen pen = linePen(kLoopColour, 1, Qt::DashLine);
        drawLine(m_state->loopStart, pen);
        drawLine(m_state->loopEnd, pen);
    }
}

void WaveformView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        endGesture();
        m_mouseMode = MouseMode::Selecting;
        m_pressPosition = event->position().toPoint();
        if (m_state != nullptr) {
            const qint64 sample = xToSample(m_pressPosition.x());
            m_state->selectionStart = sample;
            m_state->selectionEnd = sample;
            moveCursor(sample);
        }
        update();
    } else if (event->button() == Qt::MiddleButton) {
        m_mouseMode = MouseMode::Panning;
        m_pressPosition = event->position().toPoint();
        m_panAnchor = effectiveRange().begin;
        setCursor(Qt::ClosedHandCursor);
    }
    QWidget::mousePressEvent(event);
}

void WaveformView::mouseMoveEvent(QMouseEvent* event)
{
    const int x = event->position().toPoint().x();
    if (m_mouseMode == MouseMode::Panning) {
        const FrameRange range = timeGeometry().panned(m_panAnchor, x - m_pressPosition.x());
        setViewRange(range.begin, range.end);
    } else if (m_mouseMode == MouseMode::Selecting && m_state != nullptr) {
        const qint64 anchor = m_state->selectionStart;
        const qint64 end = xToSample(x);
        m_state->selectionEnd = end;
        if (anchor >= 0 && end >= 0 && anchor != end)
            emit selectionChanged(std::min(anchor, end), std::max(anchor, end));
        else
            emit selectionChanged(0, 0);
        update();
    }
    QWidget::mouseMoveEvent(event);
}

void WaveformView::mouseReleaseEvent(QMouseEvent* event)
{
    const int moved = event->position().toPoint().x() - m_pressPosition.x();
    const bool clicked =
        m_mouseMode == MouseMode::Selecting && std::abs(moved) < kClickTolerancePixels;
    endGesture();
    if (clicked && m_state != nullptr)
        dropSelection();
    QWidget::mouseReleaseEvent(event);
}

/// A dialog or a menu that opens during a drag takes the release as well as the focus.
void WaveformView::focusOutEvent(QFocusEvent* event)
{
    endGesture();
    QWidget::focusOutEvent(event);
}

void WaveformView::endGesture()
{
    if (m_mouseMode == MouseMode::Panning)
        setCursor(Qt::ArrowCursor);
    m_mouseMode = MouseMode::None;
}

void WaveformView::dropSelection()
{
    m_state->selectionStart = -1;
    m_state->selectionEnd = -1;
    emit selectionChanged(-1, -1);
    update();
}

void WaveformView::wheelEvent(QWheelEvent* event)
{
    event->accept();
    if (event->angleDelta().y() == 0)
        return; // sideways: no zoom
    const double notches = event->angleDelta().y() * kDegreesPerAngleUnit / kDegreesPerNotch;
    const auto x = static_cast<int>(event->position().x());
    const FrameRange range = timeGeometry().zoomed(notches, x);
    setViewRange(range.begin, range.end);
}

void WaveformView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    const WaveformGeometry now = timeGeometry();
    if (m_state != nullptr && now.range().isValid() && width() > 0)
        m_state->viewScale = now.samplesPerPixel();
}
