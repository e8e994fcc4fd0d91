#pragma once

#include <QByteArray>

/// The names of files that grow beside the file they will replace, and the
/// removal of those that a killed program left. Names are encoded as the file
/// system has them. Any thread.
namespace stale_files {

/// The folder of `path`, "." when it names none.
[[nodiscard]] QByteArray folderOf(const QByteArray& path);

/// A hidden name beside `target` that is very likely free.
[[nodiscard]] QByteArray newName(const QByteArray& target);

/// Marks a file just made under such a name as in use until `fd` is closed.
/// False if someone took it for a leftover first: it is as good as removed.
[[nodiscard]] bool claim(int fd);

/// Removes every file with a name that `newName(target)` could give, except
/// `own` and those that a living program still holds locked.
void removeLeftovers(const QByteArray& target, const QByteArray& own);

} // namespace stale_files
