// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/Alarm.h"

#include <string>

namespace Velmora
{

/// Is called when the registry gets an alarm and when it removes one, with the alarm itself, not
/// its handle.
///
/// Thread-safety: the operations are called with the registry's mutex held. They may use the
/// registry, but must not add or remove observers of this kind.
/// Ownership: the caller's of `AlarmRegistryImpl::addTableObserver`.
class AlarmTableObserver
{
  public:
    /// Is called for each alarm of the registry: when the alarm or this observer is added, and when
    /// `AlarmRegistryImpl::reportAlarms` is called.
    virtual void alarmIsThere(const std::string& in_strId, Alarm& inout_alarm) noexcept = 0;

    /// Is called after an alarm has been removed from the registry, before it is deleted. There may
    /// already be another alarm with its id.
    virtual void alarmGoes(Alarm& inout_alarm) noexcept = 0;

  protected:
    AlarmTableObserver() = default;
    ~AlarmTableObserver() = default;
};

} // namespace Velmora
