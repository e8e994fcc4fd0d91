// What saving and loading cost beside qCompress and qUncompress of the same bytes.
//
//   bench_projectfile [--seconds N] [--filter TEXT] [--json FILE]
//
// `--seconds` is the length of the stereo track (600). The compression that is
// compared with takes 23 s for ten minutes of music, and does so ten times.

#include "media/devices/mediaplatform.h"
#include "project/audioimporter.h"
#include "project/projectfile.h"
#include "project/projectserializer.h"
#include "ratio.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kRateHz = 44100;
constexpr int kDefaultSeconds = 600;
constexpr int kRounds = 9;
constexpr double kSaveTarget = 0.06;
constexpr double kSaveTargetOther = 0.5;
constexpr double kSizeTarget = 1.08;
constexpr double kLoadTarget = 0.7;
constexpr double kMemoryTarget = 0.8;

const std::string kSaveMemory = "save, peak memory";
const std::string kLoadMemory = "load, peak memory above the project";

constexpr double kSteps = 32768.0; ///< of a 16-bit sample, on either side of zero

enum class Material { Music, DecodedMp3, Silence, Noise };

[[noreturn]] void giveUp(const char* reason)
{
    std::fprintf(stderr, "%s\n", reason);
    std::exit(2);
}

// One plucked note: partials that die away, the higher the sooner.
void addNote(std::vector<double>& sum, std::size_t at, std::mt19937& random)
{
    constexpr int kPartials = 6;
    constexpr int kSemitones = 48;
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    const double pitchHz = 55.0 * std::pow(2.0, int(random() % kSemitones) / 12.0);
    const double level = 0.05 + 0.1 * uniform(random);
    const double seconds = 0.2 + 0.8 * uniform(random);
    const std::size_t end = std::min(sum.size(), at + 2 * std::size_t{kRateHz});
    for (int partial = 1; partial <= kPartials; ++partial) {
        const double step = 2.0 * std::numbers::pi * pitchHz * partial / kRateHz;
        const double decay = std::exp(-partial / (kRateHz * seconds));
        const double turnCos = decay * std::cos(step);
        const double turnSin = decay * std::sin(step);
        double x = level / partial;
        double y = 0.0;
        for (std::size_t i = at; i < end; ++i) {
            const double turned = x * turnCos - y * turnSin;
            y = x * turnSin + y * turnCos;
            x = turned;
            sum[i] += y;
        }
    }
}

// Of 16-bit origin, as most music is.
QList<float> music(int seconds, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<double> sum(std::size_t(seconds) * kRateHz);
    for (std::size_t at = 0; at < sum.size(); at += kRateHz / 4) {
        for (auto notes = 1 + random() % 3; notes > 0; --notes)
            addNote(sum, at, random);
    }
    std::normal_distribution<double> hiss(0.0, 0.002);
    QList<float> samples(qsizetype(sum.size()));
    std::transform(sum.begin(), sum.end(), samples.begin(), [&](double value) {
        const double heard = std::clamp(value + hiss(random), -1.0, (kSteps - 1.0) / kSteps);
        return float(std::floor(heard * kSteps) / kSteps);
    });
    return samples;
}

QList<float> channel(Material material, int seconds, unsigned seed)
{
    if (material == Material::Silence)
        return QList<float>(qsizetype(seconds) * kRateHz);
    if (material != Material::Noise)
        return music(seconds, seed);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
    QList<float> samples(qsizetype(seconds) * kRateHz);
    std::generate(samples.begin(), samples.end(), [&] { return uniform(random); });
    return samples;
}

/// What an encoder leaves of the track: full precision, and noise in every bit.
TrackHandle throughMp3(const Track& track)
{
    const QTemporaryDir folder;
    const QString raw = folder.filePath(QStringLiteral("music.f32"));
    const QString mp3 = folder.filePath(QStringLiteral("music.mp3"));
    QFile file(raw);
    if (!file.open(QIODevice::WriteOnly))
        giveUp("the music cannot be written");
    for (qint64 frame = 0; frame < track.length(); ++frame) {
        const std::array both{track.samples[0][frame], track.samples[1][frame]};
        file.write(reinterpret_cast<const char*>(both.data()), sizeof both);
    }
    file.close();
    if (QProcess::execute(QStringLiteral("ffmpeg"),
                          {QStringLiteral("-nostdin"), QStringLiteral("-loglevel"),
                           QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("f32le"),
                           QStringLiteral("-ar"), QString::number(kRateHz), QStringLiteral("-ac"),
                           QStringLiteral("2"), QStringLiteral("-i"), raw, QStringLiteral("-b:a"),
                           QStringLiteral("192k"), mp3}) != 0)
        giveUp("ffmpeg is needed to make the MP3 file");
    AudioImporter importer;
    TrackHandle decoded = importer.importFile(mp3);
    if (!decoded)
        giveUp("the MP3 file cannot be imported");
    return decoded;
}

ProjectHandle projectOf(Material material, int seconds)
{
    const auto project = VelaProject::create(kRateHz);
    const TrackHandle track = project->addTrack(QStringLiteral("stereo"), 2);
    track->samples = {channel(material, seconds, 1), channel(material, seconds, 2)};
    if (material == Material::DecodedMp3)
        track->samples = throughMp3(*track)->samples;
    return project;
}

QByteArray payloadOf(const ProjectHandle& project)
{
    QByteArray payload;
    QDataStream stream(&payload, QIODevice::WriteOnly);
    writeProject(stream, project);
    return payload;
}

double statusBytes(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = status.readAll();
    const auto line = text.indexOf(field);
    return std::strtod(text.constData() + line + qsizetype(std::strlen(field)) + 1, nullptr) * 1024;
}

// Most memory ever held while `work` ran, above what was held before.
template <typename Work>
double peakBytes(Work work)
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (!clear.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || clear.write("5") != 1)
        std::fputs("the peak of memory cannot be reset here\n", stderr);
    const double before = statusBytes("VmRSS:");
    work();
    return statusBytes("VmHWM:") - before;
}

void mustBeSaved(const ProjectHandle& project, const QString& path)
{
    const auto result = ProjectFile::save(project, path);
    if (result.outcome != ProjectFile::SaveResult::Outcome::Saved)
        std::fprintf(stderr, "not saved: %s\n", qPrintable(result.reason));
}

ProjectHandle mustBeLoaded(const QString& path)
{
    const auto result = ProjectFile::load(path);
    if (!result.reason.isEmpty())
        std::fprintf(stderr, "not loaded: %s\n", qPrintable(result.reason));
    return result.loaded;
}

void measureMemory(bench::Report& report, const QString& path, int seconds)
{
    if (!report.wants(kSaveMemory) && !report.wants(kLoadMemory))
        return;
    ProjectHandle project = projectOf(Material::Music, seconds);
    const auto payloadBytes = double(payloadSize(*project));
    const double save = peakBytes([&] { mustBeSaved(project, path); });
    report.add(kSaveMemory, save, payloadBytes, kMemoryTarget, "bytes");
    project.reset();
    const double load = peakBytes([&] { project = mustBeLoaded(path); });
    report.add(kLoadMemory, std::max(load - payloadBytes, 0.0), payloadBytes, kMemoryTarget,
               "bytes");
}

void measure(bench::Report& report, const std::string& name, Material material, int seconds,
             const QString& path)
{
    const std::string save = "save, " + name;
    const std::string size = "file size, " + name;
    const std::string load = "load, " + name;
    if (!report.wants(save) && !report.wants(size) && !report.wants(load))
        return;
    const ProjectHandle project = projectOf(material, seconds);
    const QByteArray payload = payloadOf(project);
    const QByteArray compressed = qCompress(payload, -1);
    // Each call is long enough to be timed alone.
    const auto prepare = [] {};
    if (report.wants(save))
        report.compare(save, {[&] { (void)qCompress(payload, -1); }, prepare},
                       {[&] { mustBeSaved(project, path); }, prepare},
                       material == Material::Music ? kSaveTarget : kSaveTargetOther, kRounds);
    mustBeSaved(project, path);
    if (report.wants(size))
        report.add(size, double(QFileInfo(path).size()), double(compressed.size()), kSizeTarget,
                   "bytes");
    if (report.wants(load))
        report.compare(load, {[&] { (void)qUncompress(compressed); }, prepare},
                       {[&] { mustBeLoaded(path); }, prepare}, kLoadTarget, kRounds);
}

int secondsFrom(int argc, char** argv)
{
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "--seconds") == 0)
            return std::max(std::atoi(argv[i + 1]), 1);
    }
    return kDefaultSeconds;
}

} // namespace

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    prepareMediaPlatform();
    const QGuiApplication application(argc, argv);
    const int seconds = secondsFrom(argc, argv);
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("song.vela"));
    bench::Report report(argc, argv);
    measureMemory(report, path, seconds);
    measure(report, "music of 16-bit origin", Material::Music, seconds, path);
    measure(report, "decoded MP3", Material::DecodedMp3, seconds, path);
    measure(report, "silence", Material::Silence, seconds, path);
    measure(report, "noise", Material::Noise, seconds, path);
    return report.exitCode();
}
