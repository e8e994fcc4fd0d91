// Saves a project as the application does, in a process of its own that the
// fault tests may strike, starve or kill.

#include "project/faultinjection.h"
#include "project/projectfilejob.h"
#include "project/projectsamples.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTimer>

#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using fault_injection::Fault;

constexpr int kSaved = 0;
constexpr int kKeptTainted = 3; ///< not saved, tainted, and a reason was given
constexpr int kInconsistent = 4;
constexpr int kSavedWithWarning = 5; ///< saved and clean, but a reason was given
constexpr int kLookMs = 5;
constexpr uid_t kNobody = 65534;

Fault faultNamed(const QString& name)
{
    if (name == QLatin1String("error"))
        return Fault::Error;
    if (name == QLatin1String("kill-before"))
        return Fault::KillBefore;
    if (name == QLatin1String("kill-after"))
        return Fault::KillAfter;
    if (name == QLatin1String("stall"))
        return Fault::Stall;
    return name == QLatin1String("short-write") ? Fault::ShortWrite : Fault::None;
}

ProjectHandle projectFor(int seed, int frames)
{
    const auto project = project_samples::noisy(frames, quint32(seed));
    project->taint(QStringLiteral("record"));
    return project;
}

// If it is stopped, then in the call that stalls.
int saveOnce(const QString& path, const ProjectHandle& project, bool isStopped = false)
{
    ProjectFileJob job;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &job, [&job] {
        if (fault_injection::isStalled())
            job.cancel();
    });
    if (isStopped)
        look.start(kLookMs);
    QString reason;
    QObject::connect(&job, &ProjectFileJob::errorOccurred, &job,
                     [&](const QString& message) { reason = message; });
    const bool saved = job.save(path, project);
    if (saved && !project->tainted)
        return reason.isEmpty() ? kSaved : kSavedWithWarning;
    return !saved && project->tainted && !reason.isEmpty() ? kKeptTainted : kInconsistent;
}

/// Lets no file of this process grow beyond `bytes`, for as long as it lives: what
/// is written at the process's end (by a profiler, for one) is not meant.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        m_isSet = ::getrlimit(RLIMIT_FSIZE, &m_before) == 0;
        const rlimit limit{bytes, m_before.rlim_max};
        m_isSet = m_isSet && ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }

    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &m_before); }
    Q_DISABLE_COPY_MOVE(FileSizeLimit)

    [[nodiscard]] bool isSet() const { return m_isSet; }

private:
    rlimit m_before{};
    bool m_isSet = false;
};

int saveWithin(const QString& fileSizeLimit, const QString& path, const ProjectHandle& project,
               bool isStopped)
{
    if (fileSizeLimit.isEmpty())
        return saveOnce(path, project, isStopped);
    const FileSizeLimit limit(fileSizeLimit.toULong());
    return limit.isSet() ? saveOnce(path, project, isStopped) : kInconsistent;
}

// Two projects take turns until somebody ends the process.
[[noreturn]] void saveForEver(const QString& path, int seed, int frames)
{
    const std::array projects{projectFor(seed, frames), projectFor(seed + 1, frames)};
    std::puts("started");
    std::fflush(stdout);
    for (size_t turn = 0;; ++turn)
        saveOnce(path, projects.at(turn % 2));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("path"), {});
    parser.addOptions({{QStringLiteral("seed"), {}, QStringLiteral("n"), QStringLiteral("1")},
                       {QStringLiteral("frames"), {}, QStringLiteral("n"), QStringLiteral("10")},
                       {QStringLiteral("for-ever"), {}},
                       {QStringLiteral("as-nobody"), {}},
                       {QStringLiteral("stopped"), {}},
                       {QStringLiteral("file-size-limit"), {}, QStringLiteral("bytes")},
                       {QStringLiteral("strike"), {}, QStringLiteral("call")},
                       {QStringLiteral("fault"), {}, QStringLiteral("kind")},
                       {QStringLiteral("errno"), {}, QStringLiteral("n"), QStringLiteral("5")}});
    parser.process(app);
    const QString path = parser.positionalArguments().value(0);
    const int seed = parser.value(QStringLiteral("seed")).toInt();
    const int frames = parser.value(QStringLiteral("frames")).toInt();

    if (parser.isSet(QStringLiteral("as-nobody")) && ::geteuid() == 0 &&
        (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0))
        return kInconsistent;
    if (parser.isSet(QStringLiteral("for-ever")))
        saveForEver(path, seed, frames);
    const ProjectHandle project = projectFor(seed, frames);
    fault_injection::strike(parser.value(QStringLiteral("strike")).toInt(),
                            faultNamed(parser.value(QStringLiteral("fault"))),
                            parser.value(QStringLiteral("errno")).toInt());
    const int result = saveWithin(parser.value(QStringLiteral("file-size-limit")), path, project,
                                  parser.isSet(QStringLiteral("stopped")));
    std::printf("%d\n", fault_injection::callCount());
    return result;
}
