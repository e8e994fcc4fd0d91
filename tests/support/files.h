#pragma once

#include <QByteArray>
#include <QString>

/// Whole files, read and written at once. Both fail the running test when the
/// file cannot be had; it then goes on with what is there, which may be nothing.
QByteArray readFile(const QString& path);
void writeFile(const QString& path, const QByteArray& bytes);
