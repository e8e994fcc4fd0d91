#pragma once

#include <QWidget>

class QPlainTextEdit;
class QTableView;
class ShortcutFilterProxyModel;
class ShortcutModel;
class ShortcutRegistry;

/// The keyboard help: a window that lists every registered shortcut and filters
/// the list as the user types. It is made once and kept; closing only hides it,
/// and it does not keep the program running when the other windows are closed.
class ShortcutHelpWidget : public QWidget {
    Q_OBJECT

public:
    /// Copies the registry's lists.
    explicit ShortcutHelpWidget(const ShortcutRegistry& registry);

    /// Shows the window in front, with the keyboard in the filter.
    void showHelp();

private slots:
    void on_plainTextEditFilter_textChanged();

private:
    void buildForm();
    void buildTable();
    void fillModel(const ShortcutRegistry& registry);

    QPlainTextEdit* m_filter;
    QTableView* m_table;
    ShortcutModel* m_model;
    ShortcutFilterProxyModel* m_proxy;
};
