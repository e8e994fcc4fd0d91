#pragma once

#include <QPushButton>

/// A toolbar button that paints its icon alone but keeps its text, which is what
/// assistive technology reads.
class IconButton : public QPushButton {
    Q_OBJECT

public:
    static constexpr int kIconPixels = 24;
    static constexpr int kButtonPixels = 30;

    explicit IconButton(QWidget* parent = nullptr);

    /// Sets icon and tool tip and fixes the size, all in logical pixels.
    void finish(const QString& iconPath, const QString& toolTip);

protected:
    void paintEvent(QPaintEvent* event) override;
};
