#include "engine/transport.h"

#include <algorithm>

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
    const bool selected = project.selectionStart >= 0 && low != high;
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
    return !loops(project) && project.play.position >= playbackEnd(project);
}

void advance(VelaProject& project, qint64 blockFrames)
{
    qint64& position = project.play.position;
    position += blockFrames;
    if (loops(project) && project.loopEnd <= position) {
        const qint64 past = (position - project.loopEnd) % (project.loopEnd - project.loopStart);
        position = project.loopStart + past;
    }
}

} // namespace transport
