#include "app/refusals.h"

#include "project/projectserializer.h"

#include <QCoreApplication>

namespace {

struct Refusals {
    Q_DECLARE_TR_FUNCTIONS(Refusals)
};

QString ofTheRate(int rateHz)
{
    return Refusals::tr("No audio device here takes the project's sample rate, %1 Hz.").arg(rateHz);
}

} // namespace

namespace refusals {

QString ofPlaying(bool hasOutput, int rateHz)
{
    if (hasOutput)
        return ofTheRate(rateHz);
    return Refusals::tr(
        "No audio output was found. Connect or switch one on, then press Play again.");
}

QString ofRecording(bool hasInput, bool hasOutput, int rateHz)
{
    if (!hasInput)
        return Refusals::tr(
            "No audio input was found. Connect a microphone, then press Record again.");
    if (!hasOutput)
        return Refusals::tr("No audio output was found, and recording needs one, too. Connect or "
                            "switch one on, then press Record again.");
    return ofTheRate(rateHz);
}

QString ofSaving(const QString& fileName, qint64 frames)
{
    if (frames <= kMaxChannelSamples)
        return {};
    return Refusals::tr(
               "%1 is longer than a project file can hold. It can be played, but no project "
               "with it can be saved.")
        .arg(fileName);
}

} // namespace refusals
