#pragma once

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QVBoxLayout>
#include <QWidget>

#include <memory>

/// A window, not shown yet, whose second row holds an edit, a `Widget` that can be
/// taken out of it, and another edit. The suite that uses it links the widgets.
template <class Widget>
struct RowWindow {
    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    QHBoxLayout* row = new QHBoxLayout;
    QLineEdit* before = new QLineEdit;
    QPointer<Widget> movable = new Widget;
    QLineEdit* after = new QLineEdit;

    RowWindow()
    {
        auto* outer = new QVBoxLayout(window.get());
        outer->addWidget(new QLabel(QStringLiteral("toolbar")));
        outer->addLayout(row);
        row->addWidget(before);
        row->addWidget(movable, 3);
        row->addWidget(after, 1);
        window->resize(600, 200);
    }

    /// What keeps the widget's place while it is out, null while it is in.
    [[nodiscard]] QLabel* placeholder() const
    {
        for (QLabel* label : window->findChildren<QLabel*>()) {
            if (label->text().startsWith(QStringLiteral("Popped out")) && !label->isHidden())
                return label;
        }
        return nullptr;
    }

    [[nodiscard]] bool isInPlace() const
    {
        return movable->parentWidget() == window.get() && !movable->isWindow() &&
               row->indexOf(movable) == 1 && row->stretch(1) == 3 && row->stretch(2) == 1 &&
               row->count() == 3;
    }
};
