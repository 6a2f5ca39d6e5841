// SPDX-License-Identifier: BSD-2-Clause

#include "Shutdown.h"

#include <unistd.h>

using std::chrono::steady_clock;

namespace GatewayExample
{

void Shutdown::begin(const ACE_Time_Value& in_exitTimeout, const ACE_Time_Value& in_killTimeout)
{
    m_deadline = steady_clock::time_point::max();
    if (in_exitTimeout != ACE_Time_Value::max_time)
        m_deadline = steady_clock::now() + std::chrono::seconds(in_exitTimeout.sec());
    if (in_killTimeout != ACE_Time_Value::max_time)
        alarm(static_cast<unsigned int>(in_killTimeout.sec()));
}

void Shutdown::hurry() { m_deadline = steady_clock::now(); }

bool Shutdown::isOverdue() const { return m_deadline && steady_clock::now() >= *m_deadline; }

} // namespace GatewayExample
