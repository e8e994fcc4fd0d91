// Mixing: what a pump tick does to a block, against the bare additions.

#include "engine/mixer.h"
#include "engine/transport.h"
#include "ratio.h"
#include "reference_mix.h"

#include <QList>

#include <string>
#include <vector>

namespace {

constexpr qint32 kRateHz = 44100;
constexpr qsizetype kCachedFrames = 4 * mixer::kBlockFrames;
constexpr qsizetype kStreamedFrames = qsizetype{60} * kRateHz;

ProjectHandle makeProject(int tracks, qsizetype frames)
{
    const ProjectHandle project = VelaProject::create(kRateHz);
    for (int t = 0; t < tracks; ++t) {
        const TrackHandle track = project->addTrack({}, 2);
        for (QList<float>& channel : track->samples) {
            channel.resize(frames);
            for (qsizetype i = 0; i < frames; ++i)
                channel[i] = static_cast<float>((i * 37 + t) % 1000) * 1e-5F;
        }
    }
    return project;
}

/// The planar channels of one side, where the reference reads them.
std::vector<const float*> side(const VelaProject& project, qsizetype channel, int tracks)
{
    std::vector<const float*> pointers;
    for (int t = 0; t < tracks; ++t)
        pointers.push_back(std::as_const(project.tracks[t]->samples)[channel].constData());
    return pointers;
}

struct Output {
    QList<double> planar = QList<double>(mixer::kBlockSamples);
    QList<float> left = QList<float>(mixer::kBlockFrames);
    QList<float> right = QList<float>(mixer::kBlockFrames);
};

void mixBlock(VelaProject& project, Output& output)
{
    mixer::mixBlock(project, project.play.position, output.planar.data(), output.left.data(),
                    output.right.data());
    transport::advance(project, mixer::kBlockFrames);
    if (transport::isAtEnd(project))
        project.play.position = 0;
}

void referenceBlock(const std::vector<const float*>& left, const std::vector<const float*>& right,
                    qint64 position, Output& output)
{
    static thread_local std::vector<const float*> shifted;
    double* sum = output.planar.data();
    for (const auto* channels : {&left, &right}) {
        shifted.clear();
        for (const float* channel : *channels)
            shifted.push_back(channel + position);
        reference::mixPass(shifted.data(), shifted.size(), mixer::kBlockFrames, sum);
        sum += mixer::kBlockFrames;
    }
}

void compareMix(bench::Report& report, const std::string& row, const ProjectHandle& project,
                int referenceTracks, double target, qsizetype frames)
{
    if (!report.wants(row))
        return;
    Output productOut;
    Output referenceOut;
    const auto left = side(*project, 0, referenceTracks);
    const auto right = side(*project, 1, referenceTracks);
    qint64 position = 0;
    const auto runReference = [&] {
        referenceBlock(left, right, position, referenceOut);
        position += mixer::kBlockFrames;
        if (position + mixer::kBlockFrames > frames)
            position = 0;
    };
    report.compare(row, {runReference, {}}, {[&] { mixBlock(*project, productOut); }, {}}, target);
}

} // namespace

int main(int argc, char** argv)
{
    bench::Report report(argc, argv);
    for (const int tracks : {16, 64}) {
        compareMix(report, "mix a block, " + std::to_string(tracks) + " tracks, in cache",
                   makeProject(tracks, kCachedFrames), tracks, 1.3, kCachedFrames);
    }
    if (report.wants("mix a block, 16 tracks of 60 s, from memory")) {
        compareMix(report, "mix a block, 16 tracks of 60 s, from memory",
                   makeProject(16, kStreamedFrames), 16, 1.2, kStreamedFrames);
    }
    compareMix(report, "mix a block, 1 track", makeProject(1, kCachedFrames), 1, 2.0,
               kCachedFrames);
    const ProjectHandle muted = makeProject(64, kCachedFrames);
    for (qsizetype t = 1; t < muted->tracks.size(); ++t)
        muted->tracks[t]->muted = true;
    compareMix(report, "mix a block, 64 tracks of which 63 are muted", muted, 1, 2.0,
               kCachedFrames);
    return report.exitCode();
}
