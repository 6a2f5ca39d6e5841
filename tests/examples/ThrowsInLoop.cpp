// SPDX-License-Identifier: BSD-2-Clause

#include <dlfcn.h>

#include <sofia-sip/su_wait.h>

#include <cstdlib>
#include <stdexcept>
#include <string_view>

// Throws from a step of the event loop of a gateway: an integer if the environment variable
// VELMORA_THROWS is "int", else a `std::runtime_error`.

namespace
{

constexpr int s_iLastStep = 3;

} // namespace

extern "C" [[gnu::visibility("default")]] su_duration_t su_root_step(su_root_t* in_pRoot,
                                                                     su_duration_t in_timeout)
{
    static int s_iSteps = 0;
    if (++s_iSteps > s_iLastStep)
    {
        const char* const szWhat = std::getenv("VELMORA_THROWS");
        if (szWhat != nullptr && std::string_view(szWhat) == "int")
            throw 1;
        throw std::runtime_error("no more events");
    }
    using Step = su_duration_t (*)(su_root_t*, su_duration_t);
    static const auto s_pStep = reinterpret_cast<Step>(dlsym(RTLD_NEXT, "su_root_step"));
    return s_pStep(in_pRoot, in_timeout);
}
