// SPDX-License-Identifier: BSD-2-Clause

// A module that contains a singleton. Two modules are built from this file.

#include "velmora/application/Singleton.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/memory/InAccount.h"

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.SingletonTwin")

namespace
{

class Twin : public Velmora::InAccount<"Twin">
{
  public:
    static Twin* getInstance()
    {
        static Twin* const pSingleton = Velmora::registerSingleton("Twin::Singleton", new Twin);
        return pSingleton;
    }

    Twin() { VELMORA_FILE_LOG_WARN("twin made"); }
    Twin(const Twin&) = delete;
    Twin& operator=(const Twin&) = delete;
    ~Twin() { VELMORA_FILE_LOG_WARN("twin deleted"); }
};

[[maybe_unused]] const Twin* const __force_init_singleton__Twin = Twin::getInstance();

} // namespace

extern "C" [[gnu::visibility("default")]] const void* addressOfTwin()
{
    return Twin::getInstance();
}
