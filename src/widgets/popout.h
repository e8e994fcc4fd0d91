#pragma once

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QSize>
#include <QString>
#include <QTimer>

class QLayout;
class QWidget;

/// Takes a widget out of its parent into a window of its own, and back to the
/// same place. While it is away a placeholder keeps the place; a double-click on
/// the placeholder, or closing the window, brings the widget back.
///
/// The widget stays the former parent's: it is deleted when that is destroyed, and
/// its window does not keep the application running. Owned by the widget it
/// moves, which is deleted together with it. Window's thread only.
class PopOut : public QObject {
    Q_OBJECT

public:
    explicit PopOut(QWidget* widget);
    ~PopOut() override;
    Q_DISABLE_COPY_MOVE(PopOut)

    [[nodiscard]] bool isPoppedOut() const { return m_poppedOut; }

    /// In place → popped out. False, with nothing changed, without a parent.
    bool popOut(const QString& title, QSize size);

    /// Popped out → in place; anything else does nothing.
    void restore();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void rememberPlace();
    void insertPlaceholder();
    void takeFocus();
    void restoreFocusOrder();

    QWidget* m_widget;
    QTimer m_restoreSoon;
    bool m_poppedOut = false;
    QPointer<QWidget> m_formerParent;
    QPointer<QLayout> m_formerLayout;
    QPointer<QWidget> m_formerTabPredecessor;
    // Not as a QLabel: events still pass through it while it is being destroyed.
    QPointer<QWidget> m_placeholder;
    QRect m_formerGeometry;
    int m_formerIndex = -1;
    int m_formerStretch = 0;
    Qt::Alignment m_formerAlignment;
};
