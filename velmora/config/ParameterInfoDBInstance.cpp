// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Lifetime.h"
#include "velmora/config/ParamDefs.h"
#include "velmora/config/RegisteredParameters.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <ace/Object_Manager.h>

#include <atomic>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(ParameterInfo)

namespace Velmora
{

namespace
{

/// The table of the process; null before it is made and after the exit list has destroyed it.
constinit std::atomic<const ParameterInfoDB*> s_pInstance{nullptr};

/// The table of the process, with the registered parameters behind it.
class ParamDefsOfProcess final : public ParamDefs
{
  public:
    ParamDefsOfProcess()
    {
        // `m_registered` exists already, so the process has a list: this one or the first copy's.
        RegisteredParameters::ifAlive()->follow(*this);
        ACE_Object_Manager::at_exit(static_cast<ACE_Cleanup*>(this), nullptr, "ParamDefs");
    }

    ~ParamDefsOfProcess() override { s_pInstance.store(nullptr, std::memory_order_release); }

  private:
    /// The list of the process if this copy of the library is the first one; otherwise unused.
    RegisteredParameters m_registered;
};

/// Returns a table without parameters. Never destroyed, because code that runs after the exit list
/// uses it.
const ParameterInfoDB& emptyTable()
{
    static const ParamDefs* const s_pEmpty = new ParamDefs(std::span<const ParameterRow>());
    return *s_pEmpty;
}

// Kept out of line, so that `getInstance` is only a load and a test.
[[gnu::noinline]] const ParameterInfoDB& makeInstance()
{
    // Made once: after the exit list has destroyed the table, it is not made again.
    static const bool s_bMade = []
    {
        s_pInstance.store(new ParamDefsOfProcess, std::memory_order_release);
        return true;
    }();
    static_cast<void>(s_bMade);
    const ParameterInfoDB* const pInstance = s_pInstance.load(std::memory_order_acquire);
    return pInstance != nullptr ? *pInstance : emptyTable();
}

[[maybe_unused]] const ParameterInfoDB* const __force_init_ParameterInfoDB__ =
    (bringUpLibrary(), &ParameterInfoDB::getInstance());

} // namespace

const ParameterInfoDB& ParameterInfoDB::getInstance()
{
    if (const ParameterInfoDB* const pInstance = s_pInstance.load(std::memory_order_acquire))
        [[likely]]
        return *pInstance;
    return makeInstance();
}

bool ParameterInfoDB::registerParameters(std::span<const ProgramParameter> in_parameters)
{
    RegisteredParameters* const pRegistered = RegisteredParameters::ifAlive();
    if (pRegistered == nullptr)
        return false;
    std::vector<std::string> errors;
    pRegistered->add(in_parameters, errors);
    for (const std::string& strError : errors)
        VELMORA_FILE_LOG_ERROR(strError);
    return errors.empty();
}

bool ParameterInfoDB::retrieveBounds(const char* in_szName, ParameterBounds& out_bounds)
{
    const RegisteredParameters* const pRegistered = RegisteredParameters::ifAlive();
    if (pRegistered != nullptr)
        return pRegistered->retrieveBounds(in_szName, out_bounds);
    out_bounds = ParameterBounds();
    return false;
}

} // namespace Velmora
