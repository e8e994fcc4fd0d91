// The real window with much in it: an hour of stereo on screen, and thirty
// tracks that play, while it zooms, pans and records.
//
//   bench_load [--filter TEXT] [--json FILE]
//
// Needs a display and a sound server with a loudspeaker and a microphone. On a
// machine that is busy with other things the gaps are theirs; the rows "own work"
// count only what the window's thread itself has done.

#include "engine/velaengine.h"
#include "loadstage.h"
#include "media/devices/mediaplatform.h"
#include "ratio.h"
#include "widgets/unifiedaudioscope.h"
#include "widgets/waveformview.h"

#include <QStyleFactory>

#include <algorithm>
#include <array>
#include <cstdint>
#include <malloc.h>
#include <registerresources.h>
#include <string>

namespace {

constexpr qint32 kRateHz = 44100;
constexpr int kChannels = 2;
constexpr int kManyTracks = 30;
constexpr int kManySeconds = 600;
constexpr int kHourSeconds = 3600;
constexpr float kLevel = 0.03F; ///< thirty of these do not clip

constexpr int kSettleMs = 2000;
constexpr int kPlayMs = 10000;
constexpr int kFirstPaintMs = 4000;
constexpr int kHandMs = 5000;

constexpr double kPlayingGapMs = 50;
constexpr double kFirstPaintGapMs = 120;
constexpr double kHandGapMs = 40;
constexpr double kHeadPaints = 25;
constexpr double kCorePercent = 40;
constexpr double kMemoryShare = 1.05;
constexpr double kMemoryBytes = 60e6;

const std::string kPlaying = " playing, scope shows ";
const std::string kZooming = " playing and zooming";
const std::string kRecording = " playing and recording";

using bench::Bound;

/// Noise, different in every channel.
void fillWithNoise(QList<float>& samples, qsizetype frames, std::uint32_t seed)
{
    samples.resize(frames);
    std::uint32_t state = seed * 2654435761U + 1U;
    for (float& sample : samples) {
        state = state * 1664525U + 1013904223U;
        sample = kLevel * static_cast<float>(static_cast<std::int32_t>(state)) / 2147483648.0F;
    }
}

void addTracks(VelaProject& project, int count, int seconds)
{
    for (int t = 0; t < count; ++t) {
        const TrackHandle track = project.addTrack({}, kChannels);
        for (qsizetype c = 0; c < kChannels; ++c)
            fillWithNoise(track->samples[c], qsizetype{seconds} * kRateHz,
                          static_cast<std::uint32_t>(kChannels * t + c));
    }
}

double sampleBytes(const VelaProject& project)
{
    double bytes = 0;
    for (const TrackHandle& track : project.tracks)
        bytes += static_cast<double>(track->length() * track->channels) * sizeof(float);
    return bytes;
}

bool wantsAny(const bench::Report& report, const std::string& what)
{
    constexpr std::array kRows{", longest gap between turns",
                               ", longest own work between turns",
                               ", paint, median",
                               ", paint, longest",
                               ", underruns",
                               ", play head painted",
                               ", play head moved",
                               ", share of a core",
                               ", captured but dropped",
                               ", captured frames",
                               ", memory at rest"};
    return std::any_of(kRows.begin(), kRows.end(),
                       [&](const char* row) { return report.wants(what + row); });
}

void reportGaps(bench::Report& report, const std::string& what, const Figures& figures,
                double mostGapMs)
{
    report.bound(what + ", longest gap between turns", figures.longestGapMs, Bound::AtMost,
                 mostGapMs, "ms");
    report.bound(what + ", longest own work between turns", figures.longestWorkMs, Bound::AtMost,
                 mostGapMs, "ms");
    report.tell(what + ", paint, median", figures.paintMedianMs, "ms");
    report.tell(what + ", paint, longest", figures.paintLongestMs, "ms");
}

void reportPlaying(bench::Report& report, const std::string& what, const Figures& figures)
{
    report.bound(what + ", underruns", figures.underruns, Bound::AtMost, 0, "");
    reportGaps(report, what, figures, kPlayingGapMs);
    report.bound(what + ", play head painted", figures.headPaints, Bound::AtLeast, kHeadPaints,
                 "/s");
    // It moves when the sound server has taken samples, so the server sets the pace.
    report.tell(what + ", play head moved", figures.headMoves, "/s");
    report.bound(what + ", share of a core", figures.corePercent, Bound::AtMost, kCorePercent, "%");
}

void reportMemory(bench::Report& report, const std::string& what, LoadStage& stage)
{
    malloc_trim(0);
    const double bytes = sampleBytes(*stage.window().project());
    report.add(what + ", memory at rest", residentBytes(), bytes,
               kMemoryShare + kMemoryBytes / bytes, "bytes");
}

/// In by the wheel until single samples are seen, then out until all is.
class Zoom {
public:
    explicit Zoom(LoadStage& stage)
        : m_stage(stage)
    {
    }

    void step()
    {
        const VelaProject& project = *m_stage.window().project();
        const qint64 shown = project.viewEnd - project.viewStart;
        if (shown <= kSamplesSeen)
            m_notches = -1;
        else if (shown >= project.length())
            m_notches = 1;
        m_stage.turnWheel(m_notches);
    }

private:
    static constexpr qint64 kSamplesSeen = 200;

    LoadStage& m_stage;
    int m_notches = 1;
};

void useHour(bench::Report& report, LoadStage& stage)
{
    const std::string hour = "an hour of stereo";
    const std::string first = hour + ", first paint";
    const std::string zoom = hour + ", wheel from all to samples and back";
    const std::string pan = hour + ", pan";
    if (!wantsAny(report, first) && !wantsAny(report, zoom) && !wantsAny(report, pan) &&
        !wantsAny(report, hour))
        return;
    const ProjectHandle project = VelaProject::create(kRateHz);
    addTracks(*project, 1, kHourSeconds);
    reportGaps(report, first,
               stage.watch(kFirstPaintMs, [&] { stage.window().setProject(project); }, {}),
               kFirstPaintGapMs);
    reportMemory(report, hour, stage);

    Zoom wheel(stage);
    reportGaps(report, zoom, stage.watch(kHandMs, {}, [&] { wheel.step(); }), kHandGapMs);

    stage.waveform()->setViewRange(project->length() / 2, project->length() * 3 / 4);
    int moves = 0;
    reportGaps(report, pan,
               stage.watch(kHandMs, {},
                           [&] {
                               constexpr int kPixels = 15;
                               constexpr int kMovesOneWay = 60;
                               const bool back = moves++ / kMovesOneWay % 2 == 1;
                               stage.dragMiddle(500, back ? 500 - kPixels : 500 + kPixels);
                           }),
               kHandGapMs);
    stage.window().setProject(VelaProject::create(kRateHz));
}

void playInEveryMode(bench::Report& report, LoadStage& stage, const std::string& tracks)
{
    using Mode = UnifiedAudioScope::Mode;
    auto* scope = stage.window().findChild<UnifiedAudioScope*>();
    for (const auto& [mode, name] : {std::pair{Mode::Wave, "waveform"},
                                     {Mode::Spectrum, "spectrum"},
                                     {Mode::Level, "level"}}) {
        const std::string what = tracks + kPlaying + name;
        if (!wantsAny(report, what))
            continue;
        scope->setMode(mode);
        stage.play(true);
        LoadStage::wait(kSettleMs);
        reportPlaying(report, what, stage.watch(kPlayMs, {}, {}));
        stage.play(false);
    }
    scope->setMode(Mode::Wave);
}

void zoomWhilePlaying(bench::Report& report, LoadStage& stage, const std::string& tracks)
{
    const std::string what = tracks + kZooming;
    if (!wantsAny(report, what))
        return;
    stage.play(true);
    LoadStage::wait(kSettleMs);
    Zoom wheel(stage);
    const Figures figures = stage.watch(kPlayMs, {}, [&] { wheel.step(); });
    report.bound(what + ", underruns", figures.underruns, Bound::AtMost, 0, "");
    reportGaps(report, what, figures, kPlayingGapMs);
    stage.play(false);
    stage.window().zoomToFit();
}

void recordWhilePlaying(bench::Report& report, LoadStage& stage, const std::string& tracks)
{
    const std::string what = tracks + kRecording;
    if (!wantsAny(report, what))
        return;
    stage.play(true);
    stage.record(true);
    LoadStage::wait(kSettleMs);
    const qint64 before = stage.window().engine()->recordTrack()->length();
    const Figures figures = stage.watch(kPlayMs, {}, {});
    const qint64 taken = stage.window().engine()->recordTrack()->length() - before;
    stage.record(false);
    stage.play(false);
    reportPlaying(report, what, figures);
    report.bound(what + ", captured but dropped", figures.droppedSamples, Bound::AtMost, 0, "");
    report.tell(what + ", captured frames", static_cast<double>(taken) / figures.seconds, "/s");
}

void useManyTracks(bench::Report& report, LoadStage& stage)
{
    const std::string tracks =
        std::to_string(kManyTracks) + " tracks of " + std::to_string(kManySeconds / 60) + " min";
    const std::array names{tracks,
                           tracks + kPlaying + "waveform",
                           tracks + kPlaying + "spectrum",
                           tracks + kPlaying + "level",
                           tracks + kZooming,
                           tracks + kRecording};
    if (std::none_of(names.begin(), names.end(),
                     [&](const std::string& name) { return wantsAny(report, name); }))
        return;
    const ProjectHandle project = VelaProject::create(kRateHz);
    addTracks(*project, kManyTracks, kManySeconds);
    stage.window().setProject(project);
    LoadStage::wait(kFirstPaintMs);
    reportMemory(report, tracks, stage);
    playInEveryMode(report, stage, tracks);
    zoomWhilePlaying(report, stage, tracks);
    recordWhilePlaying(report, stage, tracks);
}

} // namespace

int main(int argc, char** argv)
{
    registerResources();
    prepareMediaPlatform();
    PaintWatch application(argc, argv);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("fusion")));
    bench::Report report(argc, argv);
    LoadStage stage(application);
    LoadStage::wait(kSettleMs);
    useHour(report, stage);
    useManyTracks(report, stage);
    return report.exitCode();
}
