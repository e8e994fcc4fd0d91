#include "support/metamethods.h"

#include <QByteArray>
#include <QList>
#include <QMetaMethod>
#include <QString>

QStringList declaredMethods(const QMetaObject& meta)
{
    QStringList found;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QStringList parameters;
        for (const QByteArray& name : method.parameterNames())
            parameters.append(QString::fromLatin1(name));
        found.append(QString::fromLatin1(method.name()) + u'(' + parameters.join(u',') + u')');
    }
    return found;
}
