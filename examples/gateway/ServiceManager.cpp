// SPDX-License-Identifier: BSD-2-Clause

#include "ServiceManager.h"

#include <cstdint>

#include <systemd/sd-daemon.h>

namespace GatewayExample
{

namespace
{

/// A failure is not reported: the service manager notices that it hears nothing.
void notify(const std::string& in_strState) { sd_notify(0, in_strState.c_str()); }

} // namespace

void ServiceManager::ready() { notify("READY=1"); }

void ServiceManager::stopping() { notify("STOPPING=1"); }

void ServiceManager::alive() { notify("WATCHDOG=1"); }

void ServiceManager::status(const std::string& in_strText) { notify("STATUS=" + in_strText); }

std::chrono::microseconds ServiceManager::watchdogTime()
{
    std::uint64_t uiMicroseconds = 0;
    if (sd_watchdog_enabled(0, &uiMicroseconds) <= 0)
        return {};
    return std::chrono::microseconds(uiMicroseconds);
}

} // namespace GatewayExample
