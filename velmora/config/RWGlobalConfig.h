#pragma once

#include "velmora/Export.h"
#include "velmora/config/GlobalConfig.h"

namespace Velmora
{

/// The one configuration of the process with its writing side.
///
/// Ownership, thread-safety: as `GlobalConfig`.
class VELMORA_API RWGlobalConfig : public GlobalConfig, public virtual Configuration
{
  public:
    RWGlobalConfig() = default;
    RWGlobalConfig(const RWGlobalConfig&) = delete;
    RWGlobalConfig& operator=(const RWGlobalConfig&) = delete;
    ~RWGlobalConfig() override;

    /// Sets a known parameter to a value of its type. Nothing is converted.
    ///
    /// Failure: false and an error in the log for a name that is not known, a value of another
    /// type or out of bounds, and, at run time, a parameter that cannot be set then. Of a protected
    /// configuration, the error is logged and the parameter is set all the same.
    bool setParameter(const char* in_szParamName, const ParameterValue& in_value) override = 0;

    /// The same object as that of `GlobalConfig::getInstance`.
    static const TSHandle<RWGlobalConfig>& getInstance();
};

} // namespace Velmora
