// SPDX-License-Identifier: BSD-2-Clause

// A library that extends a program. Its static constructor logs and adds an entry to the exit list.
// VELMORA_TEST_MODULE is its name.

#include "velmora/logging/LogMacros.h"

#include <ace/Cleanup.h>
#include <ace/Object_Manager.h>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test." VELMORA_TEST_MODULE)

namespace
{

struct OnExitList : ACE_Cleanup
{
    ~OnExitList() override { VELMORA_FILE_LOG_INFO("exit entry of " VELMORA_TEST_MODULE); }
};

struct InStatics
{
    InStatics()
    {
        VELMORA_FILE_LOG_INFO("constructor of " VELMORA_TEST_MODULE);
        ACE_Object_Manager::at_exit(new OnExitList);
    }
} s_inStatics;

} // namespace

/// Has a different name in each library, for example `answer_a`.
extern "C" __attribute__((visibility("default"))) int VELMORA_TEST_ANSWER()
{
    return VELMORA_TEST_MODULE[0];
}
