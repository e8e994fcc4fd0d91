#include "engine/transport.h"

#include <algorithm>
#include <limits>

namespace {

// Frames from `begin` to an `end` that is not before it.
quint64 distance(qint64 begin, qint64 end)
{
    return static_cast<quint64>(end) - static_cast<quint64>(begin);
}

} // namespace

namespace transport {

void prepareToPlay(VelaProject& project, bool loop)
{
    const auto [low, high] = std::minmax(project.selectionStart, project.selectionEnd);
    if (!loop) {
        project.looping = false;
        project.loopStart = 0;
        project.loopEnd = 0;
        if (project.hasSelection())
            project.cursor.position = low;
        return;
    }
    const bool selected = project.hasSelection();
    project.loopStart = selected ? low : project.cursor.position;
    project.loopEnd = selected ? high : project.length();
    project.looping = project.loopStart < project.loopEnd;
    project.cursor.position = project.loopStart;
}

bool loops(const VelaProject& project)
{
    return project.looping && project.loopStart < project.loopEnd;
}

qint64 playbackEnd(const VelaProject& project)
{
    const qint64 length = project.length();
    if (loops(project) || !project.hasSelection())
        return length;
    return std::min(std::max(project.selectionStart, project.selectionEnd), length);
}

bool isAtEnd(const VelaProject& project)
{
    if (loops(project))
        return false;
    const qint64 position = project.play.position;
    const auto goesOn = [position](const TrackHandle& track) { return track->length() > position; };
    // Asked before every block: one track that goes on answers it, mostly the
    // first, where the project's length would take all of them.
    if (!project.hasSelection() &&
        std::any_of(project.tracks.cbegin(), project.tracks.cend(), goesOn))
        return false;
    return position >= playbackEnd(project);
}

void advance(VelaProject& project, qint64 blockFrames)
{
    qint64& position = project.play.position;
    // A file may hold any positions: the sum saturates, and a distance may need
    // all 64 bits.
    if (__builtin_add_overflow(position, blockFrames, &position))
        position = std::numeric_limits<qint64>::max();
    if (loops(project) && project.loopEnd <= position) {
        const quint64 past =
            distance(project.loopEnd, position) % distance(project.loopStart, project.loopEnd);
        position = static_cast<qint64>(static_cast<quint64>(project.loopStart) + past);
    }
}

} // namespace transport
