#pragma once

#include <QEvent>
#include <QWidget>

/// How often a widget has been painted since. The suite that uses it links the
/// widgets.
class PaintCounter : public QObject {
public:
    explicit PaintCounter(QWidget& widget) { widget.installEventFilter(this); }

    [[nodiscard]] int count() const { return m_count; }

protected:
    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        m_count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }

private:
    int m_count = 0;
};
