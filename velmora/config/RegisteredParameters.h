#pragma once

#include "velmora/config/ParamDefs.h"
#include "velmora/config/ProgramParameter.h"
#include "velmora/logging/OncePerProcess.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Velmora
{

/// The parameters that the programs and plug-ins of a process have registered: a list of tables,
/// one for each registration, that is open at its end until a configuration is read for the first
/// time. A look-up in it hashes the name once for each table.
///
/// There is one list in the process even if the process has several copies of the library: that of
/// the first copy, whose code and allocators make and delete the tables. The other copies only read
/// it, with their own code, as they have to release the memory that they get out of it.
///
/// Ownership: the list owns its tables, and dies with the first copy's table of all parameters.
/// Thread-safety: `add`, `close` and reading may go on on any threads, and without a lock: a table
/// is put at the end of the list when it is complete, and never changes or leaves the list.
class RegisteredParameters
{
  public:
    /// Becomes the list of the process if there is none.
    RegisteredParameters();
    RegisteredParameters(const RegisteredParameters&) = delete;
    RegisteredParameters& operator=(const RegisteredParameters&) = delete;
    virtual ~RegisteredParameters();

    /// The list of the process; null before it has come and after the exit list has destroyed it.
    static RegisteredParameters* ifAlive();

    /// Adds rows, but for those that are there already. Of a row that cannot be added, nothing is
    /// taken, and the reason is appended to the errors.
    virtual void add(std::span<const ProgramParameter> in_rows,
                     std::vector<std::string>& out_errors);

    /// From now on, nothing is added.
    void close();

    /// Lets a table go on with those of the list.
    void follow(ParamDefs& inout_table) const { inout_table.m_pNext = &m_begin; }

    /// As `ParameterInfoDB::retrieveBounds`.
    bool retrieveBounds(const char* in_szName, ParameterBounds& out_bounds) const;

  private:
    class Row;

    [[nodiscard]] ParamDefs::Link* openEnd();
    [[nodiscard]] ParamDefs::Known find(const char* in_szName) const;
    [[nodiscard]] std::optional<Row> findRow(const std::string& in_strName,
                                             const std::vector<Row>& in_more) const;
    /// Gives the rows that are new and have nothing wrong with them.
    std::vector<ProgramParameter> check(std::span<const ProgramParameter> in_rows, bool in_bClosed,
                                        std::vector<std::string>& out_errors) const;

    OncePerProcess<RegisteredParameters> m_place;
    ParamDefs::Link m_begin{nullptr};
    /// Has no rows: a list that ends with it is closed.
    ParamDefs m_end;
};

} // namespace Velmora
