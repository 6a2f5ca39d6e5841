// SPDX-License-Identifier: BSD-2-Clause

#include "RefusedTransactions.h"

namespace GatewayExample
{

bool RefusedTransactions::contains(std::size_t in_uiTransaction, Clock::time_point in_now)
{
    forget(in_now);
    return m_recent.contains(in_uiTransaction) || m_older.contains(in_uiTransaction);
}

void RefusedTransactions::add(std::size_t in_uiTransaction, Clock::time_point in_now)
{
    forget(in_now);
    if (size() == 0)
        m_begun = in_now;
    m_recent.insert(in_uiTransaction);
}

void RefusedTransactions::forget(Clock::time_point in_now)
{
    const bool bFull = m_recent.size() >= s_uiMost / 2;
    if (size() == 0 || (in_now - m_begun < s_repeated && !bFull))
        return;
    if (in_now - m_begun < 2 * s_repeated)
        m_older.swap(m_recent);
    else
        m_older.clear();
    m_recent.clear();
    m_begun = in_now;
}

} // namespace GatewayExample
