#pragma once

#include <QLabel>

/// A label of one line of plain text that never asks for more width than it is
/// given: what does not fit is drawn with an ellipsis, and the tool tip shows
/// all of it. `text()` stays the whole text. The Tab key stops at it, so that
/// what the mouse does with a double-click has a key as well.
class NameLabel : public QLabel {
    Q_OBJECT

public:
    explicit NameLabel(QWidget* parent = nullptr);

    /// Sets text and tool tip.
    void setName(const QString& name);

    [[nodiscard]] QSize minimumSizeHint() const override;

signals:
    /// Return or Enter was pressed on the label.
    void activated();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
};
