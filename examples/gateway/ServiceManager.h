// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <chrono>
#include <string>

namespace GatewayExample
{

/// Reports to systemd how the gateway is, if systemd has started it as a service of type notify.
/// Without systemd, all functions do nothing.
namespace ServiceManager
{

/// The gateway takes calls.
void ready();
/// The gateway has begun to stop.
void stopping();
/// The event loop still runs. With `WatchdogSec`, systemd ends a service that stops to say so.
void alive();
/// A line that `systemctl status` shows.
void status(const std::string& in_strText);

/// Returns the longest time between two calls of `alive`; zero if systemd does not want them.
[[nodiscard]] std::chrono::microseconds watchdogTime();

} // namespace ServiceManager

} // namespace GatewayExample
