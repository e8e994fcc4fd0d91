#pragma once

#include "project/velaproject.h"

#include <QtGlobal>

/// Turns tracks into one block of stereo: a pure function of its arguments.
namespace mixer {

constexpr qsizetype kBlockFrames = 1024;
constexpr qsizetype kOutputChannels = 2;
constexpr qsizetype kBlockSamples = kBlockFrames * kOutputChannels;

/// Mixes one block of the project's sounding tracks, from frame `position` on.
/// `planar` gets kBlockFrames left samples followed by as many right ones, and
/// `left` and `right` the same as floats. Overwrites what was there.
///
/// If any track is soloed, the soloed ones sound and mute is ignored; otherwise
/// those that are not muted. A mono track goes to both sides at full level, of
/// more channels the first two are heard. Frames outside a track are silent.
/// Sums are plain double additions to 0.0 in track order, without any gain, then
/// hard-clipped to ±1.0 (NaN passes). Any thread that may read the project;
/// never blocks, never allocates; a track that is not heard costs nothing per
/// frame.
void mixBlock(const VelaProject& project, qint64 position, double* planar, float* left,
              float* right);

} // namespace mixer
