// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Object.h"
#include "velmora/config/Parameter.h"

#include <string>

namespace Velmora
{

/// The read interface of every store of parameters. Names must not be null.
///
/// A store implements `getParameter`; the default implementations of the other operations call it.
/// A value of type LONG can be read through `getParameter` only.
///
/// Thread-safety: as the store says.
class VELMORA_API ROConfiguration : public virtual Object
{
  public:
    ROConfiguration() = default;
    ROConfiguration(const ROConfiguration&) = default;
    ROConfiguration& operator=(const ROConfiguration&) = default;
    ~ROConfiguration() override;

    /// Copies the value of a parameter. A store that does not have the name sets `out_value` to
    /// undefined. It must not depend on what `out_value` holds on entry.
    virtual void getParameter(const char* in_szParamName, ParameterValue& out_value) const = 0;

    /// Returns whether the parameter has a value.
    [[nodiscard]] virtual bool parameterDefined(const char* in_szParamName) const;

    /// Copies the value and returns true if the parameter has exactly this type.
    /// Failure: returns false, logs nothing and leaves the output unchanged. `getBoolParameter`
    /// differs: it sets the output to false. `getStringParameter` logs an error if there is no
    /// memory for the text.
    virtual bool getIntParameter(const char* in_szParamName, int& out_iValue) const;
    virtual bool getBoolParameter(const char* in_szParamName, bool& out_bValue) const;
    virtual bool getStringParameter(const char* in_szParamName, std::string& out_strValue) const;
    virtual bool getFloatParameter(const char* in_szParamName, float& out_fValue) const;
};

/// The write interface of every store of parameters that can be written.
///
/// Failure: all operations return false if the store refuses the value. `setStringParameter` also
/// returns false, and logs an error, if there is no memory for the text.
/// Thread-safety: as the store says.
class VELMORA_API Configuration : public virtual ROConfiguration
{
  public:
    Configuration() = default;
    Configuration(const Configuration&) = default;
    Configuration& operator=(const Configuration&) = default;
    ~Configuration() override;

    /// Sets a parameter to a copy of the value.
    virtual bool setParameter(const char* in_szParamName, const ParameterValue& in_value) = 0;

    virtual bool setIntParameter(const char* in_szParamName, int in_iValue);
    virtual bool setBoolParameter(const char* in_szParamName, bool in_bValue);
    virtual bool setStringParameter(const char* in_szParamName, const char* in_szValue);
    virtual bool setFloatParameter(const char* in_szParamName, float in_fValue);
};

} // namespace Velmora
