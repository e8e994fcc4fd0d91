#pragma once

#include "support/logcatcher.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/// The base of suites whose tests each get a temporary folder of their own, and fail
/// on a warning that they do not claim.
class FolderSuite : public QObject {
    Q_OBJECT

protected:
    [[nodiscard]] QString folder() const { return m_folder->path(); }

    /// Where `name` lies in the folder.
    [[nodiscard]] QString in(const QString& name) const { return m_folder->filePath(name); }

    /// The names of all that is in the folder, hidden and special files too.
    [[nodiscard]] QStringList entries() const;

    [[nodiscard]] LogCatcher& log() { return *m_log; }

protected slots: // the test runner calls them; a suite with more to do calls them first and last
    void init();
    void cleanup();

private:
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<QTemporaryDir> m_folder;
};
