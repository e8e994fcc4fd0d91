#include "media/devices/soundserverwait.h"

#include <QThread>
#include <QVersionNumber>

#include <chrono>
#include <memory>
#include <pulse/context.h>
#include <pulse/mainloop.h>

namespace media::devices {

namespace {

using namespace std::chrono_literals;

constexpr auto kLookInterval = 50ms;
constexpr int kLooksPerAttempt = 10;

struct FreeMainloop {
    void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
};

struct DropContext {
    void operator()(pa_context* context) const
    {
        pa_context_disconnect(context);
        pa_context_unref(context);
    }
};

enum class Answer { Yes, No, GivenUp };

bool toolkitConnectsOnlyOnce()
{
    return QVersionNumber::fromString(QLatin1String(qVersion())) < QVersionNumber(6, 8);
}

/// One connection attempt, by the rules that every client of the server follows
/// (environment, configuration, starting it where the user's settings say so).
Answer askOnce(const std::function<bool()>& giveUp)
{
    const std::unique_ptr<pa_mainloop, FreeMainloop> loop(pa_mainloop_new());
    const std::unique_ptr<pa_context, DropContext> context(
        pa_context_new(pa_mainloop_get_api(loop.get()), "Vela"));
    if (pa_context_connect(context.get(), nullptr, PA_CONTEXT_NOFLAGS, nullptr) < 0)
        return Answer::No;
    const auto timeoutUs = static_cast<int>(std::chrono::microseconds(kLookInterval).count());
    while (!giveUp()) {
        const pa_context_state_t state = pa_context_get_state(context.get());
        if (state == PA_CONTEXT_READY)
            return Answer::Yes;
        if (!PA_CONTEXT_IS_GOOD(state))
            return Answer::No;
        if (pa_mainloop_prepare(loop.get(), timeoutUs) < 0 || pa_mainloop_poll(loop.get()) < 0 ||
            pa_mainloop_dispatch(loop.get()) < 0)
            return Answer::No;
    }
    return Answer::GivenUp;
}

} // namespace

bool waitForSoundServer(const std::function<bool()>& giveUp)
{
    if (!toolkitConnectsOnlyOnce())
        return true;
    while (!giveUp()) {
        const Answer answer = askOnce(giveUp);
        if (answer != Answer::No)
            return answer == Answer::Yes;
        for (int i = 0; i < kLooksPerAttempt && !giveUp(); ++i)
            QThread::msleep(static_cast<unsigned long>(kLookInterval.count()));
    }
    return false;
}

} // namespace media::devices
