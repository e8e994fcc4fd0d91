// Imports each file whose path comes in on a line, and answers with a line of what
// became of it: "<outcome> <milliseconds> <parked threads>". fuzz_import.py asks.
// Its argument is how many megabytes it may take; 0: as many as there are.

#include "media/devices/mediaplatform.h"
#include "project/decoderfaultguard.h"
#include "project/importing.h"
#include "project/retireddecoder.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QSocketNotifier>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// A header that claims the moon must not take the machine along.
bool limitMemory(const char* megabytes)
{
    const rlim_t bytes = static_cast<rlim_t>(std::strtoul(megabytes, nullptr, 10)) << 20U;
    const rlimit limit{bytes, bytes};
    return bytes == 0 || setrlimit(RLIMIT_AS, &limit) == 0;
}

bool isSound(const Track& track)
{
    const auto isLong = [&track](const QList<float>& channel) {
        return channel.size() == track.length();
    };
    return track.length() > 0 && track.sampleRate > 0 && !track.name.isEmpty() &&
           std::all_of(track.samples.cbegin(), track.samples.cend(), isLong);
}

const char* outcomeOf(const Import& import)
{
    if (import.succeeded())
        return isSound(*import.track) ? "track" : "unsound";
    return import.failed() ? "error" : "neither";
}

/// One import on a line of input; false at its end.
bool answer()
{
    std::string path;
    if (!std::getline(std::cin, path))
        return false;
    const DecoderFaultGuard guard;
    const Import import(QString::fromStdString(path));
    // Some faults come when the decoder is already being seen off.
    while (RetiredDecoder::count() > 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    (void)std::printf("%s %lld %d\n", outcomeOf(import), static_cast<long long>(import.elapsedMs),
                      guard.hasCaught() ? 1 : 0);
    (void)std::fflush(stdout);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 || !limitMemory(argv[1]))
        return 1;
    prepareMediaPlatform();
    const QGuiApplication application(argc, argv);
    // From the loop, as in the program: what an import leaves behind is seen to.
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&input] {
        input.setEnabled(false); // the import has a loop of its own
        if (!answer())
            QCoreApplication::quit();
        input.setEnabled(true);
    });
    return QCoreApplication::exec();
}
