#pragma once

#include <QAudioBuffer>
#include <QAudioFormat>
#include <QList>

#include <limits>

/// Channels of the track that an import makes from a source with
/// `sourceChannels`: 1, 2, 6 and 8 stay, every other count gives 2.
[[nodiscard]] int trackChannelsFor(int sourceChannels);

/// Turns decoded buffers into a track's channels.
///
/// The layout of the whole track follows from the last buffer, and each buffer
/// is read from its start with one value per track channel and frame, whatever
/// its own channel count; a four-channel source therefore gives two channels
/// made from the first half of each buffer's values. Values that a buffer is
/// too short for are 0.0.
///
/// A source whose count stays the same and maps to itself is converted while it
/// arrives, so memory peaks near the size of the track. Any other is kept as
/// decoded until `takeChannels()`. The result does not depend on which.
///
/// Reentrant; no Qt event loop needed.
class SampleCollector {
public:
    /// What `add()` and `takeChannels()` would take beyond `mostBytes` of memory is
    /// refused as where the system has no more: with std::bad_alloc.
    explicit SampleCollector(qint64 mostBytes = std::numeric_limits<qint64>::max())
        : m_mostBytes(mostBytes)
    {
    }

    /// Makes room for so many frames in all, for growing touches memory that is
    /// left again. Takes effect with the first buffer; may be wrong either way.
    void expect(qsizetype frames) { m_expectedFrames = frames; }

    /// Takes one valid buffer; its data is read in place and shared if kept.
    void add(const QAudioBuffer& buffer);

    /// True until a buffer was added.
    [[nodiscard]] bool isEmpty() const { return m_isEmpty; }

    /// Channels of the last buffer, before the mapping to track channels.
    [[nodiscard]] int sourceChannels() const { return m_sourceChannels; }

    /// Hz, of the last buffer.
    [[nodiscard]] int sampleRate() const { return m_sampleRate; }

    /// The channels of everything added, full scale ±1.0, all equally long;
    /// leaves the collector empty.
    [[nodiscard]] QList<QList<float>> takeChannels();

private:
    void takeMemory(qint64 bytes);
    void keepWhatWasConverted();

    static constexpr int kDefaultRateHz = 44100;
    static constexpr int kDefaultChannels = 2;

    qint64 m_mostBytes;
    qint64 m_takenBytes = 0;
    bool m_isEmpty = true;
    qsizetype m_expectedFrames = 0;
    int m_sourceChannels = kDefaultChannels;
    int m_sampleRate = kDefaultRateHz;
    bool m_keeping = false;          ///< buffers are kept instead of converted
    QList<QList<float>> m_channels;  ///< while not keeping
    QList<qsizetype> m_bufferFrames; ///< sizes of the buffers in m_channels
    QList<QAudioBuffer> m_kept;      ///< while keeping
};
