// SPDX-License-Identifier: BSD-2-Clause

// Calls exit() on a thread other than the main one.

#include "velmora/logging/LogMacros.h"

#include <ace/Cleanup.h>
#include <ace/Object_Manager.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.ExitsOnThread")

namespace
{

struct OnExitList : ACE_Cleanup
{
    ~OnExitList() override { VELMORA_FILE_LOG_WARN("exit list"); }
};

} // namespace

int main()
{
    Velmora::Logger().setLogLevel(Velmora::WARN_LOG_LEVEL);
    ACE_Object_Manager::at_exit(new OnExitList);
    std::thread([] { std::exit(7); }).detach();
    while (true)
        pause();
}
