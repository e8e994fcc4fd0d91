#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

/// Work on a thread of its own that the caller waits for in a local event loop,
/// so that the window paints and playback is fed; and that is left behind when it
/// has been told to stop and does not come back, as in a file system that is gone.
///
/// Work that is left behind may go on at any later time, or never. So it must own
/// what it touches, log nothing, and look whether it shall stop before whatever
/// others would notice. The end of the process does not wait for it.
///
/// GUI thread; one call at a time. This object outlives its running call, but not
/// necessarily the work.
class SideWork {
public:
    /// How long work that has been told to stop may take to come back.
    static constexpr int kPatienceMs = 500;

    /// What the program's quitting means to running work.
    enum class AtQuit {
        Stop, ///< as stop()
        GoOn, ///< it is waited for
    };

    /// What `work` has returned, or nothing if it was left behind. `work` is given
    /// a flag that says whether it shall stop, and is destroyed on its own thread:
    /// before this returns, unless it was left behind.
    template <typename Work>
    [[nodiscard]] auto run(const char* threadName, AtQuit atQuit, Work work)
    {
        using Result = std::invoke_result_t<Work&, const std::atomic_bool&>;
        auto result = std::make_shared<std::optional<Result>>();
        const bool isDone =
            complete(threadName, atQuit,
                     [result, work = std::move(work)](const std::atomic_bool& isStopped) mutable {
                         *result = work(isStopped);
                     });
        return isDone ? std::move(*result) : std::nullopt;
    }

    /// Tells running work to stop; without any it does nothing.
    void stop();

    /// Whether the last work was told to stop, and whether it was left behind.
    [[nodiscard]] bool isStopped() const;

    [[nodiscard]] bool wasLeftBehind() const { return m_wasLeftBehind; }

private:
    struct Shared;

    [[nodiscard]] bool complete(const char* threadName, AtQuit atQuit,
                                std::function<void(const std::atomic_bool&)> work);

    std::shared_ptr<Shared> m_shared; ///< with the last work's thread; null before the first
    bool m_wasLeftBehind = false;
};
