#pragma once

#include <QByteArray>
#include <QIODevice>

#include <atomic>
#include <sys/stat.h>

/// Writes a file that takes the place of another only when it is complete and
/// on disk. Until `commit()`, and for ever if that says Failed, the file that was
/// there stays as it is.
///
/// The new file grows beside the old one under a name of its own, which is gone
/// after this object's end; one left by a killed program is removed by the next
/// replacement of the same file. A symbolic link stays and its target is
/// replaced. Mode, access lists, other attributes, owner and group of an existing
/// file carry over where the system lets us; where not, others may do less. A hard
/// link to the old file keeps the old contents.
///
/// One thread, on which writing blocks. Failures: false or short counts, with
/// the system's words in `errorString()`. Another thread may abandon the whole:
/// then nothing more is written or put in place.
class ReplacementFile : public QIODevice {
    Q_OBJECT

public:
    /// `abandon` may be null; otherwise it outlives this object.
    explicit ReplacementFile(const QString& path, const std::atomic_bool* abandon = nullptr);

    /// Discards the new file unless `commit()` has put it in place.
    ~ReplacementFile() override;
    Q_DISABLE_COPY_MOVE(ReplacementFile)

    /// Makes the new file; `mode` must be WriteOnly. Fails if the old file may
    /// not be written or its folder takes no new file.
    [[nodiscard]] bool open(OpenMode mode) override;

    enum class Commit {
        Failed,  ///< the old file is as it was, the new one discarded
        InPlace, ///< the new file is there, but a power cut might bring back the old
        OnDisk,  ///< the new file is there for good
    };

    [[nodiscard]] bool isAbandoned() const { return m_abandon != nullptr && *m_abandon; }

    /// Open → in place. Call once. The system's words are in `errorString()` of
    /// anything but OnDisk.
    [[nodiscard]] Commit commit();

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    bool fail(int error);
    void explain(int error);
    bool examineTarget();
    bool makeNewFile();
    bool carryAttributesOver();
    bool putInPlace();
    void discard();

    QByteArray m_target;  // after following links
    QByteArray m_newFile; // empty when there is none
    struct stat m_old = {};
    bool m_hasOld = false;
    int m_fd = -1;
    const std::atomic_bool* m_abandon;
};
