// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/DynLibsLoader.h"

#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterInfoDB.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/OpenedLibraries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* s_szLogger = "keswardin.infra.DynLibsLoader";
constexpr const char* s_szParam = "keswardin.startup.loadDynLibList";

/// Returns the libraries that a run opened, the results of its calls and its logged errors.
std::vector<std::string> openingsAndErrorsOfRun(const std::vector<std::string>& in_arguments)
{
    std::vector<std::string> lines =
        linesOfOpeningProgram(VELMORA_HELPER_DYNLIB_OPENS, VELMORA_HELPER_DYNLIB_A, in_arguments);
    std::erase_if(lines,
                  [](const std::string& in_strLine)
                  {
                      return in_strLine.starts_with("TRACE ") || in_strLine.starts_with("DEBUG ") ||
                             in_strLine.starts_with("INFO ") || in_strLine.starts_with("closed ");
                  });
    return lines;
}

std::string openedLine(const std::string& in_strName)
{
    return "opened lib" + in_strName + ".so NOW GLOBAL NODELETE";
}

std::string cannotFindLine(const std::string& in_strName)
{
    return "ERROR keswardin.infra.DynlibObjectFactory: Cannot find file \"lib" + in_strName +
           ".so\" (using the LD_LIBRARY_PATH environment variable) needed to create gateway "
           "interface \"" +
           in_strName + "\"";
}

std::string reasonLine(const std::string& in_strName)
{
    const std::string strNone = ": cannot open shared object file: No such file or directory";
    return "ERROR keswardin.infra.DynlibObjectFactory: cannot load " + in_strName + ": " +
           in_strName + strNone + "; " + in_strName + ".so" + strNone + "; lib" + in_strName +
           ".so" + strNone;
}

class ThrowingConfiguration : public ROConfiguration
{
  public:
    void getParameter(const char*, ParameterValue&) const override
    {
        throw std::runtime_error("broken");
    }
};

/// Returns the library names that are tried for a list. No such files need exist.
std::vector<std::string> namesTriedFor(const std::string& in_strList)
{
    ParameterHashMap configuration;
    configuration.setStringParameter(s_szParam, in_strList.c_str());
    const CapturedLog log;
    DynLibsLoader::loadDynLibs(configuration);
    const std::string strBegin = "Loading dynamic library ";
    std::vector<std::string> names;
    for (const LogLine& line : log.linesOf(s_szLogger))
        if (line.strText.starts_with(strBegin))
            names.push_back(line.strText.substr(strBegin.size()));
    return names;
}

} // namespace

TEST(DynLibsLoader, OpensOneLibraryThatStays)
{
    EXPECT_THAT(openingsAndErrorsOfRun({"load=dynlib-a", "call=answer_a"}),
                ElementsAre(openedLine("dynlib-a"), "load=dynlib-a: 1", "call=answer_a: 97"));
}

TEST(DynLibsLoader, ReportsThatOneLibraryCannotBeOpened)
{
    EXPECT_THAT(openingsAndErrorsOfRun({"load=dynlib-none"}),
                ElementsAre(cannotFindLine("dynlib-none"), reasonLine("dynlib-none"),
                            "load=dynlib-none: 0"));
}

TEST(DynLibsLoader, LogsWhatItLoads)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    EXPECT_FALSE(DynLibsLoader::loadDynLib("dynlib-none"));
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(traceLine(s_szLogger, "entering DynLibsLoader::loadDynLib(const char*)"),
                    debugLine(s_szLogger, "Loading dynamic library dynlib-none"),
                    traceLine(s_szLogger, "exiting DynLibsLoader::loadDynLib(const char*)")));
}

TEST(DynLibsLoader, OpensAVectorInItsOrder)
{
    EXPECT_THAT(openingsAndErrorsOfRun({"vector=dynlib-b,dynlib-c,dynlib-a"}),
                ElementsAre(openedLine("dynlib-b"), openedLine("dynlib-c"), openedLine("dynlib-a"),
                            "vector=dynlib-b,dynlib-c,dynlib-a: 1"));
}

TEST(DynLibsLoader, OpensTheRestOfAVectorAfterAFailure)
{
    EXPECT_THAT(openingsAndErrorsOfRun({"vector=dynlib-none,dynlib-a,dynlib-nil,dynlib-b"}),
                ElementsAre(cannotFindLine("dynlib-none"), reasonLine("dynlib-none"),
                            openedLine("dynlib-a"), cannotFindLine("dynlib-nil"),
                            reasonLine("dynlib-nil"), openedLine("dynlib-b"),
                            "vector=dynlib-none,dynlib-a,dynlib-nil,dynlib-b: 0"));
}

TEST(DynLibsLoader, AnEmptyVectorIsNoFailure)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    EXPECT_TRUE(DynLibsLoader::loadDynLibs(std::vector<std::string>()));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            traceLine(s_szLogger, "entering DynLibsLoader::loadDynLibs(const vector<string>&)"),
            traceLine(s_szLogger, "exiting DynLibsLoader::loadDynLibs(const vector<string>&)")));
}

TEST(DynLibsLoader, AnEmptyListLoadsNothingAndIsNoFailure)
{
    ParameterHashMap configuration;
    configuration.setStringParameter(s_szParam, "");
    const CapturedLog log(TRACE_LOG_LEVEL);
    EXPECT_TRUE(DynLibsLoader::loadDynLibs(configuration));
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(
            traceLine(s_szLogger, "entering DynLibsLoader::loadDynLibs(const ROConfiguration&)"),
            traceLine(s_szLogger, "exiting DynLibsLoader::loadDynLibs(const ROConfiguration&)")));
}

TEST(DynLibsLoader, TheDefaultListLoadsNothing)
{
    ParameterHashMap configuration;
    ParameterInfoDB::getInstance().addDefaultsToConfig(configuration, false);
    std::string strList = "none";
    ASSERT_TRUE(configuration.getStringParameter(s_szParam, strList));
    EXPECT_EQ("", strList);
    const CapturedLog log;
    EXPECT_TRUE(DynLibsLoader::loadDynLibs(configuration));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(DynLibsLoader, NoListIsNoFailure)
{
    const CapturedLog log;
    EXPECT_TRUE(DynLibsLoader::loadDynLibs(ParameterHashMap()));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(DynLibsLoader, AListOfAnotherTypeIsNone)
{
    ParameterHashMap configuration;
    configuration.setIntParameter(s_szParam, 5);
    const CapturedLog log;
    EXPECT_TRUE(DynLibsLoader::loadDynLibs(configuration));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(DynLibsLoader, AListOpensItsLibrariesInTheirOrder)
{
    EXPECT_THAT(openingsAndErrorsOfRun({"list=dynlib-a, dynlib-b,,dynlib-c"}),
                ElementsAre(openedLine("dynlib-a"), openedLine("dynlib-b"), openedLine("dynlib-c"),
                            "list=dynlib-a, dynlib-b,,dynlib-c: 1"));
}

TEST(DynLibsLoader, AListOpensTheRestAfterAFailure)
{
    EXPECT_THAT(openingsAndErrorsOfRun({"list=dynlib-none,dynlib-b"}),
                ElementsAre(cannotFindLine("dynlib-none"), reasonLine("dynlib-none"),
                            openedLine("dynlib-b"), "list=dynlib-none,dynlib-b: 0"));
    EXPECT_THAT(openingsAndErrorsOfRun({"list=dynlib-b,dynlib-none"}),
                ElementsAre(openedLine("dynlib-b"), cannotFindLine("dynlib-none"),
                            reasonLine("dynlib-none"), "list=dynlib-b,dynlib-none: 0"));
}

TEST(DynLibsLoader, AListIsSeparatedByCommasAndBlanks)
{
    EXPECT_THAT(namesTriedFor("a, b,,c"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(namesTriedFor("a b c"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(namesTriedFor(" ,a, ,b , "), ElementsAre("a", "b"));
    EXPECT_THAT(namesTriedFor(", ,"), IsEmpty());
}

TEST(DynLibsLoader, NothingElseSeparatesAList)
{
    EXPECT_THAT(namesTriedFor("a\tb;c:d,e"), ElementsAre("a\tb;c:d", "e"));
}

TEST(DynLibsLoader, AnExceptionOfTheConfigurationIsAFailure)
{
    const CapturedLog log;
    EXPECT_FALSE(DynLibsLoader::loadDynLibs(ThrowingConfiguration()));
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger,
                                      "Unexpected std::exception broken caught in loadDynLibs() "
                                      "with keswardin.startup.loadDynLibList: \"\"")));
}

TEST(DynLibsLoader, AnExceptionWhileALibraryIsOpenedEndsTheList)
{
    ParameterHashMap configuration;
    configuration.setStringParameter(s_szParam, "dynlib-none, dynlib-nil,dynlib-more");
    const CapturedLog log;
    const CallbackAppender thrower(
        [](const std::string& in_strText)
        {
            if (in_strText.starts_with("Loading dynamic library dynlib-nil"))
                throw std::runtime_error("broken");
        });
    EXPECT_FALSE(DynLibsLoader::loadDynLibs(configuration));
    EXPECT_THAT(log.linesOf(s_szLogger),
                ElementsAre(debugLine(s_szLogger, "Loading dynamic library dynlib-none"),
                            debugLine(s_szLogger, "Loading dynamic library dynlib-nil"),
                            errorLine(s_szLogger,
                                      "Unexpected std::exception broken caught in loadDynLibs() "
                                      "with keswardin.startup.loadDynLibList: "
                                      "\"dynlib-none, dynlib-nil,dynlib-more\"")));
}

} // namespace Velmora::Test
