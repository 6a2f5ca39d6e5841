// SPDX-License-Identifier: BSD-2-Clause

// Opens two modules that contain the same singleton: singletontwins <module> <module>

#include "velmora/logging/LogMacros.h"

#include <dlfcn.h>

#include <cstdio>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.SingletonTwins")

namespace
{

const void* addressOfTwinIn(const char* in_szModule)
{
    void* const pModule = dlopen(in_szModule, RTLD_NOW | RTLD_LOCAL);
    if (pModule == nullptr)
    {
        std::fprintf(stderr, "%s\n", dlerror());
        return nullptr;
    }
    auto* const pFunction = reinterpret_cast<const void* (*)()>(dlsym(pModule, "addressOfTwin"));
    return pFunction == nullptr ? nullptr : pFunction();
}

} // namespace

int main(int argc, char** argv)
{
    Velmora::Logger().setLogLevel(Velmora::WARN_LOG_LEVEL);
    if (argc != 3)
        return 2;
    const void* const pFirst = addressOfTwinIn(argv[1]);
    const void* const pSecond = addressOfTwinIn(argv[2]);
    VELMORA_FILE_LOG_WARN("twins are one: " << (pFirst != nullptr && pFirst == pSecond));
    return 0;
}
