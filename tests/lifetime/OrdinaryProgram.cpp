// SPDX-License-Identifier: BSD-2-Clause

// Logs the number of its tasks at each stage of its life.

#include "tests/support/Tasks.h"

#include "velmora/logging/LogMacros.h"

#include <ace/Cleanup.h>
#include <ace/Object_Manager.h>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.Ordinary")

namespace
{

struct InStatics
{
    InStatics() { VELMORA_FILE_LOG_WARN("static constructor, tasks=" << countTasks()); }
    ~InStatics() { VELMORA_FILE_LOG_WARN("static destructor, tasks=" << countTasks()); }
} s_inStatics;

struct OnExitList : ACE_Cleanup
{
    ~OnExitList() override { VELMORA_FILE_LOG_WARN("exit list, tasks=" << countTasks()); }
};

} // namespace

int main()
{
    VELMORA_FILE_LOG_WARN("main, tasks=" << countTasks());
    Velmora::Logger().setLogLevel(Velmora::WARN_LOG_LEVEL);
    return ACE_Object_Manager::at_exit(new OnExitList);
}
