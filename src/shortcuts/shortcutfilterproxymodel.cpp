#include "shortcuts/shortcutfilterproxymodel.h"

#include "shortcuts/shortcutmodel.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>

bool ShortcutFilterProxyModel::filterAcceptsRow(int sourceRow,
                                                const QModelIndex& sourceParent) const
{
    const QRegularExpression filter = filterRegularExpression();
    if (filter.pattern().isEmpty())
        return true;
    // Matching with an invalid expression would be logged, once for every row.
    if (!filter.isValid())
        return false;
    static constexpr std::array kSearched = {ShortcutModel::NameColumn,
                                             ShortcutModel::DetailsColumn};
    return std::any_of(kSearched.begin(), kSearched.end(), [&](int column) {
        const QModelIndex cell = sourceModel()->index(sourceRow, column, sourceParent);
        return cell.data(Qt::DisplayRole).toString().contains(filter);
    });
}
