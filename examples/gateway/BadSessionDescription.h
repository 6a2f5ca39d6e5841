// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <stdexcept>

namespace GatewayExample
{

/// Reports a session description that cannot be read or is not acceptable; `what` has the reason.
class BadSessionDescription : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

} // namespace GatewayExample
