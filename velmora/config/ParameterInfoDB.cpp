#include "velmora/config/ParameterInfoDB.h"

#include "velmora/application/Lifetime.h"
#include "velmora/config/ParamDefs.h"

#include <ace/Object_Manager.h>

#include <atomic>

namespace Velmora
{

namespace
{

/// The table of the process; null before it has come and after the exit list has destroyed it.
constinit std::atomic<const ParameterInfoDB*> s_pInstance{nullptr};

class ParamDefsOfProcess final : public ParamDefs
{
  public:
    ParamDefsOfProcess()
    {
        ACE_Object_Manager::at_exit(static_cast<ACE_Cleanup*>(this), nullptr, "ParamDefs");
    }

    ~ParamDefsOfProcess() override { s_pInstance.store(nullptr, std::memory_order_release); }
};

/// Never destroyed: it is for what runs after the exit list.
const ParameterInfoDB& emptyTable()
{
    static const ParamDefs* const s_pEmpty = new ParamDefs(std::span<const ParameterRow>());
    return *s_pEmpty;
}

[[gnu::noinline]] const ParameterInfoDB& makeInstance()
{
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

ParameterInfoDB::~ParameterInfoDB() = default;

ParameterValue::Type ParameterInfoDB::retrieveType(const char* in_szName) const
{
    ParameterInfo info;
    return retrieve(in_szName, info) ? info.m_type : ParameterValue::UNDEF_TYPE;
}

const ParameterInfoDB& ParameterInfoDB::getInstance()
{
    if (const ParameterInfoDB* const pInstance = s_pInstance.load(std::memory_order_acquire))
        [[likely]]
        return *pInstance;
    return makeInstance();
}

} // namespace Velmora
