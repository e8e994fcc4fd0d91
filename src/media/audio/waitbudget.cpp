#include "media/audio/waitbudget.h"

#include <algorithm>

namespace media::audio {

WaitBudget::WaitBudget(Ms most)
    : m_most(most)
{
}

WaitBudget::Ms WaitBudget::now()
{
    return std::chrono::duration_cast<Ms>(std::chrono::steady_clock::now().time_since_epoch());
}

WaitBudget::Ms WaitBudget::left(Ms now) const
{
    return std::max(kLeast, m_most - spentAt(now));
}

void WaitBudget::spend(Ms begin, Ms end)
{
    m_spent = std::min(m_most, spentAt(begin) + (end - begin));
    m_lastEnd = end;
}

WaitBudget::Ms WaitBudget::spentAt(Ms now) const
{
    return std::max(Ms{0}, m_spent - (now - m_lastEnd));
}

} // namespace media::audio
