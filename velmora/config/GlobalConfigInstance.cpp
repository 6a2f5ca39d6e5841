// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/AssertionSeam.h"
#include "velmora/application/Lifetime.h"
#include "velmora/config/AceCleanupGlobalConfigHandle.h"
#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/ParameterLineSeam.h"

#include <ace/Object_Manager.h>

namespace Velmora
{

namespace
{

/// Gives failed assertions access to the configuration.
class ParametersOfAssertions final : public AssertionSeam::BoolParameters
{
  public:
    ParametersOfAssertions() = default;
    ParametersOfAssertions(const ParametersOfAssertions&) = delete;
    ParametersOfAssertions& operator=(const ParametersOfAssertions&) = delete;
    virtual ~ParametersOfAssertions() = default;

    bool getBoolParameter(const char* in_szName, bool& out_bValue) override
    {
        return m_pConfig->tryGetBoolParameter(in_szName, out_bValue);
    }

    bool setBoolParameter(const char* in_szName, bool in_bValue) override
    {
        return m_pConfig->setBoolParameter(in_szName, in_bValue);
    }

    GlobalConfigImpl* m_pConfig = nullptr;
};

std::string lineAbout(const ROConfiguration& in_configuration, const std::string& in_strName)
{
    const auto* const pConfig = dynamic_cast<const GlobalConfigImpl*>(&in_configuration);
    return pConfig != nullptr ? pConfig->lineAbout(in_strName) : std::string();
}

/// The handles that callers get. Never destroyed: the exit list empties them.
struct GivenHandles
{
    TSHandle<GlobalConfig> globalConfig;
    TSHandle<RWGlobalConfig> rwGlobalConfig;
    ParametersOfAssertions parametersOfAssertions;
};

GivenHandles& givenHandles()
{
    static GivenHandles* const s_pHandles = []
    {
        auto* const pConfig = new GlobalConfigImpl;
        pConfig->publishToAssertions();
        auto* const pHandles = new GivenHandles;
        // It adds itself to the exit list, which will delete it.
        const TSHandle<RWGlobalConfig>& hOnExitList = *new AceCleanupGlobalConfigHandle(pConfig);
        pHandles->rwGlobalConfig = hOnExitList;
        pHandles->globalConfig = pHandles->rwGlobalConfig;
        pHandles->parametersOfAssertions.m_pConfig = pConfig;
        AssertionSeam::setBoolParameters(&pHandles->parametersOfAssertions);
        ParameterLineSeam::fill(&lineAbout);
        return pHandles;
    }();
    return *s_pHandles;
}

[[maybe_unused]] const bool __force_init_GlobalConfig__ = (bringUpLibrary(), givenHandles(), true);

} // namespace

const TSHandle<GlobalConfig>& GlobalConfig::getInstance() { return givenHandles().globalConfig; }

const TSHandle<RWGlobalConfig>& RWGlobalConfig::getInstance()
{
    return givenHandles().rwGlobalConfig;
}

AceCleanupGlobalConfigHandle::AceCleanupGlobalConfigHandle(RWGlobalConfig* in_pConfig)
    : TSHandle<RWGlobalConfig>(in_pConfig)
{
    ACE_Object_Manager::at_exit(static_cast<ACE_Cleanup*>(this), nullptr, "GlobalConfig");
}

AceCleanupGlobalConfigHandle::~AceCleanupGlobalConfigHandle()
{
    // Assertions stop using the configuration before the handles release it. The destructor of the
    // base class, which runs last, releases the handle of the exit list.
    GivenHandles& handles = givenHandles();
    AssertionSeam::setBoolParameters(nullptr);
    handles.globalConfig.reset();
    handles.rwGlobalConfig.reset();
}

} // namespace Velmora
