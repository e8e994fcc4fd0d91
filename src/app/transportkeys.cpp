#include "app/transportkeys.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QWidget>

TransportKeys::TransportKeys(QWidget* window)
    : QObject(window)
    , m_window(window)
{
    QCoreApplication::instance()->installEventFilter(this);
}

bool TransportKeys::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress && watched->isWidgetType()) {
        auto* target = static_cast<QWidget*>(watched);
        if (target != m_window && target->window() == m_window && handleKeyPress(target, event))
            return true;
    }
    return QObject::eventFilter(watched, event);
}

bool TransportKeys::handleKeyPress(QWidget* target, QEvent* event)
{
    const auto* key = static_cast<QKeyEvent*>(event);
    const bool takesText = target->testAttribute(Qt::WA_InputMethodEnabled);
    if (key->key() == Qt::Key_Space && key->modifiers() == Qt::ShiftModifier && !takesText) {
        QCoreApplication::sendEvent(m_window, event);
        return true;
    }
    const bool isReturn = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
    auto* button = qobject_cast<QAbstractButton*>(target);
    if (isReturn && button && !key->isAutoRepeat()) {
        button->animateClick();
        return true;
    }
    return false;
}
