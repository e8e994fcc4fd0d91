#pragma once

#include <QObject>

class QWidget;

/// Keeps the transport's keys from being swallowed by the button that happens
/// to have the focus: within the window, Shift+Space goes to the window itself
/// wherever the focus is but in a text field (plain Space is a window shortcut),
/// and Return presses a focused button in its stead.
class TransportKeys : public QObject {
    Q_OBJECT

public:
    /// Watches the keys of `window`, which owns this object.
    explicit TransportKeys(QWidget* window);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool handleKeyPress(QWidget* target, QEvent* event);

    QWidget* m_window;
};
