// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/config/Configuration.h"
#include "velmora/config/Trie.h"

namespace Velmora
{

/// A store of parameters in a trie with a node for each character of a name. A read allocates
/// memory for the copy of a string value only.
///
/// Failure: a null name fails an assertion on the logger "keswardin.infra.TrieConfiguration" and
/// changes nothing.
/// Thread-safety: none; a store belongs to one thread at a time or to an owner that guards it.
class VELMORA_API TrieConfiguration : public virtual Configuration,
                                      public Trie<char, ParameterValue, LMHashFcn<char>>
{
  public:
    TrieConfiguration();
    TrieConfiguration(const TrieConfiguration&);
    TrieConfiguration& operator=(const TrieConfiguration&);
    ~TrieConfiguration() override;

    /// Copies the value of a parameter. The empty name is that of the root.
    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override;

    /// Sets a parameter, overwriting any previous value. The empty name is that of the root.
    /// Failure: returns false for a null name; accepts everything else.
    bool setParameter(const char* in_szParamName, const ParameterValue& in_value) override;
};

} // namespace Velmora
