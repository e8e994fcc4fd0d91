#include "widgets/stereoseparationwidget.h"

#include "widgets/pixelfill.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kFixedHeightPx = 50;
constexpr QSize kMinimumSizePx(80, 40);
constexpr QRgb kBlack = qRgb(0, 0, 0);
constexpr QRgb kCentreLine = qRgb(30, 30, 30);
constexpr QRgb kMiddle = qRgb(0, 200, 0);
constexpr QRgb kSideLeft = qRgb(0, 180, 255);
constexpr QRgb kSideRight = qRgb(255, 100, 0);

void setRow(QImage& image, int column, int half, float value, QRgb colour)
{
    const float offset = value * static_cast<float>(half);
    // Also false for NaN, and keeps the conversion below within what an int holds.
    if (!(std::fabs(offset) <= static_cast<float>(image.height())))
        return;
    const int row = half - static_cast<int>(offset);
    if (row >= 0 && row < image.height())
        reinterpret_cast<QRgb*>(image.scanLine(row))[column] = colour;
}

} // namespace

StereoSeparationWidget::StereoSeparationWidget(QWidget* parent)
    : QWidget(parent)
{
    setMinimumSize(kMinimumSizePx);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFixedHeight(kFixedHeightPx);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAccessibleName(tr("Stereo separation"));
}

// By size and not by the resize event, which a hidden widget gets only when shown.
void StereoSeparationWidget::ensureImage()
{
    if (m_history.size() == size())
        return;
    m_history = QImage(size(), QImage::Format_RGB32);
    m_history.fill(kBlack);
    m_writeColumn = 0;
}

void StereoSeparationWidget::pushFrames(const QList<float>& left, const QList<float>& right)
{
    ensureImage();
    const int columns = m_history.width();
    if (columns < 1 || m_history.height() < 1)
        return;

    // What later frames of the same call would overwrite need not be drawn.
    const qsizetype skipped = std::max<qsizetype>(left.size() - columns, 0);
    m_writeColumn = static_cast<qint32>((m_writeColumn + skipped) % columns);
    qsizetype frame = skipped;
    while (frame < left.size()) {
        const int run =
            static_cast<int>(std::min<qsizetype>(left.size() - frame, columns - m_writeColumn));
        drawColumns(left, right, frame, run);
        m_writeColumn = (m_writeColumn + run) % columns;
        frame += run;
    }
    update();
}

void StereoSeparationWidget::drawColumns(const QList<float>& left, const QList<float>& right,
                                         qsizetype firstFrame, int count)
{
    const int half = m_history.height() / 2;
    fillPixels(m_history, QRect(m_writeColumn, 0, count, m_history.height()), kBlack);
    fillPixels(m_history, QRect(m_writeColumn, half, count, 1), kCentreLine);
    for (int i = 0; i < count; ++i) {
        const qsizetype frame = firstFrame + i;
        const float l = left[frame];
        const float r = frame < right.size() ? right[frame] : 0.0F;
        const float middle = (l + r) * 0.5F;
        const float side = (l - r) * 0.5F;
        setRow(m_history, m_writeColumn + i, half, middle, kMiddle);
        setRow(m_history, m_writeColumn + i, half, side, side >= 0 ? kSideLeft : kSideRight);
    }
}

void StereoSeparationWidget::paintEvent(QPaintEvent* /*event*/)
{
    ensureImage();
    if (m_history.width() < 1)
        return;
    // In logical pixels on both sides: on a screen with more of its own the history
    // is scaled, and still spans the whole widget.
    QPainter painter(this);
    const int oldest = m_history.width() - m_writeColumn;
    painter.drawImage(QRect(0, 0, oldest, height()), m_history,
                      QRect(m_writeColumn, 0, oldest, m_history.height()));
    if (m_writeColumn > 0) {
        painter.drawImage(QRect(oldest, 0, m_writeColumn, height()), m_history,
                          QRect(0, 0, m_writeColumn, m_history.height()));
    }
}

void StereoSeparationWidget::resizeEvent(QResizeEvent* event)
{
    ensureImage();
    QWidget::resizeEvent(event);
}
