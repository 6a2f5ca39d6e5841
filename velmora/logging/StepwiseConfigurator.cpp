// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/StepwiseConfigurator.h"

#include <log4cplus/helpers/loglog.h>
#include <log4cplus/nullappender.h>

#include <algorithm>
#include <string_view>

namespace Velmora
{

namespace
{

using log4cplus::SharedAppenderPtr;
using log4cplus::helpers::Properties;

constexpr const char* s_szAppender = "appender.";

} // namespace

StepwiseConfigurator::StepwiseConfigurator(const Properties& in_properties,
                                           log4cplus::Hierarchy& inout_shadow)
    : log4cplus::PropertyConfigurator(in_properties, inout_shadow)
{
    // This property would start threads, which the library must not leave in the program.
    properties.removeProperty("threadPoolSize");
}

bool StepwiseConfigurator::flag(const char* in_szName) const
{
    bool bValue = false;
    return properties.getBool(bValue, in_szName) && bValue;
}

void StepwiseConfigurator::setUpReports() const
{
    bool bValue = false;
    if (properties.getBool(bValue, "configDebug"))
        log4cplus::helpers::getLogLog().setInternalDebugging(bValue);
    if (properties.getBool(bValue, "quietMode"))
        log4cplus::helpers::getLogLog().setQuietMode(bValue);
}

void StepwiseConfigurator::makeAppenders(const AppendersInUse& in_inUse)
{
    appenders.clear();
    m_late.clear();
    const Properties whole = properties;
    const Properties sections = properties.getPropertySubset(s_szAppender);
    for (const std::string& strName : sections.propertyNames())
        if (strName.find('.') == std::string::npos &&
            in_inUse.isInTheWayOf(sections.getProperty(strName),
                                  sections.getPropertySubset(strName + ".")))
            m_late.emplace(strName, SharedAppenderPtr(new log4cplus::NullAppender));
    keepAppenders(whole,
                  [this](const std::string& in_strName) { return !m_late.contains(in_strName); });
    configureAppenders();
    properties = whole;
    appenders.insert(m_late.begin(), m_late.end());
}

StepwiseConfigurator::Replacements StepwiseConfigurator::makeLateAppenders()
{
    appenders.clear();
    keepAppenders(Properties(properties),
                  [this](const std::string& in_strName) { return m_late.contains(in_strName); });
    configureAppenders();
    Replacements made;
    for (const auto& [strName, pStandIn] : m_late)
        made.emplace_back(pStandIn, appenders[strName]);
    appenders.clear();
    return made;
}

void StepwiseConfigurator::putAppender(const char* in_szName, const SharedAppenderPtr& in_pAppender)
{
    appenders[in_szName] = in_pAppender;
}

void StepwiseConfigurator::setUpLoggers()
{
    configureLoggers();
    configureAdditivity();
}

bool StepwiseConfigurator::isStandIn(const SharedAppenderPtr& in_pAppender) const
{
    return std::any_of(m_late.begin(), m_late.end(),
                       [&](const auto& in_late) { return in_late.second == in_pAppender; });
}

bool StepwiseConfigurator::isInTheWay(const SharedAppenderPtr& in_pAppender) const
{
    AppendersInUse one;
    one.add(in_pAppender);
    const Properties sections = properties.getPropertySubset(s_szAppender);
    return std::any_of(m_late.begin(), m_late.end(),
                       [&](const auto& in_late)
                       {
                           return one.isInTheWayOf(sections.getProperty(in_late.first),
                                                   sections.getPropertySubset(in_late.first + "."));
                       });
}

/// Removes the sections of appenders that the function does not accept from the properties.
template <class Function>
void StepwiseConfigurator::keepAppenders(const Properties& in_whole, Function in_function)
{
    const std::string_view prefix = s_szAppender;
    for (const std::string& strProperty : in_whole.propertyNames())
        if (strProperty.starts_with(prefix) &&
            !in_function(strProperty.substr(prefix.size(),
                                            strProperty.find('.', prefix.size()) - prefix.size())))
            properties.removeProperty(strProperty);
}

} // namespace Velmora
