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
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Velmora
{

class RegisteredParameters;
struct ProgramParameter;

/// A table of parameter definitions as a tree of name components: that of all parameters that the
/// library and the programs above it know, or one of rows of its own. The table of the process goes
/// on with those of the parameters that programs have registered.
///
/// A parameter may stand on the way to others: with "a.b" and "a.b.c", the one is a node and the
/// other its child, and both are known. A node that is only on the way to others is no known name.
///
/// Lists, warnings and defaults come in the order of the tree's iteration, and of names that are
/// equally close to a wrong one the first in that order is the closest; the parameters that were
/// registered come behind all others, in the order of their registrations. A look-up costs one hash
/// of the name, and for a name that the table itself does not have, one more for each registration.
///
/// Logs on "keswardin.infra.ParameterInfo".
///
/// Ownership: memory made with `new` comes from `DefaultStaticMemAllocator` under the account
/// "ParamDefs". The table of the process belongs to the exit list; any other one, to its maker.
/// Failure: a row whose default is not of the row's type, and a second row of the same name, fail
/// an assertion while the table is built. The library's own rows are checked by the compiler
/// besides.
/// Thread-safety: a table never changes once it is built. Others may be registered on any thread
/// while it is read.
class VELMORA_API ParamDefs : public ParameterInfoDB,
                              private Trie<std::string, ParameterInfo, LMHashFcn<std::string>>,
                              public ACE_Cleanup,
                              public InAccount<"ParamDefs">
{
  public:
    /// All known parameters.
    ParamDefs();
    /// The parameters of these rows, of which nothing is kept.
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

    /// Where one table stands behind another one; null at the end.
    using Link = std::atomic<ParamDefs*>;

    /// What a table holds of a name: nothing for one that is not known.
    struct Known
    {
        const ParameterInfo* pInfo = nullptr;
        /// Null for none.
        const ParameterBounds* pBounds = nullptr;

        /// Whether a value of the parameter's type lies within the bounds.
        [[nodiscard]] bool allows(const ParameterValue& in_value) const
        {
            return pBounds == nullptr || pBounds->contain(in_value);
        }
    };

    /// A known name, and what the tree holds of it.
    struct Definition
    {
        std::string strName;
        Known known;
    };

    /// The parameters of these rows, which have been checked.
    explicit ParamDefs(std::span<const ProgramParameter> in_rows);

    const ParameterInfo* addParameter(const char* in_szName, ParameterValue::Type in_type,
                                      const char* in_szDefault, bool in_bRunTimeSettable,
                                      bool in_bDeprecated, const char* in_szDescription);
    void listDefinitions();
    void indexDefinitions();
    [[nodiscard]] const ParamDefs* next() const { return m_pNext->load(std::memory_order_acquire); }
    /// Calls a function with each definition of this table and those that it goes on with.
    template <class Function>
    void forEachDefinition(Function in_function) const;
    [[nodiscard]] Known find(const char* in_szName) const;
    /// Whether a value of the parameter's type lies within its bounds; warns of one that does not.
    [[nodiscard]] static bool isWithinBounds(const char* in_szName, const Known& in_known,
                                             const ParameterValue& in_value);
    [[nodiscard]] const std::string& findClosestName(const char* in_szName) const;

    /// Of the nodes that have some.
    std::unordered_map<const ParameterInfo*, ParameterBounds> m_bounds;
    /// In the order of the tree's iteration.
    std::vector<Definition> m_definitions;
    /// By the names in `m_definitions`.
    std::unordered_map<std::string_view, Known> m_index;
    /// Where the next table stands that is registered behind this one.
    Link m_ownNext{nullptr};
    /// Where this table goes on.
    const Link* m_pNext = &m_ownNext;
};

} // namespace Velmora
