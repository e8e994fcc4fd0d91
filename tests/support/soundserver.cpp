#include "support/soundserver.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <sys/prctl.h>

namespace {

constexpr int kStartTimeoutMs = 20000;
constexpr int kControlTimeoutMs = 5000;
constexpr int kEndTimeoutMs = 5000;
constexpr int kPollMs = 10;
constexpr int kLazySinkSettlesMs = 400;
constexpr const char* kSampleFormat = "--format=float32le";

const QString kMicrophoneFeed = QStringLiteral("micfeed");

const QStringList& addressVariables()
{
    static const QStringList names{
        QStringLiteral("XDG_RUNTIME_DIR"), QStringLiteral("XDG_CONFIG_HOME"),
        QStringLiteral("PULSE_RUNTIME_PATH"), QStringLiteral("PULSE_SERVER")};
    return names;
}

QString nullSink(const QString& name, const SoundServer::Options& options)
{
    // A null sink renders ahead and takes it back when a stream arrives; what a
    // recorder already has of it is then wrong. Without that every capture is
    // exact from its first sample on.
    return QStringLiteral("module-null-sink sink_name=%1 rate=%2 format=float32le norewinds=%3")
        .arg(name)
        .arg(options.rateHz)
        .arg(options.lazySinks ? 0 : 1);
}

QString microphone(const QString& name)
{
    return QStringLiteral("module-remap-source source_name=%1 master=%2.monitor")
        .arg(name, kMicrophoneFeed);
}

QString silentSource(const QString& name, const SoundServer::Options& options)
{
    return QStringLiteral("module-null-source source_name=%1 rate=%2 format=float32le")
        .arg(name)
        .arg(options.rateHz);
}

void prepareChild(QProcess& process, const QProcessEnvironment& environment)
{
    process.setProcessEnvironment(environment);
    // A test that crashes must not leave its servers and recorders behind.
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
}

void endProcess(QProcess& process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.kill();
    process.waitForFinished(kEndTimeoutMs);
}

/// Asks the system, where QProcess::state() alone waits for an event loop.
bool isAlive(QProcess& process)
{
    return process.state() == QProcess::Running && !process.waitForFinished(0);
}

template <typename Condition>
bool pollUntil(int timeoutMs, Condition condition)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(kPollMs);
    }
    return true;
}

QStringList streamArguments(const SoundServer& server, const QString& device, int channels)
{
    return {QStringLiteral("--device=") + device, QString::fromLatin1(kSampleFormat),
            QStringLiteral("--rate=%1").arg(server.rateHz()),
            QStringLiteral("--channels=%1").arg(channels), QStringLiteral("--raw")};
}

} // namespace

SoundServer::SoundServer()
    : SoundServer(Options{})
{
}

SoundServer::SoundServer(Options options)
    : m_options(std::move(options))
{
    const QProcessEnvironment ours = environment();
    for (const QString& name : addressVariables())
        qputenv(name.toLatin1().constData(), ours.value(name).toLocal8Bit());
}

SoundServer::~SoundServer()
{
    kill();
}

QProcessEnvironment SoundServer::environment() const
{
    // The temporary directory has mode 0700, which the server insists on.
    const QString path = m_directory.path();
    const QString runtime = path + QStringLiteral("/pulse");
    const QStringList values{path, path, runtime, QStringLiteral("unix:%1/native").arg(runtime)};
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (qsizetype i = 0; i < values.size(); ++i)
        environment.insert(addressVariables().at(i), values.at(i));
    // The program's own choice of latency must not reach the measuring tools.
    environment.remove(QStringLiteral("PULSE_LATENCY_MSEC"));
    return environment;
}

QStringList SoundServer::serverArguments() const
{
    QStringList modules{QStringLiteral("module-native-protocol-unix auth-anonymous=1")};
    if (m_options.withSpeaker)
        modules += nullSink(QStringLiteral("speaker"), m_options);
    for (const QString& sink : m_options.extraSinks)
        modules += nullSink(sink, m_options);
    if (m_options.withMicrophone) {
        modules += nullSink(kMicrophoneFeed, m_options);
        modules += microphone(QStringLiteral("mic"));
    }
    for (const QString& source : m_options.silentSources)
        modules += silentSource(source, m_options);
    QStringList arguments{QStringLiteral("-n"), QStringLiteral("--daemonize=no"),
                          QStringLiteral("--use-pid-file=no"),
                          QStringLiteral("--exit-idle-time=-1")};
    for (const QString& module : std::as_const(modules))
        arguments << QStringLiteral("-L") << module;
    return arguments;
}

bool SoundServer::start()
{
    if (isRunning())
        return true;
    m_process = std::make_unique<QProcess>();
    prepareChild(*m_process, environment());
    m_process->setStandardOutputFile(QProcess::nullDevice());
    m_process->setStandardErrorFile(m_directory.filePath(QStringLiteral("server.log")));
    m_process->start(QStringLiteral("pulseaudio"), serverArguments());
    if (!m_process->waitForStarted(kStartTimeoutMs))
        return false;
    const bool answers = pollUntil(kStartTimeoutMs, [this] {
        return !isRunning() || control({QStringLiteral("info")}).has_value();
    });
    if (!answers || !isRunning())
        return false;
    return !m_options.withSpeaker || setDefaultSink(QStringLiteral("speaker"));
}

void SoundServer::kill()
{
    if (m_process)
        endProcess(*m_process);
    m_process.reset();
    m_frozen = false;
}

bool SoundServer::restart()
{
    kill();
    return start();
}

void SoundServer::stopProcess()
{
    if (isRunning() && ::kill(static_cast<pid_t>(m_process->processId()), SIGSTOP) == 0)
        m_frozen = true;
}

void SoundServer::continueProcess()
{
    if (m_frozen)
        ::kill(static_cast<pid_t>(m_process->processId()), SIGCONT);
    m_frozen = false;
}

bool SoundServer::isRunning() const
{
    return m_process && isAlive(*m_process);
}

std::optional<QByteArray> SoundServer::control(const QStringList& arguments) const
{
    QProcess pactl;
    prepareChild(pactl, environment());
    pactl.setStandardErrorFile(QProcess::nullDevice());
    pactl.start(QStringLiteral("pactl"), arguments);
    if (!pactl.waitForFinished(kControlTimeoutMs)) {
        endProcess(pactl);
        return std::nullopt;
    }
    if (pactl.exitStatus() != QProcess::NormalExit || pactl.exitCode() != 0)
        return std::nullopt;
    return pactl.readAllStandardOutput();
}

bool SoundServer::loadSink(const QString& name)
{
    const QStringList module = nullSink(name, m_options).split(u' ');
    return control(QStringList{QStringLiteral("load-module")} + module).has_value();
}

bool SoundServer::unloadSink(const QString& name)
{
    return unloadModule("sink_name=" + name.toLatin1());
}

bool SoundServer::loadSource(const QString& name)
{
    const QStringList module = microphone(name).split(u' ');
    return control(QStringList{QStringLiteral("load-module")} + module).has_value();
}

bool SoundServer::unloadSource(const QString& name)
{
    return unloadModule("source_name=" + name.toLatin1());
}

bool SoundServer::unloadModule(const QByteArray& argument) const
{
    const auto listing =
        control({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("modules")});
    if (!listing)
        return false;
    const QList<QByteArray> lines = listing->split('\n');
    for (const QByteArray& line : lines) {
        // index, module name, arguments, usage
        const QList<QByteArray> fields = line.split('\t');
        if (fields.size() >= 3 && fields.at(2).split(' ').contains(argument)) {
            return control({QStringLiteral("unload-module"), QString::fromLatin1(fields.at(0))})
                .has_value();
        }
    }
    return false;
}

bool SoundServer::setDefaultSink(const QString& name)
{
    return control({QStringLiteral("set-default-sink"), name}).has_value();
}

int SoundServer::playbackStreamCount() const
{
    const auto listing =
        control({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("sink-inputs")});
    return listing ? static_cast<int>(listing->count('\n')) : -1;
}

SoundServer::Capture::Capture(const SoundServer& server, const QString& sink, int channels)
    : m_file(m_directory.filePath(QStringLiteral("capture.f32")))
    , m_channels(channels)
{
    prepareChild(m_process, server.environment());
    // A file takes all that comes while the test does something else; a pipe
    // would fill up and hold the recorder back.
    m_process.setStandardOutputFile(m_file);
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.start(QStringLiteral("parec"),
                    streamArguments(server, sink + QStringLiteral(".monitor"), channels));
    if (!m_process.waitForStarted(kStartTimeoutMs))
        return;
    pollUntil(kStartTimeoutMs, [this] { return QFile(m_file).size() > 0; });
    // Right after a chunk a lazy sink still takes back what it has given out;
    // nothing tells when that is over, but the next chunk is two seconds away.
    if (server.m_options.lazySinks)
        QThread::msleep(kLazySinkSettlesMs);
}

SoundServer::Capture::~Capture()
{
    endProcess(m_process);
}

bool SoundServer::Capture::isRecording()
{
    return isAlive(m_process) && QFile(m_file).size() > 0;
}

QList<float> SoundServer::Capture::samples() const
{
    QFile file(m_file);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = file.readAll();
    const qsizetype frameBytes = m_channels * static_cast<qsizetype>(sizeof(float));
    const qsizetype frames = bytes.size() / frameBytes;
    QList<float> samples(frames * m_channels);
    std::memcpy(samples.data(), bytes.constData(), static_cast<size_t>(frames * frameBytes));
    return samples;
}

QList<float> SoundServer::Capture::sound() const
{
    const QList<float> all = samples();
    const auto audible = [](float sample) { return sample != 0.0F; };
    const auto first = std::find_if(all.cbegin(), all.cend(), audible);
    const auto last = std::find_if(all.crbegin(), all.crend(), audible);
    if (first == all.cend())
        return {};
    const qsizetype begin = (first - all.cbegin()) / m_channels * m_channels;
    const qsizetype end = ((all.crend() - last) + m_channels - 1) / m_channels * m_channels;
    return all.mid(begin, end - begin);
}

SoundServer::Feeder::Feeder(const SoundServer& server, const QList<float>& interleaved,
                            int channels, const QString& sink)
{
    QFile file(m_directory.filePath(QStringLiteral("feed.f32")));
    if (file.open(QIODevice::WriteOnly)) {
        file.write(reinterpret_cast<const char*>(interleaved.constData()),
                   interleaved.size() * static_cast<qint64>(sizeof(float)));
        file.close();
    }
    prepareChild(m_process, server.environment());
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.start(QStringLiteral("pacat"), streamArguments(server, sink, channels)
                                                 << file.fileName());
    m_process.waitForStarted(kStartTimeoutMs);
}

SoundServer::Feeder::~Feeder()
{
    endProcess(m_process);
}

bool SoundServer::Feeder::waitUntilPlayed(int timeoutMs)
{
    return m_process.state() == QProcess::NotRunning || m_process.waitForFinished(timeoutMs);
}
