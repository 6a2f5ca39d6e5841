// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmRegistry.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(AlarmRegistry)

namespace Velmora
{

AlarmRegistry::~AlarmRegistry() = default;

AlarmRegistry::Observer::~Observer() = default;

bool AlarmRegistry::setAlarm(const std::string& in_strId)
{
    const LimitedObjPtr<Alarm> pAlarm = getAlarm(in_strId);
    VELMORA_FILE_ASSERT_TEXT(!pAlarm.isNull(), "! pAlarm.isNull()");
    if (pAlarm.isNull())
        return false;
    pAlarm->set();
    return true;
}

bool AlarmRegistry::resetAlarm(const std::string& in_strId)
{
    const LimitedObjPtr<Alarm> pAlarm = getAlarm(in_strId);
    VELMORA_FILE_ASSERT_TEXT(!pAlarm.isNull(), "! pAlarm.isNull()");
    if (pAlarm.isNull())
        return false;
    pAlarm->reset();
    return true;
}

} // namespace Velmora
