#pragma once

#include "project/velaproject.h"

#include <QCoreApplication>
#include <QIODevice>
#include <QString>

#include <atomic>

class ReplacementFile;

/// The ".vela" project file: a short header and the compressed payload.
/// docs/file-format.md describes the bytes.
///
/// `save` and `load` block until done, log nothing, and may run on any thread
/// that has the project to itself; ProjectFileJob runs them beside the GUI.
class ProjectFile {
    Q_DECLARE_TR_FUNCTIONS(ProjectFile)

public:
    /// Payloads up to this size are compressed exactly as qCompress does.
    static constexpr qint64 kMaxPlainPayloadBytes = qint64{1024} * 1024;

    /// The body's length is a 32-bit count, whose two highest values mean
    /// something else to some readers.
    static constexpr qint64 kMaxBodyBytes = 0xFFFFFFFD;

    struct SaveResult {
        enum class Outcome {
            Saved,
            SavedInsecurely, ///< the new file is there, but may not survive a power cut
            CouldNotOpen,    ///< nothing could be written there
            TooLarge,        ///< the format cannot hold the project
            WriteFailed,     ///< disk full, size limit, device error
            Abandoned,       ///< on the caller's request
        };
        Outcome outcome = Outcome::Saved;
        QString reason; ///< for the user; empty when Saved or Abandoned
    };

    struct LoadResult {
        enum class Outcome {
            Loaded,
            CouldNotOpen,
            WrongMagic,
            WrongVersion,
            TooLarge,  ///< the contents would take more memory than they may
            Abandoned, ///< on the caller's request
        };
        Outcome outcome = Outcome::Loaded;
        QString reason;       ///< for the user; also set when loaded from a damaged file
        ProjectHandle loaded; ///< when loaded: a project with the file's contents
    };

    /// A project of its own with the same saved fields and tracks. Shares the
    /// samples: costs no copy until one side changes them.
    [[nodiscard]] static ProjectHandle snapshot(const VelaProject& project);

    /// Gives `project` the saved fields and tracks of `loaded`.
    static void adopt(const ProjectHandle& project, const VelaProject& loaded);

    /// Writes `project` to `path`. The file that was there stays whole unless the
    /// new one is complete and on disk. A body above `maxBodyBytes` is refused.
    /// Gives up soon after `*abandon` turns true (may be null), and puts nothing in
    /// place from then on.
    [[nodiscard]] static SaveResult save(const ProjectHandle& project, const QString& path,
                                         qint64 maxBodyBytes = kMaxBodyBytes,
                                         const std::atomic_bool* abandon = nullptr);

    /// Reads a project file from `device`, which is open, random-access and at the
    /// file's start. A body that is damaged anywhere loads as if it were empty,
    /// with a reason. What it holds may take up to `maxMemoryBytes`, as
    /// `readProject` counts them.
    [[nodiscard]] static LoadResult read(QIODevice& device, qint64 maxMemoryBytes);

    /// Reads the file at `path` as `read` does, up to `affordableMemoryBytes()`.
    /// Gives up soon after `*abandon` turns true (may be null).
    [[nodiscard]] static LoadResult load(const QString& path,
                                         const std::atomic_bool* abandon = nullptr);

private:
    [[nodiscard]] static SaveResult write(ReplacementFile& file, const ProjectHandle& project,
                                          qint64 maxBodyBytes);
};
