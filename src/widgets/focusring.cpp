#include "widgets/focusring.h"

#include <QColor>
#include <QPainter>
#include <QWidget>

namespace focus_ring {

void paint(QPainter& painter, const QWidget& widget)
{
    if (!widget.hasFocus() || !widget.window()->testAttribute(Qt::WA_KeyboardFocusChange))
        return;
    const QRect outer = widget.rect().adjusted(0, 0, -1, -1);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QColor::fromRgb(kOuter));
    painter.drawRect(outer);
    painter.setPen(QColor::fromRgb(kInner));
    painter.drawRect(outer.adjusted(1, 1, -1, -1));
}

} // namespace focus_ring
