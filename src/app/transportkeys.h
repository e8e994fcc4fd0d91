#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

class QKeyEvent;

/// Keeps the transport's keys from being swallowed by the button that happens
/// to have the focus: within the window, Shift+Space toggles play wherever the
/// focus is but in a text field (plain Space is a window shortcut), and Return
/// alone presses a focused button in Space's stead. In the window of `satellite`, a
/// part of the window that may stand alone, both keys toggle play.
class TransportKeys : public QObject {
    Q_OBJECT

public:
    /// Watches the keys of `window`, which owns this object, and of `satellite`.
    TransportKeys(QWidget* window, QWidget* satellite);

    /// Whether that is Shift+Space, which plays in a loop.
    [[nodiscard]] static bool isLoopKey(const QKeyEvent& key);

    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    void playToggled();

private:
    [[nodiscard]] bool handleKeyPress(QWidget* target, const QKeyEvent& key);

    QWidget* m_window;
    QPointer<QWidget> m_satellite;
};
