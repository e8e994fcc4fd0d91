#include "settings/identity.h"

#include <QStringList>

#include <algorithm>

QString desktopEntryName(const QString& domain, const QString& applicationName)
{
    QStringList labels = domain.split(u'.', Qt::SkipEmptyParts);
    std::reverse(labels.begin(), labels.end());
    const QStringList words = applicationName.split(u' ', Qt::SkipEmptyParts);
    if (!words.isEmpty())
        labels.append(words.last());
    return labels.join(u'.');
}
