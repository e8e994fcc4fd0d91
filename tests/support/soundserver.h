#pragma once

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <optional>

/// A PulseAudio server of the test's own: no hardware, no desktop, no bus, any
/// user including root. The null sink "speaker" can be recorded bit for bit
/// (Capture), and what is played into the null sink "micfeed" (Feeder) arrives
/// at the input "mic".
///
/// The toolkit reads the server's address once, at its first use of audio, and
/// keeps that connection for the life of the process. So a test program makes
/// one server, before that first use, and kills or restarts it rather than
/// making a second one.
///
/// Main thread only: the child processes die with the thread that started them.
/// Every wait has a deadline; a `false` means the deadline passed or the server
/// refused. Nothing here runs the event loop.
class SoundServer {
public:
    struct Options {
        int rateHz = 44100;
        bool withSpeaker = true;
        bool withMicrophone = true;
        /// Sinks as on a plain server: up to two seconds may pass before a new
        /// stream is first asked for samples, and a capture must be running for
        /// a while to be exact. Otherwise sinks pull every 50 ms.
        bool lazySinks = false;
        /// More null sinks, in the order in which they are made.
        QStringList extraSinks{};
        /// Inputs that need no sink and hear nothing.
        QStringList silentSources{};
    };

    class Capture;
    class Feeder;

    /// Points this process and its children at the private server by the
    /// environment; starts nothing yet.
    explicit SoundServer(Options options);
    SoundServer();
    ~SoundServer();
    Q_DISABLE_COPY_MOVE(SoundServer)

    /// Stopped → Running: starts the server and waits until it answers and
    /// "speaker" is its default sink.
    [[nodiscard]] bool start();

    /// Running or Frozen → Stopped, without a goodbye to the clients.
    void kill();

    /// kill(), then start() at the same address.
    [[nodiscard]] bool restart();

    /// Running → Frozen: the process keeps its connections and answers nothing.
    void stopProcess();

    /// Frozen → Running.
    void continueProcess();

    [[nodiscard]] bool isRunning() const;

    /// Devices come and go like plugs pulled and pushed in.
    [[nodiscard]] bool loadSink(const QString& name);
    [[nodiscard]] bool unloadSink(const QString& name);
    [[nodiscard]] bool loadSource(const QString& name);
    [[nodiscard]] bool unloadSource(const QString& name);
    [[nodiscard]] bool setDefaultSink(const QString& name);

    /// Playback streams (not recordings) that the server carries at the moment;
    /// −1 when it does not answer.
    [[nodiscard]] int playbackStreamCount() const;

    [[nodiscard]] int rateHz() const { return m_options.rateHz; }

private:
    [[nodiscard]] QProcessEnvironment environment() const;
    [[nodiscard]] QStringList serverArguments() const;
    [[nodiscard]] std::optional<QByteArray> control(const QStringList& arguments) const;
    [[nodiscard]] bool unloadModule(const QByteArray& argument) const;

    Options m_options;
    QTemporaryDir m_directory;
    std::unique_ptr<QProcess> m_process;
    bool m_frozen = false;
};

/// Records what a sink plays, as interleaved float samples, from construction
/// until the end of its life.
class SoundServer::Capture {
public:
    /// Returns once the first samples (of silence, usually) have arrived.
    explicit Capture(const SoundServer& server, const QString& sink = QStringLiteral("speaker"),
                     int channels = 2);
    ~Capture();
    Q_DISABLE_COPY_MOVE(Capture)

    /// False when the recorder could not start.
    [[nodiscard]] bool isRecording();

    /// Everything recorded so far, whole frames only.
    [[nodiscard]] QList<float> samples() const;

    /// The same without the silence before the first and after the last sample
    /// that is not 0, cut at frames.
    [[nodiscard]] QList<float> sound() const;

private:
    QTemporaryDir m_directory;
    QString m_file;
    int m_channels;
    QProcess m_process;
};

/// Plays interleaved samples into a sink, "micfeed" unless told otherwise.
class SoundServer::Feeder {
public:
    explicit Feeder(const SoundServer& server, const QList<float>& interleaved, int channels = 2,
                    const QString& sink = QStringLiteral("micfeed"));
    ~Feeder();
    Q_DISABLE_COPY_MOVE(Feeder)

    /// True once everything was played.
    [[nodiscard]] bool waitUntilPlayed(int timeoutMs);

private:
    QTemporaryDir m_directory;
    QProcess m_process;
};
