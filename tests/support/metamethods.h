#pragma once

#include <QMetaObject>
#include <QStringList>

/// The signals and slots that the class itself declares, in the order of its meta-object,
/// each with the names of its parameters: "moved(from,to)".
[[nodiscard]] QStringList declaredMethods(const QMetaObject& meta);
