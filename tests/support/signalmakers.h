#pragma once

#include <QList>

/// Test signals: one channel of float samples each, `frames` long.
namespace signal_makers {

QList<float> constant(qsizetype frames, float level);

/// level × sin(2π × frequencyHz × i / rateHz), computed in double.
QList<float> sine(qsizetype frames, double frequencyHz, double rateHz, float level = 1.0F);

/// 0 everywhere but 1 at `position`.
QList<float> dirac(qsizetype frames, qsizetype position);

/// Rises linearly from `first` to `last`, both included.
QList<float> ramp(qsizetype frames, float first, float last);

/// White noise in ±level; the same seed gives the same samples everywhere.
QList<float> noise(qsizetype frames, quint32 seed, float level = 1.0F);

/// Frame i holds (i + 1 + offset) × 2⁻²⁴: every frame differs from every other
/// (up to 2²⁴ frames) and from silence, so a capture shows exactly which came.
QList<float> counter(qsizetype frames, qsizetype offset = 0);

} // namespace signal_makers
