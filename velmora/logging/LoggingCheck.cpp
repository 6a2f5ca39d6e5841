// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LoggingCheck.h"

#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/KnownType.h"
#include "velmora/logging/PropertyKind.h"
#include "velmora/system/LevinsteinDistanceScan.h"

#include <log4cplus/spi/factory.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <set>
#include <span>
#include <string_view>
#include <utility>

namespace Velmora
{

namespace
{

using log4cplus::helpers::Properties;

constexpr std::string_view s_strPrefix = "log4cplus.";
constexpr std::string_view s_strRoot = "rootLogger";
constexpr std::string_view s_strLogger = "logger.";
constexpr std::string_view s_strAppender = "appender.";
constexpr std::string_view s_strAdditivity = "additivity.";
constexpr std::string_view s_strLayout = "layout";
constexpr std::string_view s_strFilters = "filters";
/// The appender in an `AsyncAppender`, and the name of its property.
constexpr std::string_view s_strAsyncAppender = "log4cplus::AsyncAppender";
constexpr std::string_view s_strInner = "Appender";
constexpr const char* s_szInherited = "INHERITED";
constexpr const char* s_szRemove = "remove it";

constexpr KnownProperty s_settings[] = {{"threadPoolSize", &PropertyKind::s_natural},
                                        {"configDebug", &PropertyKind::s_bool},
                                        {"quietMode", &PropertyKind::s_bool},
                                        {"disableOverride", &PropertyKind::s_bool}};
constexpr KnownType s_section{"log4cplus", {s_settings}};

using Names = std::vector<std::string_view>;

std::string lowerCaseOf(std::string_view in_text)
{
    std::string strLower(in_text);
    std::transform(strLower.begin(), strLower.end(), strLower.begin(),
                   [](char in_c) { return in_c >= 'A' && in_c <= 'Z' ? char(in_c + 32) : in_c; });
    return strLower;
}

/// Returns the name that is closest to a wrong one, whatever the case; empty if none is close.
std::string_view closestOf(std::string_view in_wrong, const Names& in_names)
{
    LevinsteinDistanceScan scan(lowerCaseOf(in_wrong));
    std::string_view closest;
    std::size_t uiSmallest = in_wrong.size() / 3 + 1;
    for (const std::string_view name : in_names)
        if (const std::size_t uiDistance = scan.distance(lowerCaseOf(name));
            uiDistance < uiSmallest)
        {
            uiSmallest = uiDistance;
            closest = name;
        }
    return closest;
}

Names namesOf(const KnownType& in_type)
{
    Names names;
    for (const std::span<const KnownProperty>& group : in_type.properties)
        for (const KnownProperty& property : group)
            names.push_back(property.name);
    return names;
}

Names namesOf(std::span<const KnownType> in_types)
{
    Names names;
    for (const KnownType& type : in_types)
        names.push_back(type.name);
    return names;
}

std::string_view firstComponentOf(std::string_view in_name)
{
    return in_name.substr(0, in_name.find('.'));
}

std::string joined(std::string_view in_first, std::string_view in_second,
                   std::string_view in_third = {})
{
    return std::string(in_first).append(in_second).append(in_third);
}

std::string inQuotes(std::string_view in_text) { return joined("\"", in_text, "\""); }

/// Returns whether log4cplus replaces a part of the text.
bool hasTag(std::string_view in_text) { return in_text.find("${") != std::string_view::npos; }

/// Splits the value of a logger as log4cplus does, into its level and the names of appenders.
std::vector<std::string> elementsOf(std::string in_strList)
{
    std::erase(in_strList, ' ');
    std::vector<std::string> elements;
    std::size_t uiBegin = 0;
    while (uiBegin <= in_strList.size())
    {
        const std::size_t uiEnd = std::min(in_strList.find(',', uiBegin), in_strList.size());
        elements.push_back(in_strList.substr(uiBegin, uiEnd - uiBegin));
        uiBegin = uiEnd + 1;
    }
    return elements;
}

/// The kinds of classes that a configuration names.
struct Family
{
    std::span<const KnownType> types;
    bool (*isRegistered)(const std::string& in_strName);
    const char* szNoun;
};

std::string markerName() { return std::string(KnownType::ofCallFiles().name); }

const Family& appenderFamily()
{
    static const Family s_family{
        KnownType::appenders(),
        [](const std::string& in_strName)
        { return log4cplus::spi::getAppenderFactoryRegistry().exists(in_strName); },
        "appenders"};
    return s_family;
}

const Family& layoutFamily()
{
    static const Family s_family{
        KnownType::layouts(),
        [](const std::string& in_strName)
        { return log4cplus::spi::getLayoutFactoryRegistry().exists(in_strName); },
        "layouts"};
    return s_family;
}

const Family& filterFamily()
{
    static const Family s_family{
        KnownType::filters(),
        [](const std::string& in_strName)
        { return log4cplus::spi::getFilterFactoryRegistry().exists(in_strName); },
        "filters"};
    return s_family;
}

/// One check of a section, whose keys here have no "log4cplus." in front.
class Check
{
  public:
    explicit Check(const Properties& in_properties)
        : m_properties(in_properties.getPropertySubset(std::string(s_strPrefix))),
          m_keys(m_properties.propertyNames())
    {
    }

    LoggingCheck::Problems run()
    {
        findAppenders();
        for (const std::string& strKey : m_keys)
            checkKey(strKey);
        checkUse();
        return std::move(m_problems);
    }

  private:
    void findAppenders()
    {
        for (const std::string& strKey : m_keys)
            if (strKey.starts_with(s_strAppender) && !hasTag(strKey) &&
                strKey.find('.', s_strAppender.size()) == std::string::npos)
                m_appenders.insert(strKey.substr(s_strAppender.size()));
        if (m_appenders.contains(markerName()))
            m_strMarker = markerName();
        else
            findMisspeltMarker();
    }

    /// A marker with a wrong name is an appender that drops all lines, so calls have no files.
    void findMisspeltMarker()
    {
        const auto found = std::find_if(
            m_appenders.begin(), m_appenders.end(),
            [this](const std::string& in_strName)
            {
                return !closestOf(in_strName, {KnownType::ofCallFiles().name}).empty() &&
                       m_properties.exists(joined(s_strAppender, in_strName, ".Directory"));
            });
        if (found != m_appenders.end())
            m_strMarker = *found;
    }

    void checkKey(const std::string& in_strKey)
    {
        if (hasTag(in_strKey))
            return;
        if (in_strKey == s_strRoot || in_strKey.starts_with(s_strLogger))
            checkLogger(in_strKey);
        else if (in_strKey.starts_with(s_strAdditivity))
            checkValue(in_strKey, PropertyKind::s_bool, false);
        else if (in_strKey.starts_with(s_strAppender))
            checkLineOfAppender(in_strKey);
        else if (const KnownProperty* const pSetting = s_section.find(in_strKey))
            checkValue(in_strKey, *pSetting->pKind, false);
        else
            addUnknownOfSection(in_strKey);
    }

    void addUnknownOfSection(const std::string& in_strKey)
    {
        const std::string_view first = firstComponentOf(in_strKey);
        const std::string_view rest = std::string_view(in_strKey).substr(first.size());
        // Some names end the key, and some have more behind them.
        Names names;
        if (rest.empty())
        {
            names = namesOf(s_section);
            names.insert(names.begin(), s_strRoot);
        }
        else
            names = {"logger", "appender", "additivity"};
        const std::string_view closest = closestOf(first, names);
        add(in_strKey, closest.empty() ? "" : fullName(joined(closest, rest)),
            " has no effect: log4cplus has no " + inQuotes(in_strKey),
            "remove it. The names below log4cplus are rootLogger, logger.<name>, appender.<name>, "
            "additivity.<name>, " +
                s_section.namesOfProperties());
    }

    // Loggers.

    void checkLogger(const std::string& in_strKey)
    {
        const std::string& strValue = m_properties.getProperty(in_strKey);
        if (hasTag(strValue))
        {
            m_bUsesAreKnown = false;
            return;
        }
        const std::vector<std::string> elements = elementsOf(strValue);
        if (!strValue.empty())
            checkLevel(in_strKey, elements.front());
        for (std::size_t ui = 1; ui < elements.size(); ++ui)
            if (!elements[ui].empty())
                checkAppenderOfLogger(in_strKey, elements[ui]);
    }

    void checkLevel(const std::string& in_strKey, const std::string& in_strLevel)
    {
        const bool bRoot = in_strKey == s_strRoot;
        if ((!bRoot && in_strLevel == s_szInherited) || PropertyKind::s_level.accepts(in_strLevel))
            return;
        Names names{"OFF", "FATAL", "ERROR", "WARN", "INFO", "DEBUG", "TRACE", "ALL"};
        if (!bRoot)
            names.push_back(s_szInherited);
        add(in_strKey, closestOf(in_strLevel, names),
            " : " + inQuotes(in_strLevel) + " is no level",
            joined("write OFF, FATAL, ERROR, WARN, INFO, DEBUG, TRACE or ALL",
                   bRoot ? "" : ", or INHERITED"));
    }

    void checkAppenderOfLogger(const std::string& in_strKey, const std::string& in_strName)
    {
        m_used.insert(in_strName);
        if (m_appenders.contains(in_strName))
            return;
        if (in_strName == markerName() && !m_strMarker.empty())
        {
            // The name of its section is the wrong one.
            m_used.insert(m_strMarker);
            return;
        }
        const std::string_view closest =
            closestOf(in_strName, Names(m_appenders.begin(), m_appenders.end()));
        m_used.emplace(closest);
        add(in_strKey, closest, " : there is no appender " + inQuotes(in_strName),
            "add " + fullName(joined(s_strAppender, in_strName)) + " or remove it from the list");
    }

    void checkUse()
    {
        if (!m_bUsesAreKnown)
            return;
        for (const std::string& strName : m_appenders)
            if (!m_used.contains(strName))
                add(joined(s_strAppender, strName), "", " is used by no logger",
                    "add " + strName + " to the list of one, or remove the appender");
    }

    // Appenders.

    void checkLineOfAppender(const std::string& in_strKey)
    {
        const std::string_view rest = std::string_view(in_strKey).substr(s_strAppender.size());
        const std::string strName(firstComponentOf(rest));
        if (rest.size() == strName.size())
            checkAppender(in_strKey, strName);
        // The program may add the marker itself. A logger whose list has it is reported.
        else if (strName != markerName() && !m_appenders.contains(strName) &&
                 m_withoutClass.insert(strName).second)
        {
            // Reported once for all lines of the appender.
            const std::string_view closest =
                closestOf(strName, Names(m_appenders.begin(), m_appenders.end()));
            add(in_strKey,
                closest.empty()
                    ? ""
                    : fullName(joined(s_strAppender, closest, rest.substr(strName.size()))),
                " has no effect: there is no appender " + inQuotes(strName),
                "add " + fullName(joined(s_strAppender, strName)) + " with its class");
        }
    }

    void checkAppender(const std::string& in_strKey, const std::string& in_strName)
    {
        if (in_strName != m_strMarker)
            return checkAppenderAt(in_strKey, nullptr);
        if (in_strName != markerName())
            add(in_strKey, markerName(), " is not the marker of the files of calls", s_szRemove);
        checkAppenderAt(in_strKey, &KnownType::ofCallFiles());
    }

    /// Checks an appender, which may be inside another one. Properties of the other type are known
    /// as well, unless it is null.
    void checkAppenderAt(const std::string& in_strKey, const KnownType* in_pOther)
    {
        const KnownType* const pType = typeAt(in_strKey, appenderFamily());
        if (pType == nullptr)
            return;
        const bool bAsync = pType->name == s_strAsyncAppender;
        const Properties properties = m_properties.getPropertySubset(in_strKey + '.');
        Names others{s_strLayout, s_strFilters};
        if (bAsync)
            others.push_back(s_strInner);
        checkProperties(in_strKey, *pType, in_pOther, others);
        const std::string strLayout = joined(in_strKey, ".", s_strLayout);
        checkLayout(in_strKey, strLayout, pType->bUsesLayout || in_pOther != nullptr);
        checkFilters(joined(in_strKey, ".", s_strFilters));
        if (const std::string strInner = joined(in_strKey, ".", s_strInner);
            bAsync && m_properties.exists(strInner))
            checkAppenderAt(strInner, nullptr);
    }

    /// Returns the type that a class is known as, and reports a class that does not exist. Returns
    /// null if the properties cannot be checked.
    const KnownType* typeAt(const std::string& in_strKey, const Family& in_family)
    {
        const std::string& strClass = m_properties.getProperty(in_strKey);
        const KnownType* const pType = KnownType::find(in_family.types, strClass);
        if (pType == nullptr && !hasTag(strClass) && !in_family.isRegistered(strClass))
            add(in_strKey, closestOf(strClass, namesOf(in_family.types)),
                " has no effect: there is no such class of " + std::string(in_family.szNoun),
                "write one such as " + std::string(in_family.types.front().name) +
                    ", or let the program register its own before it configures logging");
        return pType;
    }

    /// Checks the properties of an object, except those that belong to objects inside it, which
    /// begin with one of the other names.
    void checkProperties(const std::string& in_strKey, const KnownType& in_type,
                         const KnownType* in_pOther, const Names& in_others)
    {
        const std::string strBegin = in_strKey + '.';
        for (const std::string& strName : m_properties.getPropertySubset(strBegin).propertyNames())
        {
            if (hasTag(strName) || std::find(in_others.begin(), in_others.end(),
                                             firstComponentOf(strName)) != in_others.end())
                continue;
            const KnownProperty* pProperty = in_type.find(strName);
            if (pProperty == nullptr && in_pOther != nullptr)
                pProperty = in_pOther->find(strName);
            if (pProperty != nullptr)
                checkValue(strBegin + strName, *pProperty->pKind, in_type.bReports);
            else
                addUnknownProperty(strBegin, strName, in_type, in_pOther, in_others);
        }
        for (const std::span<const KnownProperty>& group : in_type.properties)
            for (const KnownProperty& property : group)
                if (property.bRequired)
                    checkRequired(in_strKey, property);
    }

    void addUnknownProperty(const std::string& in_strBegin, const std::string& in_strName,
                            const KnownType& in_type, const KnownType* in_pOther,
                            const Names& in_others)
    {
        Names names = namesOf(in_type);
        std::string strNames = in_type.namesOfProperties();
        if (in_pOther != nullptr)
        {
            const Names ofOther = namesOf(*in_pOther);
            names.insert(names.begin(), ofOther.begin(), ofOther.end());
            strNames =
                joined(in_pOther->namesOfProperties(), strNames.empty() ? "" : ", ", strNames);
        }
        const std::string_view first = firstComponentOf(in_strName);
        const std::string_view rest = std::string_view(in_strName).substr(first.size());
        if (rest.empty())
            names.insert(names.end(), in_others.begin(), in_others.end());
        else
            names = in_others;
        const std::string_view closest = closestOf(first, names);
        add(in_strBegin + in_strName,
            closest.empty() ? "" : fullName(joined(in_strBegin, closest, rest)),
            " has no effect: " + std::string(in_type.name) + " has no property " +
                inQuotes(in_strName),
            strNames.empty() ? s_szRemove : "remove it. The properties are " + strNames,
            in_type.bReports);
    }

    void checkRequired(const std::string& in_strKey, const KnownProperty& in_property)
    {
        const std::string strKey = joined(in_strKey, ".", in_property.name);
        // An object without the right name has another report for the wrong one.
        if (m_properties.exists(strKey) || m_suggested.contains(fullName(strKey)) ||
            (in_property.name == "ConversionPattern" &&
             m_properties.exists(in_strKey + ".Pattern")))
            return;
        add(in_strKey, "", " has no " + std::string(in_property.name), "add " + fullName(strKey));
    }

    void checkValue(const std::string& in_strKey, const PropertyKind& in_kind, bool in_bReports)
    {
        const std::string& strValue = m_properties.getProperty(in_strKey);
        if (!hasTag(strValue) && !in_kind.accepts(strValue))
            add(in_strKey, "", " is not valid", joined("write ", in_kind.szExpected), in_bReports);
    }

    // Layouts and filters.

    void checkLayout(const std::string& in_strOwner, const std::string& in_strKey, bool in_bNeeded)
    {
        if (m_properties.exists(in_strKey))
        {
            if (const KnownType* const pType = typeAt(in_strKey, layoutFamily()))
                checkProperties(in_strKey, *pType, nullptr, {});
            return;
        }
        if (m_suggested.contains(fullName(in_strKey)))
            return;
        const std::vector<std::string> names =
            m_properties.getPropertySubset(in_strKey + '.').propertyNames();
        const std::string strWhatToWrite = "add " + fullName(in_strKey) + " with its class";
        if (!names.empty())
            add(joined(in_strKey, ".", names.front()), "",
                " has no effect: the appender has no layout", strWhatToWrite);
        else if (in_bNeeded)
            add(in_strOwner, "",
                " has no layout, so its lines are only the level and the text, without a time",
                strWhatToWrite);
    }

    void checkFilters(const std::string& in_strKey)
    {
        const Properties filters = m_properties.getPropertySubset(in_strKey + '.');
        // log4cplus counts from 1 on, and stops at the first number that it does not find.
        int iNext = 1;
        for (; filters.exists(std::to_string(iNext)); ++iNext)
            if (const std::string strFilter = joined(in_strKey, ".", std::to_string(iNext));
                const KnownType* const pType = typeAt(strFilter, filterFamily()))
                checkProperties(strFilter, *pType, nullptr, {});
        for (const std::string& strName : filters.propertyNames())
        {
            const std::string strNumber(firstComponentOf(strName));
            if (hasTag(strName) || isNumberBelow(strNumber, iNext))
                continue;
            const std::string strNext = joined(in_strKey, ".", std::to_string(iNext));
            add(joined(in_strKey, ".", strName), "",
                " has no effect: filters are numbered from 1 on without a gap",
                "write " + fullName(strNext) + " instead of " +
                    fullName(joined(in_strKey, ".", strNumber)));
        }
    }

    static bool isNumberBelow(const std::string& in_strNumber, int in_iEnd)
    {
        for (int i = 1; i < in_iEnd; ++i)
            if (in_strNumber == std::to_string(i))
                return true;
        return false;
    }

    static std::string fullName(std::string_view in_key) { return joined(s_strPrefix, in_key); }

    /// Adds a problem. The text says what to do if nothing known is close.
    void add(const std::string& in_strKey, std::string_view in_closest, std::string_view in_what,
             std::string_view in_otherwise, bool in_bReportedByOwner = false)
    {
        LoggingProblem problem;
        problem.strKey = fullName(in_strKey);
        problem.strValue = m_properties.getProperty(in_strKey);
        problem.strClosest = in_closest;
        problem.strText = joined(problem.strKey, " = ", problem.strValue);
        problem.strText.append(in_what).append("; ");
        if (in_closest.empty())
            problem.strText.append(in_otherwise);
        else
            problem.strText.append("write ").append(in_closest);
        problem.bReportedByOwner = in_bReportedByOwner;
        m_suggested.insert(problem.strClosest);
        m_problems.push_back(std::move(problem));
    }

    const Properties m_properties;
    /// In the order of the alphabet.
    const std::vector<std::string> m_keys;
    std::set<std::string> m_appenders;
    /// The appender that has the section of the marker; empty if there is none.
    std::string m_strMarker;
    std::set<std::string> m_used;
    /// Whether the lists of all loggers are known.
    bool m_bUsesAreKnown = true;
    /// Names that have properties but no class.
    std::set<std::string> m_withoutClass;
    /// What to write instead of wrong names, so that none of these is reported as missing.
    std::set<std::string> m_suggested;
    LoggingCheck::Problems m_problems;
};

} // namespace

LoggingCheck::Problems LoggingCheck::problemsOf(const ParameterTrie& in_trie)
{
    Properties properties;
    in_trie.convertTo(properties);
    return problemsOf(properties);
}

LoggingCheck::Problems LoggingCheck::problemsOf(const Properties& in_properties)
{
    return Check(in_properties).run();
}

void LoggingCheck::removeReportedByOwner(const Problems& in_problems, Properties& inout_properties)
{
    for (const LoggingProblem& problem : in_problems)
        if (problem.bReportedByOwner)
            inout_properties.removeProperty(problem.strKey);
}

} // namespace Velmora
