#pragma once

#include <QSortFilterProxyModel>

/// Lets those shortcuts through whose name or details match the filter's regular
/// expression anywhere. An expression that is not valid matches nothing.
class ShortcutFilterProxyModel : public QSortFilterProxyModel {
    Q_OBJECT

public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

protected:
    [[nodiscard]] bool filterAcceptsRow(int sourceRow,
                                        const QModelIndex& sourceParent) const override;
};
