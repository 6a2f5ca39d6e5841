// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/RegisteredParameters.h"

#include "velmora/config/ParameterBounds.h"
#include "velmora/system/WholeText.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <ostream>
#include <string_view>
#include <utility>

namespace Velmora
{

namespace
{

/// Returns whether a name is a component or below it.
bool isBelow(std::string_view in_strName, std::string_view in_strComponent)
{
    return in_strName.substr(0, in_strName.find('.')) == in_strComponent;
}

bool hasEmptyComponent(std::string_view in_strName)
{
    return in_strName.starts_with('.') || in_strName.ends_with('.') ||
           in_strName.find("..") != std::string_view::npos;
}

bool isNoCharacterOfNames(char in_character)
{
    // Bytes from 0x80 on are negative here and pass, so that a name may have UTF-8 characters.
    return (in_character >= '\0' && in_character <= ' ') ||
           std::string_view("=#${}\x7F").find(in_character) != std::string_view::npos;
}

/// Returns a text that reads as a value of a type, for error messages.
const char* exampleOf(ParameterValue::Type in_type)
{
    switch (in_type)
    {
    case ParameterValue::INT_TYPE:
        return "90";
    case ParameterValue::FLOAT_TYPE:
        return "90.0";
    case ParameterValue::BOOL_TYPE:
        return "true";
    default:
        return "text";
    }
}

bool areSame(const ParameterValue& in_left, const ParameterValue& in_right)
{
    return in_left.getType() == in_right.getType() && (!in_left.defined() || in_left == in_right);
}

} // namespace

/// A row with its texts converted to values.
class RegisteredParameters::Row
{
  public:
    Row() = default;
    Row(std::string in_strName, const ParamDefs::Known& in_known)
        : m_strName(std::move(in_strName)), m_info(*in_known.pInfo)
    {
        if (in_known.pBounds != nullptr)
            m_bounds = *in_known.pBounds;
    }

    /// Converts a row. Returns what is wrong with it and what to write instead; an empty text if
    /// the row is correct.
    std::string read(const ProgramParameter& in_row)
    {
        m_strName = in_row.szName == nullptr ? "" : in_row.szName;
        m_info.m_type = in_row.type;
        m_info.m_bRunTimeSettable = in_row.bRunTimeSettable;
        m_info.m_strDescription = in_row.szDescription == nullptr ? "" : in_row.szDescription;
        std::string strMisfit = misfitOfName();
        if (strMisfit.empty())
            strMisfit = misfitOfType();
        if (strMisfit.empty())
            strMisfit = readValue("default", in_row.szDefault, m_info.m_defaultValue);
        if (strMisfit.empty())
            strMisfit = readBounds(in_row);
        return strMisfit;
    }

    [[nodiscard]] const std::string& name() const { return m_strName; }

    [[nodiscard]] bool isSameAs(const Row& in_row) const
    {
        return m_info.m_type == in_row.m_info.m_type &&
               m_info.m_bRunTimeSettable == in_row.m_info.m_bRunTimeSettable &&
               m_info.m_strDescription == in_row.m_info.m_strDescription &&
               areSame(m_info.m_defaultValue, in_row.m_info.m_defaultValue) &&
               areSame(m_bounds.m_lowest, in_row.m_bounds.m_lowest) &&
               areSame(m_bounds.m_highest, in_row.m_bounds.m_highest);
    }

    [[nodiscard]] std::string text() const
    {
        return wholeText(
            [this](std::ostream& out_stream)
            {
                out_stream << m_info;
                if (m_bounds.defined())
                    out_stream << ", " << m_bounds;
            });
    }

  private:
    [[nodiscard]] std::string misfitOfName() const
    {
        if (m_strName.empty())
            return "it has no name; write one such as \"monitor.port\"";
        if (hasEmptyComponent(m_strName))
            return "its name has an empty component; write one dot between two components";
        if (std::any_of(m_strName.begin(), m_strName.end(), isNoCharacterOfNames))
            return "its name has a blank or one of \"=#${}\", which no name in a configuration "
                   "has; leave that out";
        if (isBelow(m_strName, "keswardin"))
            return "the parameters below \"keswardin\" are the library's; begin the name with "
                   "another component";
        if (isBelow(m_strName, "log4cplus"))
            return "logging is configured below \"log4cplus\"; begin the name with another "
                   "component";
        return "";
    }

    [[nodiscard]] std::string misfitOfType() const
    {
        switch (m_info.m_type)
        {
        case ParameterValue::STRING_TYPE:
        case ParameterValue::INT_TYPE:
        case ParameterValue::BOOL_TYPE:
        case ParameterValue::FLOAT_TYPE:
            return "";
        default:
            return "its type is none of a parameter; write STRING, INT, BOOL or FLOAT";
        }
    }

    [[nodiscard]] std::string readValue(const char* in_szWhat, const char* in_szText,
                                        ParameterValue& out_value) const
    {
        if (in_szText == nullptr)
            return "";
        out_value.initFromText(in_szText, ParameterValue::UNDEF_TYPE, true);
        if (out_value.getType() == m_info.m_type)
            return "";
        const std::string strType = ParameterValue::getTypeAsString(m_info.m_type);
        return std::string("its ") + in_szWhat + " \"" + in_szText + "\" reads as " +
               ParameterValue::getTypeAsString(out_value.getType()) + ", not as " + strType +
               "; write a text that reads as " + strType + ", such as \"" +
               exampleOf(m_info.m_type) + '"';
    }

    std::string readBounds(const ProgramParameter& in_row)
    {
        if (in_row.szLowest == nullptr && in_row.szHighest == nullptr)
            return "";
        if (m_info.m_type != ParameterValue::INT_TYPE &&
            m_info.m_type != ParameterValue::FLOAT_TYPE)
            return std::string("a ") + ParameterValue::getTypeAsString(m_info.m_type) +
                   " has no bounds; leave them out";
        std::string strMisfit = readValue("lowest value", in_row.szLowest, m_bounds.m_lowest);
        if (strMisfit.empty())
            strMisfit = readValue("highest value", in_row.szHighest, m_bounds.m_highest);
        return strMisfit.empty() ? misfitOfBounds() : strMisfit;
    }

    [[nodiscard]] std::string misfitOfBounds() const
    {
        // An empty text means that the bounds are correct.
        return wholeText(
            [this](std::ostream& out_stream)
            {
                if (m_bounds.m_lowest.defined() && !m_bounds.contain(m_bounds.m_lowest))
                    out_stream << "its lowest value " << m_bounds.m_lowest
                               << " is above its highest value " << m_bounds.m_highest
                               << "; exchange them";
                else if (m_info.m_defaultValue.defined() &&
                         !m_bounds.contain(m_info.m_defaultValue))
                    out_stream << "its default " << m_info.m_defaultValue
                               << " is out of bounds; write one that is " << m_bounds;
            });
    }

    std::string m_strName;
    ParameterInfo m_info;
    ParameterBounds m_bounds;
};

RegisteredParameters::RegisteredParameters()
    : m_place("RegisteredParameters"), m_end(std::span<const ParameterRow>())
{
    m_place.fill(this);
}

RegisteredParameters::~RegisteredParameters()
{
    // Emptied first, so that no look-up begins in a table that is being deleted.
    m_place.clear(this);
    ParamDefs* pTable = m_begin.load(std::memory_order_acquire);
    while (pTable != nullptr && pTable != &m_end)
        // The end is a member and was not made with `new`.
        delete std::exchange(pTable, pTable->m_ownNext.load(std::memory_order_acquire));
}

RegisteredParameters* RegisteredParameters::ifAlive()
{
    // A place of its own rather than `m_place`, because the list may belong to another copy of the
    // library.
    static const OncePerProcess<RegisteredParameters> s_place("RegisteredParameters");
    return s_place.get();
}

ParamDefs::Link* RegisteredParameters::openEnd()
{
    ParamDefs::Link* pLink = &m_begin;
    while (ParamDefs* const pTable = pLink->load(std::memory_order_acquire))
    {
        if (pTable == &m_end)
            return nullptr;
        pLink = &pTable->m_ownNext;
    }
    return pLink;
}

ParamDefs::Known RegisteredParameters::find(const char* in_szName) const
{
    const ParamDefs* const pTable = m_begin.load(std::memory_order_acquire);
    return pTable != nullptr ? pTable->find(in_szName) : ParamDefs::Known();
}

void RegisteredParameters::add(std::span<const ProgramParameter> in_rows,
                               std::vector<std::string>& out_errors)
{
    for (;;)
    {
        ParamDefs::Link* const pEnd = openEnd();
        std::vector<std::string> errors;
        const std::vector<ProgramParameter> rows = check(in_rows, pEnd == nullptr, errors);
        std::unique_ptr<ParamDefs> pTable;
        if (!rows.empty())
            pTable.reset(new ParamDefs(std::span(rows)));
        ParamDefs* pNone = nullptr;
        // The table is complete before it is appended, because readers take no lock.
        if (pTable != nullptr && !pEnd->compare_exchange_strong(pNone, pTable.get()))
            // Another thread has appended its table first. Its rows may have the same names, so
            // these rows are checked again.
            continue;
        static_cast<void>(pTable.release());
        std::move(errors.begin(), errors.end(), std::back_inserter(out_errors));
        return;
    }
}

void RegisteredParameters::close()
{
    ParamDefs* pNone = nullptr;
    // Tries again at the new end whenever another thread has appended a table first.
    for (ParamDefs::Link* pEnd = openEnd();
         pEnd != nullptr && !pEnd->compare_exchange_strong(pNone, &m_end); pEnd = openEnd())
        pNone = nullptr;
}

void RegisteredParameters::end()
{
    if (RegisteredParameters* const pRegistered = ifAlive())
        pRegistered->close();
}

std::optional<RegisteredParameters::Row>
RegisteredParameters::findRow(const std::string& in_strName, const std::vector<Row>& in_more) const
{
    if (const ParamDefs::Known known = find(in_strName.c_str()); known.pInfo != nullptr)
        return Row(in_strName, known);
    const auto found =
        std::find_if(in_more.begin(), in_more.end(),
                     [&in_strName](const Row& in_row) { return in_row.name() == in_strName; });
    return found != in_more.end() ? std::optional(*found) : std::nullopt;
}

std::vector<ProgramParameter>
RegisteredParameters::check(std::span<const ProgramParameter> in_rows, bool in_bClosed,
                            std::vector<std::string>& out_errors) const
{
    std::vector<ProgramParameter> newRows;
    std::vector<Row> read;
    for (const ProgramParameter& programParameter : in_rows)
    {
        Row row;
        std::string strMisfit = row.read(programParameter);
        if (strMisfit.empty())
        {
            const std::optional<Row> known = findRow(row.name(), read);
            // Code that two plug-ins share may register a row twice, even after the list is closed.
            if (known && known->isSameAs(row))
                continue;
            if (known)
                strMisfit = "that name is registered already (" + known->text() +
                            "); register the same, or choose another name";
            else if (in_bClosed)
                strMisfit = "a configuration has been read already; register it when the program "
                            "is loaded, or in main before initialize";
        }
        if (strMisfit.empty())
        {
            newRows.push_back(programParameter);
            read.push_back(row);
        }
        else
            out_errors.push_back("cannot register parameter " + row.name() + ": " + strMisfit);
    }
    return newRows;
}

bool RegisteredParameters::retrieveBounds(const char* in_szName, ParameterBounds& out_bounds) const
{
    const ParamDefs::Known known = find(in_szName);
    out_bounds = known.pBounds != nullptr ? *known.pBounds : ParameterBounds();
    return known.pBounds != nullptr;
}

} // namespace Velmora
