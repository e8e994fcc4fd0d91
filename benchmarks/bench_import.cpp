// Import of ten minutes of every kind of file: time against a loop that takes
// the same buffers from the same decoder and drops them, and peak memory against
// the size of the decoded samples.

#include "media/devices/mediaplatform.h"
#include "project/audioimporter.h"
#include "ratio.h"

#include <QAudioBuffer>
#include <QAudioDecoder>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>

namespace {

constexpr double kMostTime = 1.2;
constexpr double kMostMemory = 2.1;
constexpr int kRounds = 9;
constexpr auto kSeconds = "600";
constexpr int kPatienceMs = 1000; ///< for the first buffer

struct Kind {
    const char* row;
    const char* fileName;
    QStringList encoding;
};

const QList<Kind>& kinds()
{
    static const QList<Kind> all{{"wav 16-bit", "a16.wav", {}},
                                 {"wav 24-bit", "a24.wav", {"-c:a", "pcm_s24le"}},
                                 {"wav float", "afloat.wav", {"-c:a", "pcm_f32le"}},
                                 {"mp3", "a.mp3", {"-b:a", "192k"}},
                                 {"ogg", "a.ogg", {"-q:a", "5"}},
                                 {"flac", "a.flac", {}},
                                 {"aac", "a.aac", {"-b:a", "160k"}},
                                 {"m4a", "a.m4a", {"-b:a", "160k"}},
                                 {"wma", "a.wma", {"-b:a", "160k"}},
                                 {"opus", "a.opus", {"-b:a", "128k"}}};
    return all;
}

void ffmpeg(const QStringList& arguments)
{
    if (QProcess::execute("ffmpeg",
                          QStringList{"-nostdin", "-loglevel", "error", "-y"} + arguments) != 0) {
        std::fprintf(stderr, "ffmpeg is needed to make the files\n");
        std::exit(2);
    }
}

// Two tones and pink noise: stereo that no encoder can make trivial.
void makeSource(const QString& path)
{
    ffmpeg({"-f", "lavfi", "-i", "sine=f=330:r=44100", "-f", "lavfi", "-i",
            "anoisesrc=c=pink:r=44100:a=0.3", "-filter_complex", "[0][1]join=inputs=2", "-t",
            kSeconds, "-c:a", "pcm_s16le", path});
}

// One decoder in a hundred misses its own start and waits for ever; such a round
// is an outlier that the median does not see.
void dropBuffers(const QString& path)
{
    QFile file(path);
    QAudioDecoder decoder;
    QEventLoop loop;
    QTimer patience;
    patience.setInterval(kPatienceMs);
    bool isDone = !file.open(QIODevice::ReadOnly);
    QObject::connect(&patience, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&decoder, &QAudioDecoder::bufferReady, &loop, [&] {
        (void)decoder.read();
        patience.stop();
    });
    QObject::connect(&decoder, &QAudioDecoder::finished, &loop, [&] {
        isDone = true;
        loop.quit();
    });
    decoder.setSourceDevice(&file);
    patience.start();
    decoder.start();
    if (!isDone)
        loop.exec();
    decoder.disconnect(&loop);
}

TrackHandle imported(const QString& path)
{
    AudioImporter importer;
    TrackHandle track = importer.importFile(path);
    if (!track) {
        std::fprintf(stderr, "could not import %s\n", qPrintable(path));
        std::exit(2);
    }
    return track;
}

double statusBytes(const QByteArray& key)
{
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size()).simplified().split(' ').first().toDouble() * 1024;
    }
    return 0;
}

// From here on the highest mark counts anew.
void forgetPeak()
{
    malloc_trim(0);
    QFile marks("/proc/self/clear_refs");
    if (marks.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        marks.write("5");
}

void measure(bench::Report& report, const Kind& kind, const QString& source, const QString& path)
{
    const std::string time = std::string("import ") + kind.row;
    const std::string memory = std::string("import peak ") + kind.row;
    if (!report.wants(time) && !report.wants(memory))
        return;
    ffmpeg(QStringList{"-i", source} + kind.encoding + QStringList{path});
    if (report.wants(memory)) {
        (void)imported(path);
        forgetPeak();
        const double before = statusBytes("VmRSS:");
        const TrackHandle track = imported(path);
        const double peak = statusBytes("VmHWM:") - before;
        const auto samples = static_cast<double>(track->length() * track->channels);
        report.add(memory, peak, samples * sizeof(float), kMostMemory, "bytes");
    }
    if (report.wants(time)) {
        report.compare(time, {[&] { dropBuffers(path); }, [] {}},
                       {[&] { (void)imported(path); }, [] {}}, kMostTime, kRounds);
    }
    QFile::remove(path);
}

} // namespace

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    prepareMediaPlatform();
    const QGuiApplication application(argc, argv);
    bench::Report report(argc, argv);
    const QTemporaryDir folder;
    const QString source = folder.filePath("source.wav");
    makeSource(source);
    for (const Kind& kind : kinds())
        measure(report, kind, source, folder.filePath(kind.fileName));
    return report.exitCode();
}
