#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

/// How a stored device key (an id or a readable name) is turned back into a
/// device. Pure functions of their arguments: any thread, never block.
namespace media::devices {

/// What the lookup needs to know of a device.
struct DeviceEntry {
    QByteArray id;
    QString description;
};

/// The USB vendor:product tag in a text, lower-case ("046d:0a44"): one in
/// parentheses anywhere, or else the whole text but for blanks around it. Empty
/// when there is none.
[[nodiscard]] QString hardwareTag(const QString& text);

/// 1 for equal texts down to 0: one minus the edit distance (UTF-16 units)
/// as a share of the longer length.
[[nodiscard]] double textSimilarity(const QString& a, const QString& b);

/// How well a key fits a description, letter case aside: 1 for the same
/// hardware tag; otherwise nine tenths of the similarity, so that a tag beats
/// every name; 0 when the similarity is below `threshold`.
[[nodiscard]] double matchScore(const QString& key, const QString& description, double threshold);

/// Index of the device that `key` means, −1 for none. The hexadecimal form of
/// an id wins over every name; among equally good names the first wins.
[[nodiscard]] qsizetype findDevice(const QList<DeviceEntry>& devices, const QString& key,
                                   double threshold);

/// A text that changes when the descriptions or their order change (ids play no
/// part: the same set plugged in again is no change).
[[nodiscard]] QString listSignature(const QStringList& descriptions);

} // namespace media::devices
