// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ParameterRow.h"
#include "velmora/config/Trie.h"
#include "velmora/memory/InAccount.h"
#include "velmora/memory/LMHashMap.h"

#include <ace/Cleanup.h>

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Velmora
{

class RegisteredParameters;
struct ProgramParameter;

/// A table of parameter definitions in a tree of name components: all parameters that the library
/// and the programs above it know, or the rows that the constructor is given. The table of the
/// process continues with the tables of the parameters that programs have registered.
///
/// A parameter may be on the way to others: with "a.b" and "a.b.c", the first is a node and the
/// second its child, and both are known. A node that is only on the way to others is not a known
/// name.
///
/// Lists, warnings and defaults follow the order of the tree's iteration. If several names are
/// equally close to an unknown one, the first in that order is the closest. Registered parameters
/// come after all others, in the order of their registrations. A look-up costs one hash of the
/// name and one search; for a name that is not in the table itself, one more for each registration.
///
/// Logs on "keswardin.infra.ParameterInfo".
///
/// Ownership: objects made with `new` come from `DefaultStaticMemAllocator`, under the account
/// "ParamDefs". The exit list owns the table of the process; any other table belongs to the code
/// that made it.
/// Failure: a row whose default does not have the row's type, and a second row of the same name,
/// fail an assertion while the table is built. The compiler checks the library's own rows as well.
/// Thread-safety: a table never changes once it is built. Other tables may be registered on any
/// thread while it is read.
class VELMORA_API ParamDefs : public ParameterInfoDB,
                              private Trie<std::string, ParameterInfo, LMHashFcn<std::string>>,
                              public ACE_Cleanup,
                              public InAccount<"ParamDefs">
{
  public:
    /// Makes the table of all known parameters.
    ParamDefs();
    /// Makes a table of these rows. Keeps no reference to them.
    explicit ParamDefs(std::span<const ParameterRow> in_rows);
    ~ParamDefs() override;

    bool retrieve(const char* in_szName, ParameterInfo& out_info) const override;
    bool retrieve(const char* in_szRegex,
                  std::vector<ParameterInfoWithName>& out_infos) const override;
    void addDefaultsToConfig(Configuration& inout_configuration,
                             bool in_bIncludeDeprecated) const override;
    bool warnOnDeprecated(const ROConfiguration& in_configuration) const override;
    bool validateParamName(const char* in_szName, std::string& out_strName) const override;
    bool validateParamValue(const char* in_szName, ParameterValue& inout_value) const override;
    [[nodiscard]] ParameterValue::Type retrieveType(const char* in_szName) const override;

  private:
    friend class RegisteredParameters;

    using Tree = Trie<std::string, ParameterInfo, LMHashFcn<std::string>>;

    /// The link from one table to the next; null at the end.
    using Link = std::atomic<ParamDefs*>;

    /// What a table knows of a name; empty for an unknown name.
    struct Known
    {
        const ParameterInfo* pInfo = nullptr;
        /// Null if the parameter has no bounds.
        const ParameterBounds* pBounds = nullptr;

        /// Returns whether a value of the parameter's type is within the bounds.
        [[nodiscard]] bool allows(const ParameterValue& in_value) const
        {
            return pBounds == nullptr || pBounds->contain(in_value);
        }
    };

    /// A known name and its entry in the tree.
    struct Definition
    {
        std::string strName;
        Known known;
    };

    /// A definition in `m_index`. An empty slot has the unknown name.
    struct Slot
    {
        /// Refers to the name in `m_definitions`.
        std::string_view name;
        std::uint32_t uiHash = 0;
        Known known;
    };

    /// Makes a table of these rows, which have been checked already.
    explicit ParamDefs(std::span<const ProgramParameter> in_rows);

    /// Adds a node. Returns its data; null for a row of type UNDEF, which is ignored.
    const ParameterInfo* addParameter(const char* in_szName, ParameterValue::Type in_type,
                                      const char* in_szDefault, bool in_bRunTimeSettable,
                                      bool in_bDeprecated, const char* in_szDescription);
    /// Fills `m_definitions` from the tree.
    void listDefinitions();
    /// Fills `m_index` from `m_definitions`, which must not change afterwards.
    void indexDefinitions();
    [[nodiscard]] const ParamDefs* next() const { return m_pNext->load(std::memory_order_acquire); }
    /// Calls a function with each definition of this table and of the tables that follow it.
    template <class Function>
    void forEachDefinition(Function in_function) const;
    /// Returns the slot of a name, or the empty one at which its search ends.
    [[nodiscard]] std::size_t slotOf(std::string_view in_name, std::uint32_t in_uiHash) const;
    /// Looks up a name in this table and in the tables that follow it.
    [[nodiscard]] Known find(const char* in_szName) const;
    /// Returns whether a value of the parameter's type is within its bounds. Logs a warning if it
    /// is not.
    [[nodiscard]] static bool isWithinBounds(const char* in_szName, const Known& in_known,
                                             const ParameterValue& in_value);
    /// Returns the known name closest to this one; empty if the tables are empty.
    [[nodiscard]] const std::string& findClosestName(const char* in_szName) const;

    /// The bounds of the nodes that have some.
    std::unordered_map<const ParameterInfo*, ParameterBounds> m_bounds;
    /// All definitions, in the order of the tree's iteration.
    std::vector<Definition> m_definitions;
    /// The definitions by the hashes of their names. A definition is at the slot of its hash, or
    /// behind it with no empty slot between. At least half of the slots are empty; their number is
    /// a power of two.
    std::vector<Slot> m_index;
    /// The table that is registered after this one.
    Link m_ownNext{nullptr};
    /// The link to the table that follows this one: `m_ownNext`, or the beginning of the list of
    /// registered tables.
    const Link* m_pNext = &m_ownNext;
};

} // namespace Velmora
