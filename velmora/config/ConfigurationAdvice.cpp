// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigurationAdvice.h"

#include "velmora/config/ConfigurationLine.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/logging/EscapedText.h"
#include "velmora/system/ClassicText.h"
#include "velmora/system/LevinsteinDistanceScan.h"
#include "velmora/system/WholeText.h"

#include <algorithm>
#include <locale>
#include <ostream>

namespace Velmora
{

namespace
{

/// Returns the first "$" of a line that opens no tag, or null.
const char* strayDollar(std::string_view in_line)
{
    ConfigurationLine::Tag tag;
    std::string_view rest = in_line;
    bool bTag = true;
    while (bTag)
    {
        bTag = ConfigurationLine::findTag(rest, tag);
        // The text before a tag begins behind the last "$" that opens none.
        if (tag.text.data() != rest.data())
            return rest.data() + rest.find('$');
        rest.remove_prefix(tag.text.size() + tag.tag.size());
    }
    return nullptr;
}

std::string textOf(const ParameterValue& in_value)
{
    return wholeText(std::locale::classic(),
                     [&in_value](std::ostream& out_stream) { out_stream << in_value; });
}

/// Returns what a value of a type is, and an example.
struct Form
{
    const char* szWhat;
    std::string strExample;
};

Form formOf(const ParameterInfo& in_info)
{
    const bool bHasDefault = in_info.m_defaultValue.getType() == in_info.m_type;
    const std::string strDefault = bHasDefault ? textOf(in_info.m_defaultValue) : std::string();
    switch (in_info.m_type)
    {
    case ParameterValue::INT_TYPE:
        return {"an INT, a whole number without a unit", bHasDefault ? strDefault : "60"};
    case ParameterValue::BOOL_TYPE:
        return {"a BOOL, true or false", bHasDefault ? strDefault : "true"};
    case ParameterValue::FLOAT_TYPE:
        // A default such as 90.0 is written without its point, which reads as a FLOAT as well,
        // except 0.
        return {"a FLOAT, a number without a unit",
                bHasDefault && strDefault != "0" ? strDefault : "0.5"};
    default:
        return {"a STRING, which is no number that begins with 0", "text"};
    }
}

/// Returns a number as a value of the type, if only the 0 in front makes it one of another type;
/// otherwise an empty text.
std::string withoutLeadingZeros(ParameterValue::Type in_type, std::string_view in_value)
{
    const bool bNumber =
        in_type == ParameterValue::INT_TYPE || in_type == ParameterValue::FLOAT_TYPE;
    if (!bNumber || !in_value.starts_with('0') ||
        !std::all_of(in_value.begin(), in_value.end(), &ClassicText::isDigit))
        return "";
    in_value.remove_prefix(std::min(in_value.find_first_not_of('0'), in_value.size() - 1));
    std::string strValue(in_value);
    if (in_type == ParameterValue::FLOAT_TYPE)
        strValue += ".0";
    return strValue;
}

} // namespace

std::string ConfigurationAdvice::shown(std::string_view in_text)
{
    constexpr std::size_t uiMost = 200;
    const std::size_t uiLength = EscapedText::lengthOfWholeCharacters(in_text, uiMost);
    std::string strShown;
    EscapedText::append(strShown, in_text.substr(0, uiLength));
    if (uiLength != in_text.size())
        strShown += "...";
    return strShown;
}

bool ConfigurationAdvice::isClose(std::string_view in_name, std::string_view in_closestName)
{
    constexpr std::size_t uiPart = 3;
    return !in_closestName.empty() &&
           LevinsteinDistanceScan(in_name).distance(in_closestName) <= in_name.size() / uiPart;
}

bool ConfigurationAdvice::hasStrayDollar(std::string_view in_line)
{
    return strayDollar(in_line) != nullptr;
}

std::string ConfigurationAdvice::forParseError(std::string_view in_line,
                                               std::string_view in_replaced)
{
    const std::string strLine = '"' + shown(in_line) + '"';
    if (const char* const pDollar = strayDollar(in_line))
    {
        constexpr std::size_t uiMost = 40;
        const std::string_view rest =
            in_line.substr(static_cast<std::size_t>(pDollar - in_line.data()), uiMost);
        if (rest.starts_with("${"))
            return "close the tag that begins with \"" + shown(rest) + "\" in " + strLine;
        return "remove the \"$\" in \"" + shown(rest) + "\" from " + strLine +
               ", or write a tag as ${name}";
    }
    return in_replaced == in_line
               ? "write \"name = value\" instead of " + strLine
               : "write a line that reads \"name = value\" with its tags replaced, instead of " +
                     strLine;
}

std::string ConfigurationAdvice::forUnknownName(std::string_view in_name,
                                                std::string_view in_closeName,
                                                std::string_view in_value)
{
    if (in_closeName.empty())
        return "correct the name \"" + shown(in_name) + "\", or delete the line";
    return "write \"" + shown(in_closeName) + " = " + shown(in_value) + '"';
}

std::string ConfigurationAdvice::forWrongType(std::string_view in_name,
                                              const ParameterInfo& in_info,
                                              std::string_view in_value)
{
    if (const std::string strNumber = withoutLeadingZeros(in_info.m_type, in_value);
        !strNumber.empty())
        return "write \"" + shown(in_name) + " = " + shown(strNumber) + "\" instead of \"" +
               shown(in_value) + "\", because a number that begins with 0 is octal";
    const Form form = formOf(in_info);
    return std::string("write ") + form.szWhat + ", as in \"" + shown(in_name) + " = " +
           shown(form.strExample) + "\", instead of \"" + shown(in_value) + '"';
}

std::string ConfigurationAdvice::forBounds(const ParameterBounds& in_bounds,
                                           std::string_view in_value)
{
    return wholeText(std::locale::classic(),
                     [&](std::ostream& out_stream)
                     {
                         out_stream << "write a value that is " << in_bounds << " instead of \""
                                    << shown(in_value) << '"';
                     });
}

std::string ConfigurationAdvice::forRedefinition(std::string_view in_formerPlace,
                                                 bool in_bLaterFile)
{
    if (in_formerPlace.empty())
        return "replaces an earlier value";
    std::string strAdvice = "replaces ";
    strAdvice += in_formerPlace;
    return in_bLaterFile ? strAdvice : strAdvice + " ; delete one of the two lines";
}

std::string ConfigurationAdvice::forUnknownTags(const std::vector<std::string>& in_names,
                                                std::string_view in_ownName)
{
    if (in_names.empty())
        return "its tags have values by now ; correct the source that was not read to its end";
    std::string strTags;
    for (const std::string& strName : in_names)
        strTags += (strTags.empty() ? "${" : ", ${") + shown(strName) + '}';
    if (in_names.size() == 1 && in_names.front() == in_ownName)
        return strTags + " stands for the line's own value ; write that value";
    return "no parameter and no environment variable is named " + strTags + " ; add the line \"" +
           shown(in_names.front()) + " = ...\", or correct the tag";
}

std::string ConfigurationAdvice::forTagOfNoString(std::string_view in_name,
                                                  ParameterValue::Type in_type)
{
    return "${" + shown(in_name) + "} is replaced by nothing, because its parameter is " +
           (in_type == ParameterValue::LONG_TYPE ? "LONG"
                                                 : ParameterValue::getTypeAsString(in_type)) +
           " and not STRING ; write the value itself";
}

std::string ConfigurationAdvice::forTooLongLine()
{
    return "shorten the line, or the values of its tags";
}

std::string ConfigurationAdvice::forDeprecated(std::string_view in_description)
{
    constexpr std::string_view use = "Use parameter ";
    if (!in_description.starts_with(use))
        return "delete the line";
    // The descriptions leave the first component out.
    const std::string strName = "keswardin." + std::string(in_description.substr(use.size()));
    const bool bKnown =
        ParameterInfoDB::getInstance().retrieveType(strName.c_str()) != ParameterValue::UNDEF_TYPE;
    return bKnown ? "write \"" + strName + " = ...\" instead" : std::string(in_description);
}

} // namespace Velmora
