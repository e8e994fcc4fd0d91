#include "support/files.h"

#include <QFile>
#include <QTest>

namespace {

void fail(const QFile& file)
{
    QTest::qFail(qPrintable(file.fileName() + ": " + file.errorString()), __FILE__, __LINE__);
}

} // namespace

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail(file);
    return file.readAll();
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush())
        fail(file);
}
