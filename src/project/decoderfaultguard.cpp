#include "project/decoderfaultguard.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

// The renderer's name as the system keeps it, cut to its longest length.
constexpr char kRendererThread[] = "AudioRenderThre";
constexpr std::size_t kThreadNameBytes = 16;

// A missing channel is read from its first sample on; the state of a converter is
// some kilobytes long.
constexpr std::uintptr_t kNearNullBytes = 1U << 20U;

// Release in the handler pairs with the acquire in hasCaught().
std::atomic<int> catches = 0;
static_assert(std::atomic<int>::is_always_lock_free, "used in a signal handler");

int guards = 0;
struct sigaction previous;

bool isRendererThread()
{
    std::array<char, kThreadNameBytes> name{};
    return prctl(PR_GET_NAME, name.data()) == 0 && std::strcmp(name.data(), kRendererThread) == 0;
}

// Signals that were sent, and faults whose address the processor does not tell,
// also come with an address of null.
bool isNearNull(const siginfo_t& info)
{
    return info.si_code == SEGV_MAPERR &&
           reinterpret_cast<std::uintptr_t>(info.si_addr) < kNearNullBytes;
}

// Calls nothing but what a signal handler may call.
void onFault(int signal, siginfo_t* info, void* /*context*/)
{
    if (isNearNull(*info) && isRendererThread()) {
        catches.fetch_add(1, std::memory_order_release);
        for (;;)
            pause();
    }
    // Back to the instruction, which faults again under the earlier handling. A
    // signal that was sent does not come again by itself.
    sigaction(signal, &previous, nullptr);
    if (info->si_code <= 0)
        (void)raise(signal);
}

} // namespace

DecoderFaultGuard::DecoderFaultGuard()
    : m_caughtBefore(catches.load(std::memory_order_acquire))
{
    if (guards++ > 0)
        return;

    struct sigaction action {};

    action.sa_sigaction = onFault;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    sigaction(SIGSEGV, &action, &previous);
}

DecoderFaultGuard::~DecoderFaultGuard()
{
    if (--guards == 0)
        sigaction(SIGSEGV, &previous, nullptr);
}

bool DecoderFaultGuard::hasCaught() const
{
    return catches.load(std::memory_order_acquire) != m_caughtBefore;
}
