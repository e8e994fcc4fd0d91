#pragma once

#include <QString>
#include <QStringList>

/// A user at the dialogs that block their caller: what is asked for here happens
/// once the next dialog of its kind stands open, however long that takes.
namespace dialog_answers {

/// Presses the button with `text` in the next message box. Its title, its text and
/// its buttons' texts are added to `seen`, which must live until then.
void pressInNextBox(const QString& text, QStringList* seen);

/// Types `path` into the next file dialog and accepts it; an empty path cancels it.
/// `folder`, which must live until then, becomes the folder that the dialog showed.
void chooseInNextFileDialog(const QString& path, QString* folder = nullptr);

/// Accepts the file dialog that proposes `name` by itself, and cancels it if it
/// is still open then.
void acceptProposal(const QString& name);

} // namespace dialog_answers
