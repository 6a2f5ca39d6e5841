// SPDX-License-Identifier: BSD-2-Clause

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
/// one for each registration. Tables can be added until a configuration is read for the first time.
/// A look-up hashes the name once for each table.
///
/// There is one list in the process even if the process has several copies of the library. It
/// belongs to the first copy, whose code and allocators make and delete the tables. The other
/// copies only read it, by their own code, because they must release the memory that a look-up
/// returns.
///
/// Ownership: the list owns its tables. It is destroyed with the first copy's table of all
/// parameters.
/// Thread-safety: `add`, `close` and reading may run on any threads concurrently, without a lock: a
/// table is appended when it is complete, and never changes or leaves the list.
class RegisteredParameters
{
  public:
    /// Makes a list, which becomes the list of the process if there is none.
    RegisteredParameters();
    RegisteredParameters(const RegisteredParameters&) = delete;
    RegisteredParameters& operator=(const RegisteredParameters&) = delete;
    virtual ~RegisteredParameters();

    /// Returns the list of the process; null before it is made and after the exit list has
    /// destroyed it.
    static RegisteredParameters* ifAlive();

    /// Adds the rows that do not exist yet. Of a row that cannot be added, nothing is registered,
    /// and the reason is appended to the errors.
    virtual void add(std::span<const ProgramParameter> in_rows,
                     std::vector<std::string>& out_errors);

    /// Ends the registration: later rows are refused.
    void close();

    /// Closes the list of the process, if there is one: the table must not change any more once a
    /// configuration has been checked against it.
    static void end();

    /// Makes a table continue with the tables of the list.
    void follow(ParamDefs& inout_table) const { inout_table.m_pNext = &m_begin; }

    /// Implements `ParameterInfoDB::retrieveBounds`.
    bool retrieveBounds(const char* in_szName, ParameterBounds& out_bounds) const;

  private:
    class Row;

    /// Returns the link to which the next table is appended; null if the list is closed.
    [[nodiscard]] ParamDefs::Link* openEnd();
    [[nodiscard]] ParamDefs::Known find(const char* in_szName) const;
    /// Returns the row of a name, out of the list or of the rows that are being added with it.
    [[nodiscard]] std::optional<Row> findRow(const std::string& in_strName,
                                             const std::vector<Row>& in_more) const;
    /// Returns the rows that are new and correct. Appends the reasons for the others to the errors.
    std::vector<ProgramParameter> check(std::span<const ProgramParameter> in_rows, bool in_bClosed,
                                        std::vector<std::string>& out_errors) const;

    OncePerProcess<RegisteredParameters> m_place;
    ParamDefs::Link m_begin{nullptr};
    /// The end of a closed list. It has no rows.
    ParamDefs m_end;
};

} // namespace Velmora
