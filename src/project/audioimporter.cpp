#include "project/audioimporter.h"

#include "project/decoderrun.h"
#include "project/mediaprobe.h"
#include "project/retireddecoder.h"

#include <QDebug>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QScopedValueRollback>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <fcntl.h>
#include <memory>
#include <new>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

// Of a hundred decoders of a short file, one or two miss their own start: they
// wait for ever, or finish at once with nothing. So a file that gave no buffer is
// tried again, a little more patiently each time. In ticks of the decoder run;
// together they stay well below what a user would wait for an error.
constexpr std::array kPatienceTicks{2, 3, 4, 6};

// As much as the toolkit looks at, at either end, before its own threads read on.
constexpr std::size_t kWakeningBytes = std::size_t{64} * 1024;

// Looks for the file and reads its ends. Whatever fails will fail again where it is
// reported.
bool readEnds(const QByteArray& path, const std::atomic_bool& isStopped)
{
    struct stat status = {};
    if (::stat(path.constData(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return false;
    std::array<char, kWakeningBytes> bytes; // of the stack: memory may be short
    bool isRead = true;
    for (const off_t begin : {off_t{0}, std::max<off_t>(status.st_size - off_t(bytes.size()), 0)})
        isRead = isRead && !isStopped && ::pread(fd, bytes.data(), bytes.size(), begin) >= 0;
    ::close(fd);
    return isRead;
}

// Nothing where memory does not suffice.
std::optional<QList<QList<float>>> channelsOf(SampleCollector& samples)
{
    try {
        return samples.takeChannels();
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

} // namespace

TrackHandle AudioImporter::importFile(const QString& path)
{
    if (m_busy)
        return {};
    const QScopedValueRollback busy(m_busy, true);
    m_cancelled = false;
    m_percent = kNothingReported;
    return run(path);
}

void AudioImporter::cancel()
{
    m_cancelled = m_busy;
    m_wakening.stop();
    m_conversion.stop();
    if (m_loop)
        m_loop->quit();
}

// Runs a stage until it is done; false if the import was dropped instead.
// A stage may be done before the loop runs, when a quit() would be lost.
template <typename Stage>
bool AudioImporter::complete(Stage& stage)
{
    QEventLoop loop;
    connect(&stage, &Stage::done, &loop, &QEventLoop::quit);
    stage.start();
    if (!stage.isDone() && !m_cancelled) {
        const QScopedValueRollback current(m_loop, &loop);
        loop.exec();
    }
    return stage.isDone() && !m_cancelled;
}

// A disk that has yet to wake up takes seconds for the first answer, and would hold
// up the window for as long; the rest it then has at hand. False if the import was
// dropped instead.
bool AudioImporter::wakeDisk(const QString& path)
{
    const auto answer =
        m_wakening.run("import-file", SideWork::AtQuit::Stop,
                       [name = QFile::encodeName(path)](const std::atomic_bool& isStopped) {
                           return readEnds(name, isStopped);
                       });
    return answer.has_value() && !m_wakening.isStopped();
}

TrackHandle AudioImporter::run(const QString& path)
{
    if (!wakeDisk(path))
        return {};
    const QFileInfo info(path);
    if (!info.exists())
        return fail(tr("File does not exist: %1").arg(path));
    // Opening a pipe would wait for its writer.
    if (!info.isFile())
        return failToDecode(path);

    qint64 durationMs = -1;
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return failToRead(file);
        MediaProbe probe(file);
        if (!complete(probe))
            return {};
        if (probe.verdict() == MediaProbe::Verdict::NotDecodable)
            return failToDecode(path);
        durationMs = probe.durationMs();
    }
    return decode(path, durationMs);
}

TrackHandle AudioImporter::decode(const QString& path, qint64 durationMs)
{
    bool hasCrashed = false;
    for (std::size_t attempt = 0; attempt < kPatienceTicks.size();) {
        auto file = std::make_unique<WatchedFile>(path);
        if (!file->open(QIODevice::ReadOnly))
            return failToRead(*file);
        // A fault does not tell whose it is: an earlier file's decoder may be dying.
        const bool mayBeAnothers = RetiredDecoder::count() > 0;
        DecoderRun decoding(std::move(file), durationMs, kPatienceTicks.at(attempt++));
        connect(&decoding, &DecoderRun::progressChanged, this, &AudioImporter::report);
        if (!complete(decoding))
            return {};
        switch (decoding.state()) {
        case DecoderRun::State::Finished:
            if (!decoding.samples().isEmpty())
                return finish(path, std::move(decoding.samples()));
            break;
        case DecoderRun::State::Failed:
            return fail(decodingFailure(path, decoding.errorText()));
        case DecoderRun::State::Stalled:
            break;
        case DecoderRun::State::Crashed:
            if (!mayBeAnothers || hasCrashed)
                return failToDecode(path);
            hasCrashed = true;
            --attempt; // once more, and as patiently
            continue;
        case DecoderRun::State::TooLarge:
            return failToKeep(path);
        case DecoderRun::State::Running:
            Q_UNREACHABLE();
        }
        // It began, and would only come to the same end again: a file that is taken
        // for a format without a rate gives one empty buffer after the other.
        if (decoding.hasDelivered())
            return failToDecode(path);
    }
    return failToDecode(path);
}

void AudioImporter::report(int percent)
{
    if (m_cancelled || percent <= m_percent)
        return;
    m_percent = percent;
    emit progressChanged(percent);
}

// What the collector had to keep as it came is converted now, in one go.
TrackHandle AudioImporter::finish(const QString& path, SampleCollector samples)
{
    const int sourceChannels = samples.sourceChannels();
    auto track = TrackHandle::create(QFileInfo(path).baseName(), trackChannelsFor(sourceChannels),
                                     samples.sampleRate());
    auto channels =
        m_conversion.run("import-convert", SideWork::AtQuit::Stop,
                         [samples = std::move(samples)](const std::atomic_bool&) mutable {
                             return channelsOf(samples);
                         });
    if (!channels || m_conversion.isStopped())
        return {};
    if (!*channels)
        return failToKeep(path);
    track->samples = std::move(**channels);
    emit progressChanged(100);
    qDebug() << "Imported" << path << ":" << track->length() << "samples," << sourceChannels
             << "channels," << track->sampleRate << "Hz";
    return track;
}

TrackHandle AudioImporter::fail(const QString& message)
{
    emit errorOccurred(message);
    return {};
}

TrackHandle AudioImporter::failToRead(const QFile& file)
{
    return fail(tr("Cannot read %1: %2").arg(file.fileName(), file.errorString()));
}

TrackHandle AudioImporter::failToDecode(const QString& path)
{
    return fail(decodingFailure(path, {}));
}

QString AudioImporter::decodingFailure(const QString& path, const QString& decoderText)
{
    return decoderText.isEmpty() ? tr("Failed to decode: %1").arg(path) : decoderText;
}

TrackHandle AudioImporter::failToKeep(const QString& path)
{
    return fail(tr("%1 does not fit into memory").arg(path));
}
