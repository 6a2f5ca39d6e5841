// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/OutputStreamable.h"
#include "velmora/config/Configuration.h"

#include <string>
#include <unordered_map>

namespace Velmora
{

/// A store of parameters in a hash map. Callers may also use the map directly.
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

    /// Stores any value under any name. Returns true.
    bool setParameter(const char* in_szParamName, const ParameterValue& in_value) override;

    /// Writes a line "name value" for each parameter, in no particular order. The last line has no
    /// newline.
    std::ostream& write(std::ostream& out_stream) const override;
};

} // namespace Velmora
