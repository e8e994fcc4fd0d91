#pragma once

#include <QByteArray>
#include <QList>

#include <functional>

/// The same bytes for the same seed.
[[nodiscard]] QByteArray noiseBytes(qsizetype size, quint32 seed);

/// A way to spoil the bytes of a file, the same in every run.
struct Damage {
    QByteArray name;
    std::function<QByteArray(QByteArray)> apply;
};

/// What happens to files on bad disks and in broken downloads.
[[nodiscard]] QList<Damage> damages();
