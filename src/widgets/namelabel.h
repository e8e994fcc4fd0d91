#pragma once

#include <QLabel>

/// Characters of a track's name that are ever shown or told.
constexpr qsizetype kMaxShownName = 1000;

/// What of `name` is shown, spoken and laid out: all of it, or its beginning and an
/// ellipsis, as a file may bring a name of millions of characters.
[[nodiscard]] QString shownName(const QString& name);

/// `text` as a tool tip, which would take it for markup where it looks like it.
[[nodiscard]] QString plainToolTip(const QString& text);

/// A label of one line of plain text that never asks for more width than it is
/// given: what does not fit is drawn with an ellipsis, and the tool tip shows
/// all of it, up to `kMaxShownName`. `text()` stays what the tool tip shows. The Tab key stops at
/// it, so that what the mouse does with a double-click has a key as well.
class NameLabel : public QLabel {
    Q_OBJECT

public:
    explicit NameLabel(QWidget* parent = nullptr);

    /// Sets text and tool tip to what of `name` is shown.
    void setName(const QString& name);

    [[nodiscard]] QSize minimumSizeHint() const override;

signals:
    /// Return or Enter was pressed on the label.
    void activated();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
};
