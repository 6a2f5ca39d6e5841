// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace Velmora::Bench
{

/// A state that is compared through a virtual call. The function is in a shared library, like those
/// of our alarms: a call costs more the further away its function is.
class [[gnu::visibility("default")]] ComparedState
{
  public:
    virtual ~ComparedState();
    virtual void setState(int in_iState) = 0;
};

/// Returns a state of 0.
[[gnu::visibility("default")]] ComparedState& comparedState();

} // namespace Velmora::Bench
