#include "widgets/namelabel.h"

#include "widgets/focusring.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>

QString shownName(const QString& name)
{
    if (name.size() <= kMaxShownName)
        return name;
    const bool splitsCharacter = name.at(kMaxShownName - 1).isHighSurrogate();
    return name.first(kMaxShownName - (splitsCharacter ? 1 : 0)) + QChar(0x2026);
}

QString plainToolTip(const QString& text)
{
    return Qt::mightBeRichText(text) ? QStringLiteral("<qt>%1</qt>").arg(text.toHtmlEscaped())
                                     : text;
}

NameLabel::NameLabel(QWidget* parent)
    : QLabel(parent)
{
    // A name may look like markup; it is none.
    setTextFormat(Qt::PlainText);
    setFocusPolicy(Qt::TabFocus);
}

void NameLabel::setName(const QString& name)
{
    const QString shown = shownName(name);
    setText(shown);
    setToolTip(plainToolTip(shown));
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
