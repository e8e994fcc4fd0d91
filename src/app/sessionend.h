#pragma once

#include <QtGlobal>

#include <optional>

/// What a desktop hears that wants to end the session while the window is open.
namespace session_end {

/// What the end would cost.
enum class Risk { Nothing, UnsavedChanges, RunningSave };

/// What the user has agreed to lose: the changes made until then, and for a minute only, as
/// another program may keep the session. Closing the window need not ask again.
class Agreement {
public:
    /// `changes` is how many there have been; `nowMs` is of a clock that only goes forward.
    void give(quint64 changes, qint64 nowMs)
    {
        m_changes = changes;
        m_untilMs = nowMs + kValidMs;
    }

    void withdraw() { m_changes.reset(); }

    [[nodiscard]] bool holds(quint64 changes, qint64 nowMs) const
    {
        return m_changes == changes && nowMs < m_untilMs;
    }

private:
    static constexpr qint64 kValidMs = 60000;

    std::optional<quint64> m_changes;
    qint64 m_untilMs = 0;
};

/// GUI thread. `manager` is the toolkit's QSessionManager, or what a test puts in its
/// place. `look` returns the risk; before unsaved changes are lost `mayBeLost` asks the user,
/// and waits. A no, no leave to ask, or a running save keeps the session. Returns what the
/// user has said, if asked.
template <typename Manager, typename Look, typename Question>
std::optional<bool> answer(Manager& manager, const Look& look, const Question& mayBeLost)
{
    Risk risk = look();
    if (risk == Risk::UnsavedChanges) {
        if (!manager.allowsInteraction()) {
            manager.cancel();
            return {};
        }
        // While other programs asked, the user may have gone on.
        risk = look();
        if (risk == Risk::Nothing)
            manager.release();
    }
    if (risk == Risk::RunningSave)
        manager.cancel();
    if (risk != Risk::UnsavedChanges)
        return {};
    const bool agreed = mayBeLost();
    if (agreed)
        manager.release(); // the next program's turn to ask
    else
        manager.cancel();
    return agreed;
}

} // namespace session_end
