#pragma once

#include <QString>

class QWidget;

/// The open and save dialogs, and the rules about file names around them.
/// Modal: each runs its own event loop until the user answers. GUI thread.
namespace file_dialogs {

/// Where a dialog starts: the folder of `lastFile` (the desktop folder if that
/// is empty), joined with `suggestedName`, or with the last file's own name.
[[nodiscard]] QString startPath(const QString& lastFile, const QString& suggestedName);

/// Asks which audio file or project to open; empty if the user cancels.
[[nodiscard]] QString askOpen(QWidget* parent, const QString& startPath);

/// Asks where to save the project; empty if the user cancels. Adds the project
/// extension unless the name has it in any letter case. No file is named that
/// the user has not agreed to replace.
[[nodiscard]] QString askSave(QWidget* parent, const QString& startPath);

/// True when the name ends in the project extension, in any letter case.
[[nodiscard]] bool isProjectFile(const QString& path);

/// `path` with the project extension added unless it is there.
[[nodiscard]] QString withProjectExtension(const QString& path);

} // namespace file_dialogs
