#pragma once

#include <QIODevice>

#include <memory>

/// Expands a zlib stream from another device as it is read, in pieces: neither
/// the stream nor its contents are ever held whole.
///
/// One thread. Reading blocks while the source does. What has been read counts
/// only when `drain()` has found the stream whole and its checksum right.
class InflateDevice : public QIODevice {
    Q_OBJECT

public:
    /// The next `streamBytes` bytes of `source`, which outlives this, hold the
    /// stream; bytes after its end are ignored.
    InflateDevice(QIODevice& source, qint64 streamBytes);
    ~InflateDevice() override;
    Q_DISABLE_COPY_MOVE(InflateDevice)

    /// Expands the rest without keeping it. True if the stream ended as a whole
    /// stream does.
    [[nodiscard]] bool drain();

    /// A guess at what is left, good for reserving memory: what the rest of the
    /// stream would hold at an ordinary rate of compression.
    [[nodiscard]] qint64 bytesAvailable() const override;

    [[nodiscard]] bool isSequential() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    enum class State { Expanding, Whole, Damaged };

    qint64 expand(char* data, qint64 maxSize);
    void expandPiece();
    bool refill();

    struct Decoder;
    std::unique_ptr<Decoder> m_decoder;
    QIODevice& m_source;
    qint64 m_streamBytesLeft;
    State m_state = State::Expanding;
};
