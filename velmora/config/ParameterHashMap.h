#pragma once

#include "velmora/application/OutputStreamable.h"
#include "velmora/config/Configuration.h"

#include <string>
#include <unordered_map>

namespace Velmora
{

/// The simplest store of parameters: a hash map of names and values, which its user may also work
/// on as such.
///
/// Thread-safety: none; a map belongs to one thread at a time or to an owner that guards it.
class VELMORA_API ParameterHashMap : public Configuration,
                                     public OutputStreamable,
                                     public std::unordered_map<std::string, ParameterValue>
{
  public:
    ParameterHashMap();
    ParameterHashMap(const ParameterHashMap&) = default;
    ParameterHashMap& operator=(const ParameterHashMap&) = default;
    ~ParameterHashMap() override;

    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override;

    /// Gives true: nothing is refused.
    bool setParameter(const char* in_szParamName, const ParameterValue& in_value) override;

    /// Writes a line "name value" for each parameter, in no particular order. The last line is not
    /// ended.
    std::ostream& write(std::ostream& out_stream) const override;
};

} // namespace Velmora
