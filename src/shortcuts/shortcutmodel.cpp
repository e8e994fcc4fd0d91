#include "shortcuts/shortcutmodel.h"

#include <array>
#include <utility>

void ShortcutModel::setEntries(const QList<ShortcutEntry>& entries)
{
    beginResetModel();
    m_entries = entries;
    endResetModel();
}

void ShortcutModel::setHoldEntries(const QList<HoldEntry>& entries)
{
    beginResetModel();
    m_holdEntries = entries;
    endResetModel();
}

void ShortcutModel::setCurrentContext(const QString& context)
{
    m_currentContext = context;
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}

int ShortcutModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_entries.size() + m_holdEntries.size());
}

int ShortcutModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int{ColumnCount};
}

QVariant ShortcutModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case NameColumn:
        return tr("Name");
    case DetailsColumn:
        return tr("Details");
    case ContextColumn:
        return tr("Context");
    case ShortcutColumn:
        return tr("Shortcut");
    default:
        return {};
    }
}

QVariant ShortcutModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return index.column() < ColumnCount ? text(index.row(), index.column()) : QVariant();
    case Qt::BackgroundRole:
        return isActive(index.row()) ? kActiveBackground : kInactiveBackground;
    case Qt::ForegroundRole:
        return isActive(index.row()) ? QVariant() : QVariant(kInactiveText);
    default:
        return {};
    }
}

QString ShortcutModel::holdText(quint32 modifiers)
{
    static constexpr std::array<std::pair<Qt::KeyboardModifier, const char16_t*>, 4> kNames{{
        {Qt::ControlModifier, u"Ctrl"},
        {Qt::ShiftModifier, u"Shift"},
        {Qt::AltModifier, u"Alt"},
        {Qt::MetaModifier, u"Meta"},
    }};
    QStringList held;
    for (const auto& [bit, name] : kNames) {
        if ((modifiers & static_cast<quint32>(bit)) != 0)
            held.append(QString::fromUtf16(name));
    }
    const QString keys = held.isEmpty() ? QString(QChar(0x2014)) : held.join(u'+');
    return tr("%1 (hold)").arg(keys);
}

QString ShortcutModel::text(int row, int column) const
{
    const auto common = [column](const auto& entry) {
        switch (column) {
        case NameColumn:
            return entry.name;
        case DetailsColumn:
            return entry.description;
        default:
            return entry.context;
        }
    };
    if (row < m_entries.size()) {
        const ShortcutEntry& entry = m_entries[row];
        return column == ShortcutColumn ? entry.key.toString(QKeySequence::PortableText)
                                        : common(entry);
    }
    const HoldEntry& entry = m_holdEntries[row - m_entries.size()];
    return column == ShortcutColumn ? holdText(entry.modifiers) : common(entry);
}

bool ShortcutModel::isActive(int row) const
{
    const QString context = text(row, ContextColumn);
    return context == QStringView(kContextGlobal) || context == m_currentContext;
}
