#pragma once

#include <QIODevice>

#include <memory>

/// Compresses what is written to it into a zlib stream on another device, in
/// pieces: neither the data nor the stream are ever held whole. Silence, which
/// is common between takes, is recognised and costs next to nothing.
///
/// One thread. Writing blocks while the target does. After a failure every
/// further write fails; `errorString()` is the target's.
class DeflateDevice : public QIODevice {
    Q_OBJECT

public:
    /// `target` is open for writing and outlives this. The stream may grow to
    /// `maxStreamBytes`; what would make it longer fails with `isTooLarge()`.
    DeflateDevice(QIODevice& target, qint64 maxStreamBytes);
    ~DeflateDevice() override;
    Q_DISABLE_COPY_MOVE(DeflateDevice)

    /// Writes what is still held back and the stream's end. False on failure.
    [[nodiscard]] bool finish();

    /// Bytes of the zlib stream written so far.
    [[nodiscard]] qint64 streamBytes() const;

    [[nodiscard]] bool isTooLarge() const;

    [[nodiscard]] bool isSequential() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    bool begin();
    bool encode(const char* data, qint64 size);
    bool encodeSilence();
    bool runEncoder();
    bool put(const void* bytes, qint64 size);
    bool putChecksum();

    struct Encoder;
    std::unique_ptr<Encoder> m_encoder;
    QIODevice& m_target;
    qint64 m_maxStreamBytes;
    qint64 m_streamBytes = 0;
    bool m_encoderIsFresh = true; ///< holds nothing back and looks back at nothing
    bool m_failed = false;
    bool m_tooLarge = false;
};
