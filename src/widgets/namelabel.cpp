#include "widgets/namelabel.h"

#include "widgets/focusring.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>

NameLabel::NameLabel(QWidget* parent)
    : QLabel(parent)
{
    // A name may look like markup; it is none.
    setTextFormat(Qt::PlainText);
    setFocusPolicy(Qt::TabFocus);
}

void NameLabel::setName(const QString& name)
{
    setText(name);
    setToolTip(Qt::mightBeRichText(name) ? QStringLiteral("<qt>%1</qt>").arg(name.toHtmlEscaped())
                                         : name);
}

QSize NameLabel::minimumSizeHint() const
{
    return {0, QLabel::minimumSizeHint().height()};
}

void NameLabel::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        emit activated();
    else
        QLabel::keyPressEvent(event);
}

void NameLabel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    QStyleOption option;
    option.initFrom(this);
    style()->drawPrimitive(QStyle::PE_Widget, &option, &painter, this);
    const QRect area = contentsRect().marginsRemoved(QMargins(margin(), 0, margin(), 0));
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, area.width());
    style()->drawItemText(&painter, area, static_cast<int>(alignment()) | Qt::TextSingleLine,
                          palette(), isEnabled(), shown, foregroundRole());
    focus_ring::paint(painter, *this);
}
