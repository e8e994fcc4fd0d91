#include "project/decoderthreads.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <array>
#include <sys/syscall.h>

namespace {

// As the system keeps them, cut to its longest length.
constexpr std::array kDecodingThreads{"Demuxer", "AudioDecoderThr", "AudioRenderThre"};

QByteArray lineOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readLine().trimmed() : QByteArray();
}

bool isDecoding(const QString& thread)
{
    const QByteArray name = lineOf(thread + QStringLiteral("/comm"));
    return std::any_of(kDecodingThreads.begin(), kDecodingThreads.end(),
                       [&name](const char* known) { return name == known; });
}

/// Told by the call that the thread is in: one that runs is in none.
bool isWaiting(const QString& thread)
{
    const QByteArray line = lineOf(thread + QStringLiteral("/syscall"));
    bool isNumber = false;
    const long call = line.left(line.indexOf(' ')).toLong(&isNumber);
    bool waits = isNumber && call == SYS_futex;
#ifdef SYS_pause
    waits = waits || (isNumber && call == SYS_pause); // put to sleep in a fault
#endif
    return waits;
}

} // namespace

bool decoderThreadsAreWaiting()
{
    const QDir tasks(QStringLiteral("/proc/self/task"));
    bool any = false;
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString thread = tasks.filePath(task);
        if (!isDecoding(thread))
            continue;
        if (!isWaiting(thread))
            return false;
        any = true;
    }
    return any;
}
