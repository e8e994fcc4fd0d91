#pragma once

#include "project/track.h"

#include <QList>
#include <QtGlobal>

#include <vector>

/// Appends captured frames to a new track, the take, without ever copying it.
///
/// The channel lists grow in place, by doubling (the allocator remaps large
/// blocks). A copy of the track, such as a save makes, shares their samples;
/// frames then go behind the shared ones. The copy does not notice: it ends where
/// it ended, none of its samples changes, and another thread may go on reading
/// it. Only if such a copy outlives kRoomAheadFrames of recording are the samples
/// copied, once.
///
/// As long as the writer lives, nobody else changes the track's samples. GUI
/// thread; not copyable, as a second writer would write into the same room.
class TakeWriter {
public:
    /// Room that a take has ahead at least: almost six minutes at 48 kHz, far
    /// more than any save takes. Memory not yet written to is only address space.
    static constexpr qsizetype kRoomAheadFrames = qsizetype{1} << 24;

    /// Shares `take`, whose channel lists are still empty.
    explicit TakeWriter(TrackHandle take);
    ~TakeWriter() = default;
    Q_DISABLE_COPY_MOVE(TakeWriter)

    /// Appends `frames` interleaved frames of the take's own channel count; its
    /// channel lists are first made as many as its channels. Allocates only when
    /// the room ahead grows short, and goes on in what is left of it when there is no
    /// more memory. Throws std::bad_alloc when that is used up; the take stays as it is.
    void append(const float* interleaved, qsizetype frames);

private:
    using Samples = QArrayDataPointer<float>;

    void makeRoom(qsizetype channel, qsizetype frames);

    const TrackHandle m_take;

    /// The memory of each channel list. The lists themselves would copy what is
    /// shared before they grow.
    std::vector<Samples> m_channels;
};
