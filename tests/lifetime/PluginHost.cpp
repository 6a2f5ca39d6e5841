// SPDX-License-Identifier: BSD-2-Clause

// Opens a module that needs the library, and uses it. Closes it before the end, or leaves it open:
// pluginhost <module> close|keep

#include <dlfcn.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    void* const pModule = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (pModule == nullptr)
    {
        std::fprintf(stderr, "%s\n", dlerror());
        return 3;
    }
    auto* const pFunction = reinterpret_cast<void (*)()>(dlsym(pModule, "logFromPlugin"));
    if (pFunction == nullptr)
        return 4;
    pFunction();
    if (std::strcmp(argv[2], "close") == 0 && dlclose(pModule) != 0)
        return 5;
    return 0;
}
