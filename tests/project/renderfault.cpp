#include "project/renderfault.h"

#include <QDir>
#include <QFile>
#include <QList>

#include <atomic>
#include <csignal>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr char kRenderer[] = "AudioRenderThre";
constexpr int kParkSignal = SIGUSR1;
constexpr useconds_t kNapUs = 1000;

std::atomic_bool isReleased = false;

void park(int)
{
    while (!isReleased)
        ::usleep(kNapUs);
}

QList<pid_t> renderers()
{
    QList<pid_t> found;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile name(tasks.filePath(task + QStringLiteral("/comm")));
        if (name.open(QIODevice::ReadOnly) && name.readAll().trimmed() == kRenderer)
            found.append(task.toInt());
    }
    return found;
}

} // namespace

namespace render_fault {

void becomeRenderer()
{
    prctl(PR_SET_NAME, kRenderer);
}

int rendererThreads()
{
    return static_cast<int>(renderers().size());
}

int parkRenderers()
{
    isReleased = false;
    std::signal(kParkSignal, park);
    int parked = 0;
    for (const pid_t thread : renderers())
        parked += ::syscall(SYS_tgkill, ::getpid(), thread, kParkSignal) == 0 ? 1 : 0;
    return parked;
}

void releaseRenderers()
{
    isReleased = true;
}

} // namespace render_fault
