// SPDX-License-Identifier: BSD-2-Clause

// Closes the ACE object manager itself. Then it logs and fails assertions in static destructors,
// after the exit list has deleted the file's logger and the allocators.

#include "velmora/application/Assertion.h"
#include "velmora/application/Fallible.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/ObjectWithLogger.h"
#include "velmora/memory/NoSizeMemAllocator.h"

#include <ace/Object_Manager.h>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.ClosesManager")

namespace
{

struct InStatics : Velmora::ObjectWithLogger<Velmora::Logger>
{
    InStatics()
        : Velmora::ObjectWithLogger<Velmora::Logger>("keswardin.test.Object"),
          m_pMemory(Velmora::NoSizeMemAllocator::allocate(10000, "test"))
    {
    }

    ~InStatics()
    {
        VELMORA_FILE_TRACE_SCOPE(InStatics::~InStatics);
        VELMORA_FILE_LOG_WARN("dropped, since the logger of this file is gone");
        VELMORA_LOG_WARN("from the object's logger");
        VELMORA_ASSERT_TEXT(false, "object");
        VELMORA_FILE_ASSERT_TEXT(false, "file");
        VELMORA_PLAIN_ASSERT(false);
        static_cast<void>(Velmora::Fallible<int>().get());
        Velmora::NoSizeMemAllocator::deallocate(m_pMemory, "test");
        Velmora::NoSizeMemAllocator::deallocate(Velmora::NoSizeMemAllocator::allocate(8, "test"),
                                                "test");
    }

    void* m_pMemory;
} s_inStatics;

} // namespace

int main()
{
    Velmora::Logger().setLogLevel(Velmora::WARN_LOG_LEVEL);
    VELMORA_FILE_LOG_WARN("main");
    return ACE_Object_Manager::instance()->fini();
}
