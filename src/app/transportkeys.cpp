#include "app/transportkeys.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QKeyEvent>

TransportKeys::TransportKeys(QWidget* window, QWidget* satellite)
    : QObject(window)
    , m_window(window)
    , m_satellite(satellite)
{
    QCoreApplication::instance()->installEventFilter(this);
}

bool TransportKeys::isLoopKey(const QKeyEvent& key)
{
    return key.key() == Qt::Key_Space && key.modifiers() == Qt::ShiftModifier;
}

bool TransportKeys::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress && watched->isWidgetType() && watched != m_window) {
        if (handleKeyPress(static_cast<QWidget*>(watched), *static_cast<QKeyEvent*>(event)))
            return true;
    }
    return QObject::eventFilter(watched, event);
}

bool TransportKeys::handleKeyPress(QWidget* target, const QKeyEvent& key)
{
    const bool inSatellite = m_satellite && target->window() == m_satellite;
    if (!inSatellite && target->window() != m_window)
        return false;
    const bool takesText = target->testAttribute(Qt::WA_InputMethodEnabled);
    const bool plain = key.modifiers() == Qt::NoModifier;
    const bool plainAlone = inSatellite && key.key() == Qt::Key_Space && plain;
    if ((isLoopKey(key) || plainAlone) && !takesText) {
        if (!key.isAutoRepeat())
            emit playToggled();
        return true;
    }
    const bool isReturn = (key.key() == Qt::Key_Return || key.key() == Qt::Key_Enter) &&
                          (plain || key.modifiers() == Qt::KeypadModifier);
    auto* button = qobject_cast<QAbstractButton*>(target);
    if (isReturn && button && !key.isAutoRepeat()) {
        button->animateClick();
        return true;
    }
    return false;
}
