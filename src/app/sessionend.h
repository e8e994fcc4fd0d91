#pragma once

/// What a desktop hears that wants to end the session while the window is open.
namespace session_end {

/// GUI thread. `manager` is the toolkit's QSessionManager, or what a test puts in its
/// place. Where something `isAtRisk`, `mayBeLost` asks the user, and waits; a no, or no
/// leave to ask, keeps the session. Returns whether the user has agreed to lose it.
template <typename Manager, typename Question>
bool answer(Manager& manager, bool isAtRisk, const Question& mayBeLost)
{
    if (!isAtRisk)
        return false;
    if (!manager.allowsInteraction()) {
        manager.cancel();
        return false;
    }
    const bool agreed = mayBeLost();
    if (agreed)
        manager.release(); // the next program's turn to ask
    else
        manager.cancel();
    return agreed;
}

} // namespace session_end
