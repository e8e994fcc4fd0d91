#pragma once

#include "widgets/levelballistics.h"
#include "widgets/scopering.h"
#include "widgets/spectrogramimage.h"
#include "widgets/spectrumanalyser.h"

#include <QString>

#include <memory>
#include <vector>

/// All that a scope keeps of one channel.
struct ScopeChannel {
    ScopeRing ring;
    QString label;
    LevelBallistics level;
    std::unique_ptr<SpectrumAnalyser> analyser; ///< from the first use of the spectrum on
    SpectrogramImage spectrogram;

    /// What the current tick took from the ring, `drainedCount` samples.
    std::vector<float> drained = std::vector<float>(ScopeRing::kCapacitySamples);
    qint32 drainedCount = 0;
};
