// Loads a project file in a process of its own and says how it went and by how
// many bytes the process grew at its largest.
//
//     projectloader FILE MAX_MEMORY_BYTES

#include "project/projectfile.h"

#include <QFile>

#include <cstdio>

namespace {

constexpr int kUnusable = 2;

qint64 highestResidentBytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.simplified().split(' ').value(1).toLongLong() * 1024;
    }
    return -1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return kUnusable;
    QFile file(QFile::decodeName(argv[1]));
    if (!file.open(QIODevice::ReadOnly))
        return kUnusable;
    const qint64 before = highestResidentBytes();
    const auto result = ProjectFile::read(file, QByteArray(argv[2]).toLongLong());
    std::printf("%d %lld\n", static_cast<int>(result.outcome),
                static_cast<long long>(highestResidentBytes() - before));
    return before < 0 ? kUnusable : 0;
}
