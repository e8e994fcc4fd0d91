#include "app/iconbutton.h"

#include <QStyleOptionButton>
#include <QStylePainter>

namespace {

constexpr int kLayoutMinimum = 2;

} // namespace

IconButton::IconButton(QWidget* parent)
    : QPushButton(parent)
{
    setMinimumSize(kLayoutMinimum, kLayoutMinimum);
}

void IconButton::finish(const QString& iconPath, const QString& toolTip)
{
    setIcon(QIcon(iconPath));
    setIconSize({kIconPixels, kIconPixels});
    setFixedSize(kButtonPixels, kButtonPixels);
    setToolTip(toolTip);
}

void IconButton::paintEvent(QPaintEvent* /*event*/)
{
    QStylePainter painter(this);
    QStyleOptionButton option;
    initStyleOption(&option);
    option.text.clear();
    painter.drawControl(QStyle::CE_PushButton, option);
}
