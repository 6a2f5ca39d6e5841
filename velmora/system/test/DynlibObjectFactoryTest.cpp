// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/DynlibObjectFactory.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/OpenedLibraries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <type_traits>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* s_szLogger = "keswardin.infra.DynlibObjectFactory";

/// Returns the name of a test library with its directory.
std::string libraryWithDirectory(const std::string& in_strName)
{
    return std::filesystem::path(VELMORA_HELPER_DYNLIB_A).parent_path() / in_strName;
}

std::string openingText(const std::string& in_strName)
{
    return "Opening library " + in_strName + " with RTLD_NOW | RTLD_GLOBAL | RTLD_NODELETE\n";
}

std::string cannotFindText(const std::string& in_strName)
{
    return "Cannot find file \"lib" + in_strName +
           ".so\" (using the LD_LIBRARY_PATH environment variable) needed to create gateway "
           "interface \"" +
           in_strName + "\"";
}

/// Returns the logged reason for a file that is found under none of its names.
std::string reasonText(const std::string& in_strName)
{
    const std::string strNone = ": cannot open shared object file: No such file or directory";
    return "cannot load " + in_strName + ": " + in_strName + strNone + "; " + in_strName + ".so" +
           strNone + "; lib" + in_strName + ".so" + strNone;
}

/// Returns the output of a run, with its log.
std::vector<std::string> linesOfRun(const std::vector<std::string>& in_arguments)
{
    return linesOfOpeningProgram(VELMORA_HELPER_DYNLIB_OPENS, VELMORA_HELPER_DYNLIB_A,
                                 in_arguments);
}

std::vector<std::string> linesThatBegin(const std::vector<std::string>& in_lines,
                                        std::initializer_list<const char*> in_begins)
{
    std::vector<std::string> result;
    std::copy_if(in_lines.begin(), in_lines.end(), std::back_inserter(result),
                 [&in_begins](const std::string& in_strLine)
                 {
                     return std::any_of(in_begins.begin(), in_begins.end(),
                                        [&in_strLine](const char* in_szBegin)
                                        { return in_strLine.starts_with(in_szBegin); });
                 });
    return result;
}

/// A factory that gives a test access to its library.
class Factory : public DynlibObjectFactoryNoT
{
  public:
    [[nodiscard]] const void* symbol(const char* in_szName) const
    {
        return m_hDLL->symbol(in_szName);
    }
    [[nodiscard]] const ACE_DLL* dll() const { return m_hDLL.get(); }
};

} // namespace

TEST(DynlibObjectFactory, HasNoVirtualOperations)
{
    EXPECT_FALSE(std::is_polymorphic_v<DynlibObjectFactoryNoT>);
}

TEST(DynlibObjectFactory, LogsWhatItOpens)
{
    const std::string strName = libraryWithDirectory("dynlib-a");
    const CapturedLog log;
    Factory factory;
    EXPECT_TRUE(factory.openDynlib(strName.c_str()));
    EXPECT_THAT(log.linesOf(s_szLogger),
                ElementsAre(debugLine(s_szLogger, "DynlibObjectFactoryNoT::openDynlib : "
                                                  "in_szDynLibBasename=" +
                                                      strName),
                            debugLine(s_szLogger, openingText(strName))));
}

TEST(DynlibObjectFactory, LogsThatAFileIsNotFound)
{
    const CapturedLog log;
    Factory factory;
    EXPECT_FALSE(factory.openDynlib("dynlib-none"));
    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine(s_szLogger, "DynlibObjectFactoryNoT::openDynlib : "
                                                  "in_szDynLibBasename=dynlib-none"),
                            debugLine(s_szLogger, openingText("dynlib-none")),
                            errorLine(s_szLogger, cannotFindText("dynlib-none")),
                            errorLine(s_szLogger, reasonText("dynlib-none"))));
}

TEST(DynlibObjectFactory, TracesItsScopesInTheirOrder)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    {
        Factory factory;
        factory.openDynlib("dynlib-none");
    }
    const std::string strOpen = "DynlibObjectFactoryNoT::openDynlib";
    const std::string strCtor = "DynlibObjectFactoryNoT::DLLPtr ctor";
    EXPECT_THAT(log.linesOf(s_szLogger),
                ElementsAre(traceLine(s_szLogger, "entering " + strOpen),
                            debugLine(s_szLogger, strOpen + " : in_szDynLibBasename=dynlib-none"),
                            traceLine(s_szLogger, "entering " + strCtor),
                            traceLine(s_szLogger, "exiting " + strCtor),
                            debugLine(s_szLogger, openingText("dynlib-none")),
                            errorLine(s_szLogger, cannotFindText("dynlib-none")),
                            errorLine(s_szLogger, reasonText("dynlib-none")),
                            traceLine(s_szLogger, "exiting " + strOpen),
                            traceLine(s_szLogger, "entering ~DynlibObjectFactoryNoT"),
                            traceLine(s_szLogger, "exiting ~DynlibObjectFactoryNoT")));
}

TEST(DynlibObjectFactory, GivesADerivedFactoryTheSymbols)
{
    Factory factory;
    EXPECT_EQ(nullptr, factory.dll());
    ASSERT_TRUE(factory.openDynlib(libraryWithDirectory("dynlib-a").c_str()));
    EXPECT_NE(nullptr, factory.symbol("answer_a"));
}

TEST(DynlibObjectFactory, ReplacesTheLibraryThatItHeld)
{
    Factory factory;
    ASSERT_TRUE(factory.openDynlib(libraryWithDirectory("dynlib-a").c_str()));
    ASSERT_TRUE(factory.openDynlib(libraryWithDirectory("dynlib-b").c_str()));
    EXPECT_EQ(nullptr, factory.symbol("answer_a"));
    EXPECT_NE(nullptr, factory.symbol("answer_b"));
}

TEST(DynlibObjectFactory, HoldsNoLibraryAfterAFailure)
{
    Factory factory;
    ASSERT_TRUE(factory.openDynlib(libraryWithDirectory("dynlib-a").c_str()));
    ASSERT_FALSE(factory.openDynlib("dynlib-none"));
    EXPECT_EQ(nullptr, factory.symbol("answer_a"));
}

TEST(DynlibObjectFactory, OpensTheSameLibraryTwiceWithTwoObjects)
{
    Factory first;
    Factory second;
    const std::string strName = libraryWithDirectory("dynlib-a");
    ASSERT_TRUE(first.openDynlib(strName.c_str()));
    ASSERT_TRUE(second.openDynlib(strName.c_str()));
    EXPECT_NE(first.dll(), second.dll());
    EXPECT_EQ(first.symbol("answer_a"), second.symbol("answer_a"));
}

TEST(DynlibObjectFactory, OpensALibraryThatCouldNotBeOpenedBefore)
{
    const std::vector<std::string> lines =
        linesOfRun({"open=dynlib-needs-a", "open=dynlib-a", "open=dynlib-needs-a"});
    EXPECT_THAT(
        linesThatBegin(lines, {"open="}),
        ElementsAre("open=dynlib-needs-a: 0", "open=dynlib-a: 1", "open=dynlib-needs-a: 1"));
}

TEST(DynlibObjectFactory, ResolvesAllAtOnceForAllAndForever)
{
    EXPECT_THAT(linesOfRun({"open=dynlib-a"}),
                Contains("opened libdynlib-a.so NOW GLOBAL NODELETE"));
}

TEST(DynlibObjectFactory, AnUnresolvedSymbolReadsAsAFileThatIsNotFoundExceptForTheReason)
{
    EXPECT_THAT(linesThatBegin(linesOfRun({"open=dynlib-needs-a", "call=answerThroughA"}),
                               {"ERROR ", "open=", "opened ", "call="}),
                ElementsAre("ERROR keswardin.infra.DynlibObjectFactory: " +
                                cannotFindText("dynlib-needs-a"),
                            AllOf(StartsWith("ERROR keswardin.infra.DynlibObjectFactory: cannot "
                                             "load dynlib-needs-a: "),
                                  HasSubstr("libdynlib-needs-a.so: undefined symbol: ")),
                            "open=dynlib-needs-a: 0", "call=answerThroughA: -1"));
}

TEST(DynlibObjectFactory, ALibrarySeesTheSymbolsOfThoseOpenedBefore)
{
    EXPECT_THAT(
        linesThatBegin(linesOfRun({"open=dynlib-a", "open=dynlib-needs-a", "call=answerThroughA"}),
                       {"ERROR ", "open=", "call="}),
        ElementsAre("open=dynlib-a: 1", "open=dynlib-needs-a: 1", "call=answerThroughA: 97"));
}

TEST(DynlibObjectFactory, TheConstructorsOfALibraryLogBeforeItIsOpen)
{
    EXPECT_THAT(linesThatBegin(linesOfRun({"open=dynlib-a"}), {"INFO ", "opened ", "open="}),
                ElementsAre("INFO keswardin.test.a: constructor of a",
                            "opened libdynlib-a.so NOW GLOBAL NODELETE", "open=dynlib-a: 1",
                            "INFO keswardin.test.a: exit entry of a"));
}

TEST(DynlibObjectFactory, TheEndOfTheFactoryDoesNotCloseTheLibrary)
{
    // This library does not ask ACE to postpone its closing.
    EXPECT_THAT(linesThatBegin(linesOfRun({"open=dynlib-a", "open=dynlib-needs-a", "drop",
                                           "call=answerThroughA"}),
                               {"drop", "call=", "closed libdynlib-needs-a",
                                "TRACE keswardin.infra.DynlibObjectFactory: entering "
                                "DynlibObjectFactoryNoT::DLLPtr dtor"}),
                ElementsAre("drop: 0", "call=answerThroughA: 97",
                            "TRACE keswardin.infra.DynlibObjectFactory: entering "
                            "DynlibObjectFactoryNoT::DLLPtr dtor",
                            "closed libdynlib-needs-a.so",
                            "TRACE keswardin.infra.DynlibObjectFactory: entering "
                            "DynlibObjectFactoryNoT::DLLPtr dtor"));
}

TEST(DynlibObjectFactory, ALibraryStaysMappedWhenItIsClosed)
{
    EXPECT_THAT(linesThatBegin(linesOfRun({"open=dynlib-a", "at-exit", "open=dynlib-needs-a",
                                           "keep=answerThroughA", "drop"}),
                               {"closed libdynlib-needs-a", "at exit"}),
                ElementsAre("closed libdynlib-needs-a.so", "at exit: 97"));
}

TEST(DynlibObjectFactory, TheEntriesOfALibraryGoBeforeTheOneThatLetsItGo)
{
    EXPECT_THAT(linesThatBegin(linesOfRun({"open=dynlib-a", "open=dynlib-b"}),
                               {"INFO ", "TRACE keswardin.infra.DynlibObjectFactory: exiting "
                                         "DynlibObjectFactoryNoT::DLLPtr dtor"}),
                ElementsAre("INFO keswardin.test.a: constructor of a",
                            "INFO keswardin.test.b: constructor of b",
                            "INFO keswardin.test.b: exit entry of b",
                            "TRACE keswardin.infra.DynlibObjectFactory: exiting "
                            "DynlibObjectFactoryNoT::DLLPtr dtor",
                            "INFO keswardin.test.a: exit entry of a",
                            "TRACE keswardin.infra.DynlibObjectFactory: exiting "
                            "DynlibObjectFactoryNoT::DLLPtr dtor"));
}

TEST(DynlibObjectFactory, AFailedOpenLeavesAnEntryOnTheExitList)
{
    EXPECT_THAT(linesThatBegin(linesOfRun({"open=dynlib-none", "drop"}),
                               {"drop", "TRACE keswardin.infra.DynlibObjectFactory: entering "
                                        "DynlibObjectFactoryNoT::DLLPtr dtor"}),
                ElementsAre("drop: 0", "TRACE keswardin.infra.DynlibObjectFactory: entering "
                                       "DynlibObjectFactoryNoT::DLLPtr dtor"));
}

TEST(DynlibObjectFactory, WhatIsOpenedTwiceHasTwoEntriesOnTheExitList)
{
    const std::vector<std::string> lines =
        linesOfRun({"open=dynlib-a", "open=dynlib-a", "call=answer_a"});
    EXPECT_THAT(linesThatBegin(lines, {"opened ", "open=", "call="}),
                ElementsAre("opened libdynlib-a.so NOW GLOBAL NODELETE", "open=dynlib-a: 1",
                            "open=dynlib-a: 1", "call=answer_a: 97"));
    EXPECT_EQ(2, std::count(lines.begin(), lines.end(),
                            "TRACE keswardin.infra.DynlibObjectFactory: exiting "
                            "DynlibObjectFactoryNoT::DLLPtr dtor"));
}

TEST(DynlibObjectFactory, WhileTheExitListRunsAnOpenLeavesNoEntry)
{
    EXPECT_THAT(linesThatBegin(linesOfRun({"at-exit-load=dynlib-none"}),
                               {"TRACE keswardin.infra.DynlibObjectFactory: exiting", "at exit"}),
                ElementsAre("TRACE keswardin.infra.DynlibObjectFactory: exiting "
                            "DynlibObjectFactoryNoT::DLLPtr ctor",
                            "TRACE keswardin.infra.DynlibObjectFactory: exiting "
                            "DynlibObjectFactoryNoT::DLLPtr dtor",
                            "TRACE keswardin.infra.DynlibObjectFactory: exiting "
                            "DynlibObjectFactoryNoT::openDynlib",
                            "TRACE keswardin.infra.DynlibObjectFactory: exiting "
                            "~DynlibObjectFactoryNoT",
                            "at exit: 0"));
}

} // namespace Velmora::Test
