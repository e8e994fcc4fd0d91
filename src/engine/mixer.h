#pragma once

#include "project/velaproject.h"

#include <QtGlobal>

/// Turns tracks into one block of stereo: pure functions of their arguments.
namespace mixer {

constexpr qsizetype kBlockFrames = 1024;
constexpr qsizetype kOutputChannels = 2;
constexpr qsizetype kBlockSamples = kBlockFrames * kOutputChannels;

/// Sums one block of the project's sounding tracks, from frame `position` on,
/// into `planar`: kBlockFrames left samples followed by kBlockFrames right ones.
/// Overwrites what was there.
///
/// If any track is soloed, the soloed ones sound and mute is ignored; otherwise
/// those that are not muted. A mono track goes to both sides at full level, of
/// more channels the first two are heard. Frames outside a track are silent.
/// Sums are plain double additions in track order; no gain is applied. Never
/// blocks, never allocates; a track that does not sound costs nothing per frame.
void sumTracks(const VelaProject& project, qint64 position, double* planar);

/// Hard-clips a summed block to ±1.0 in place (NaN passes) and writes the result
/// as floats to `left` and `right`, kBlockFrames each.
void clipBlock(double* planar, float* left, float* right);

} // namespace mixer
