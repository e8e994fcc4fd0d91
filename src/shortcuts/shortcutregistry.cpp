#include "shortcuts/shortcutregistry.h"

void ShortcutRegistry::registerShortcuts(const QList<ShortcutEntry>& entries)
{
    m_entries.append(entries);
}

void ShortcutRegistry::registerHolds(const QList<HoldEntry>& entries)
{
    m_holdEntries.append(entries);
}
