#pragma once

#include "shortcuts/shortcut.h"

#include <QList>

/// The catalogue of the program's keyboard commands, in the order in which the
/// help shows them. It documents and binds nothing. Filled once, while the main
/// window builds itself; lives as long as that. User-interface thread only.
class ShortcutRegistry {
public:
    /// Appends the entries in their order.
    void registerShortcuts(const QList<ShortcutEntry>& entries);

    /// Appends the entries to the second list, which the help shows last.
    void registerHolds(const QList<HoldEntry>& entries);

    [[nodiscard]] const QList<ShortcutEntry>& entries() const { return m_entries; }

    [[nodiscard]] const QList<HoldEntry>& holdEntries() const { return m_holdEntries; }

private:
    QList<ShortcutEntry> m_entries;
    QList<HoldEntry> m_holdEntries;
};
