// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/config/GlobalConfig.h"

namespace Velmora
{

/// The read and write interface of the configuration of the process.
///
/// Ownership, thread-safety: as `GlobalConfig`.
class VELMORA_API RWGlobalConfig : public GlobalConfig, public virtual Configuration
{
  public:
    RWGlobalConfig() = default;
    RWGlobalConfig(const RWGlobalConfig&) = delete;
    RWGlobalConfig& operator=(const RWGlobalConfig&) = delete;
    ~RWGlobalConfig() override;

    /// Sets a known parameter to a value of its type. Converts nothing.
    ///
    /// Failure: returns false and logs an error for an unknown name, for a value of another type or
    /// out of bounds, and, at run time, for a parameter that is not settable at run time. If the
    /// configuration is write-protected, logs an error but sets the parameter.
    bool setParameter(const char* in_szParamName, const ParameterValue& in_value) override = 0;

    /// Returns a handle on the same object as `GlobalConfig::getInstance`.
    static const TSHandle<RWGlobalConfig>& getInstance();
};

} // namespace Velmora
