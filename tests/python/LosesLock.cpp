// SPDX-License-Identifier: BSD-2-Clause

// Initializes Python in a process in which the ACE object manager does not provide its lock. With
// "none", ACE's function succeeds without a lock; with any other argument it fails.

#include "tests/support/LogToOutput.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <ace/Object_Manager.h>
#include <ace/Recursive_Thread_Mutex.h>

#include <cstdio>
#include <string_view>

namespace
{

bool s_bGivesNone = false;

} // namespace

/// Replaces ACE's function: symbols of the program come before those of shared libraries.
int ACE_Object_Manager::get_singleton_lock(ACE_Recursive_Thread_Mutex*& lock)
{
    lock = nullptr;
    return s_bGivesNone ? 0 : -1;
}

int main(int argc, char** argv)
{
    s_bGivesNone = argc == 2 && std::string_view(argv[1]) == "none";
    Velmora::Test::logToOutput({});
    std::printf("initialized: %d\n",
                Velmora::Python::EmbeddedInterpreter::getInstance().initialize() ? 1 : 0);
    return 0;
}
