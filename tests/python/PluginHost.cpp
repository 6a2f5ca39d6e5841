// SPDX-License-Identifier: BSD-2-Clause

// Opens a module with RTLD_LOCAL and calls it: pluginhost <module>

#include <dlfcn.h>

#include <cstdio>

int main(int argc, char** argv)
{
    void* const pModule = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (pModule == nullptr)
    {
        std::fprintf(stderr, "%s\n", dlerror());
        return 2;
    }
    return reinterpret_cast<int (*)()>(dlsym(pModule, "runPlugin"))();
}
