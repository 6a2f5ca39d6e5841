// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/KnownType.h"

#include "velmora/logging/CallAppenderFactory.h"
#include "velmora/logging/FileAppender.h"
#include "velmora/logging/JsonLayout.h"
#include "velmora/logging/PatternLayout.h"
#include "velmora/logging/PropertyKind.h"
#include "velmora/logging/RemoteSyslogAppender.h"

#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/appender.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/spi/factory.h>
#include <log4cplus/spi/filter.h>

#include <algorithm>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace
{

/// The properties that were read while an object was made.
struct Reads
{
    std::set<std::string> names;
    /// Those that were read as bools.
    std::set<std::string> bools;
};

/// Only properties with this one are recorded, so that those of objects inside an object are not.
constexpr const char* s_szRecorded = "recorded";

Reads& reads()
{
    // The library reads properties before the statics of this program are made.
    static Reads& s_reads = *new Reads;
    return s_reads;
}

} // namespace

// These definitions take the place of those in log4cplus, for log4cplus as well as for the library,
// and record what is read.
namespace log4cplus::helpers
{

bool Properties::exists(const tstring& in_strName) const
{
    if (data.contains(s_szRecorded))
        reads().names.insert(in_strName);
    return data.contains(in_strName);
}

bool Properties::exists(const tchar* in_szName) const { return exists(tstring(in_szName)); }

const tstring& Properties::getProperty(const tstring& in_strName) const
{
    static const tstring& s_strNone = *new tstring;
    return exists(in_strName) ? data.at(in_strName) : s_strNone;
}

const tstring& Properties::getProperty(const tchar* in_szName) const
{
    return getProperty(tstring(in_szName));
}

tstring Properties::getProperty(const tstring& in_strName, const tstring& in_strDefault) const
{
    return exists(in_strName) ? data.at(in_strName) : in_strDefault;
}

bool Properties::getInt(int&, const tstring& in_strName) const { return exists(in_strName); }

bool Properties::getUInt(unsigned int&, const tstring& in_strName) const
{
    return exists(in_strName);
}

bool Properties::getLong(long&, const tstring& in_strName) const { return exists(in_strName); }

bool Properties::getULong(unsigned long&, const tstring& in_strName) const
{
    return exists(in_strName);
}

bool Properties::getBool(bool&, const tstring& in_strName) const
{
    if (data.contains(s_szRecorded))
        reads().bools.insert(in_strName);
    return exists(in_strName);
}

bool Properties::getString(tstring& out_strValue, const tstring& in_strName) const
{
    if (exists(in_strName))
        out_strValue = data.at(in_strName);
    return data.contains(in_strName);
}

} // namespace log4cplus::helpers

namespace Velmora::Test
{

namespace
{

using testing::ContainerEq;
using testing::UnorderedElementsAreArray;

/// Makes an object of each class that log4cplus has a factory for, and records what it reads.
class KnownTypes : public testing::Test
{
  protected:
    KnownTypes()
    {
        log4cplus::initialize();
        FileAppender::registerFactory();
        RemoteSyslogAppender::registerFactory();
        PatternLayout::registerFactory();
        JsonLayout::registerFactory();
    }

    /// Expects that the registry and the table have the same classes, and that each class reads the
    /// properties that the table has, beside the given ones.
    template <class Registry>
    void expectAllIn(Registry& inout_registry, std::span<const KnownType> in_types,
                     const std::set<std::string>& in_others)
    {
        std::vector<std::string> names;
        for (const KnownType& type : in_types)
            names.emplace_back(type.name);
        const std::vector<log4cplus::tstring> registered = inout_registry.getAllNames();
        EXPECT_THAT(names, UnorderedElementsAreArray(registered));
        for (const KnownType& type : in_types)
        {
            const std::string strName(type.name);
            SCOPED_TRACE(strName);
            auto* const pFactory = inout_registry.get(strName);
            ASSERT_NE(nullptr, pFactory);
            expectReads(*pFactory, type, in_others);
        }
    }

  private:
    template <class Factory>
    void expectReads(Factory& inout_factory, const KnownType& in_type,
                     const std::set<std::string>& in_others)
    {
        reads() = Reads();
        testing::internal::CaptureStderr();
        inout_factory.createObject(propertiesWith("ConversionPattern", "host"));
        inout_factory.createObject(propertiesWith("Pattern", "SyslogHost"));
        testing::internal::GetCapturedStderr();
        std::set<std::string> names = in_others;
        std::set<std::string> bools;
        for (const std::span<const KnownProperty>& group : in_type.properties)
            for (const KnownProperty& property : group)
            {
                names.emplace(property.name);
                if (property.pKind == &PropertyKind::s_bool)
                    bools.emplace(property.name);
            }
        // The inner appender of an `AsyncAppender`.
        reads().names.erase("Appender");
        EXPECT_THAT(reads().names, ContainerEq(names));
        // The library's own classes look whether a bool is set before they read it.
        if (in_type.name.starts_with("log4cplus"))
        {
            EXPECT_THAT(reads().bools, ContainerEq(bools));
        }
    }

    /// Returns what an object needs to read all of its properties.
    [[nodiscard]] log4cplus::helpers::Properties propertiesWith(const char* in_szPattern,
                                                                const char* in_szHost) const
    {
        log4cplus::helpers::Properties properties;
        properties.setProperty(s_szRecorded, "");
        properties.setProperty(in_szPattern, "%m");
        properties.setProperty("File", m_directory.file("log"));
        properties.setProperty("FilenamePattern", m_directory.file("log.%d"));
        properties.setProperty("Hostname", "127.0.0.1");
        properties.setProperty(in_szHost, "127.0.0.1");
        properties.setProperty("Appender", "log4cplus::NullAppender");
        return properties;
    }

    TemporaryDirectory m_directory;
};

} // namespace

TEST_F(KnownTypes, AreTheAppendersThatExistWithThePropertiesThatTheyRead)
{
    expectAllIn(log4cplus::spi::getAppenderFactoryRegistry(), KnownType::appenders(), {"layout"});
}

TEST_F(KnownTypes, AreTheLayoutsThatExistWithThePropertiesThatTheyRead)
{
    expectAllIn(log4cplus::spi::getLayoutFactoryRegistry(), KnownType::layouts(), {});
}

TEST_F(KnownTypes, AreTheFiltersThatExistWithThePropertiesThatTheyRead)
{
    expectAllIn(log4cplus::spi::getFilterFactoryRegistry(), KnownType::filters(), {});
}

TEST_F(KnownTypes, TheLocalesThatExistAreInTheHelpForALocale)
{
    for (const std::string& strName : log4cplus::spi::getLocaleFactoryRegistry().getAllNames())
    {
        // Each copy of the library finds the others through this registry.
        if (strName.starts_with("velmora::"))
            continue;
        EXPECT_THAT(PropertyKind::s_locale.szExpected, testing::HasSubstr(strName));
        EXPECT_TRUE(PropertyKind::s_locale.accepts(strName));
    }
}

TEST_F(KnownTypes, TheFilesOfCallsHaveTheNameOfTheirMarker)
{
    EXPECT_EQ(s_szCallLogAppender, KnownType::ofCallFiles().name);
}

} // namespace Velmora::Test
