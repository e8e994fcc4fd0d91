#pragma once

#include "shortcuts/shortcut.h"

#include <QAbstractTableModel>
#include <QColor>
#include <QList>

/// The registered shortcuts as a table: key entries first, hold entries after
/// them. A row is active when its context is the global or the current one.
class ShortcutModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { NameColumn, DetailsColumn, ContextColumn, ShortcutColumn, ColumnCount };

    static constexpr QColor kActiveBackground{60, 90, 60};
    static constexpr QColor kInactiveBackground{40, 40, 40};
    static constexpr QColor kInactiveText{120, 120, 120};

    using QAbstractTableModel::QAbstractTableModel;

    void setEntries(const QList<ShortcutEntry>& entries);
    void setHoldEntries(const QList<HoldEntry>& entries);

    /// Tells of a change of all cells, even where the context is the same.
    void setCurrentContext(const QString& context);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role = Qt::DisplayRole) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index,
                                int role = Qt::DisplayRole) const override;

    /// The names of the held modifiers, Ctrl first, and that they are held.
    [[nodiscard]] static QString holdText(quint32 modifiers);

private:
    [[nodiscard]] QString text(int row, int column) const;
    [[nodiscard]] bool isActive(int row) const;

    QList<ShortcutEntry> m_entries;
    QList<HoldEntry> m_holdEntries;
    QString m_currentContext;
};
