#include "app/tracksplitter.h"

#include <QMouseEvent>

#include <algorithm>
#include <numeric>

namespace {

/// Resizes the strip above itself only.
class StripHandle : public QSplitterHandle {
public:
    explicit StripHandle(TrackSplitter* splitter)
        : QSplitterHandle(Qt::Vertical, splitter)
        , m_splitter(splitter)
    {
    }

protected:
    void mousePressEvent(QMouseEvent* event) override
    {
        if (event->button() != Qt::LeftButton)
            return;
        m_pressY = event->globalPosition().toPoint().y();
        m_heightAtPress = m_splitter->sizes().value(stripAbove());
    }

    void mouseMoveEvent(QMouseEvent* event) override
    {
        if (!event->buttons().testFlag(Qt::LeftButton))
            return;
        const int moved = event->globalPosition().toPoint().y() - m_pressY;
        m_splitter->setStripHeight(stripAbove(), m_heightAtPress + moved);
    }

    void mouseReleaseEvent(QMouseEvent* /*event*/) override {}

private:
    [[nodiscard]] int stripAbove() const
    {
        for (int i = 1; i < m_splitter->count(); ++i) {
            if (m_splitter->handle(i) == this)
                return i - 1;
        }
        return -1;
    }

    TrackSplitter* m_splitter;
    int m_pressY = 0;
    int m_heightAtPress = 0;
};

} // namespace

TrackSplitter::TrackSplitter(QWidget* parent)
    : QSplitter(Qt::Vertical, parent)
{
    setHandleWidth(kHandlePixels);
    setChildrenCollapsible(false);
}

void TrackSplitter::setStripHeight(int index, int height)
{
    if (index < 0 || index >= count())
        return;
    QList<int> heights = sizes();
    heights[index] = std::max(height, widget(index)->minimumHeight());
    const int handles = (count() - 1) * handleWidth();
    const int total = std::accumulate(heights.cbegin(), heights.cend(), handles);
    const int room = parentWidget() ? parentWidget()->height() : total;
    const int neighbour = index + 1 < count() ? index + 1 : index - 1;
    if (total < room && neighbour >= 0)
        heights[neighbour] += room - total;
    setMinimumHeight(total > room ? total : 0);
    // At once, or the sizes would be stretched to the height that is still there.
    resize(width(), std::max(total, room));
    setSizes(heights);
}

void TrackSplitter::shareRoom()
{
    setMinimumHeight(0);
}

QSplitterHandle* TrackSplitter::createHandle()
{
    return new StripHandle(this);
}
