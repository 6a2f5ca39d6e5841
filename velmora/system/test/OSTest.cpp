// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/OS.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/config/ParameterHashMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <thread>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;

namespace
{

constexpr const char* s_szLogger = "keswardin.infra.os";
constexpr const char* s_szBefore = "what was there";

using PathFunction = bool (*)(const char*, std::string&);

/// Returns the output of a function for a path.
std::string resultOf(PathFunction in_function, const char* in_szPath)
{
    std::string strResult = s_szBefore;
    EXPECT_TRUE(in_function(in_szPath, strResult));
    return strResult;
}

[[gnu::format(printf, 3, 4)]] int callVsnprintf(char* out_szBuffer, unsigned long in_uiSize,
                                                const char* in_szFormat, ...)
{
    std::va_list args;
    va_start(args, in_szFormat);
    const int iResult = OS::vsnprintf(out_szBuffer, in_uiSize, in_szFormat, args);
    va_end(args);
    return iResult;
}

} // namespace

TEST(OS, APathIsRelativeUnlessItBeginsWithASlash)
{
    EXPECT_TRUE(OS::isPathRelative("a/b"));
    EXPECT_TRUE(OS::isPathRelative("."));
    EXPECT_TRUE(OS::isPathRelative(" /a"));
    EXPECT_FALSE(OS::isPathRelative("/"));
    EXPECT_FALSE(OS::isPathRelative("/a/b"));
}

TEST(OS, AnEmptyPathIsRelative) { EXPECT_TRUE(OS::isPathRelative("")); }

TEST(OS, ANullPathIsNotRelative) { EXPECT_FALSE(OS::isPathRelative(nullptr)); }

TEST(OS, TheDirectoryOfAPathIsThePartBeforeItsLastSlash)
{
    EXPECT_EQ("/a/b", resultOf(&OS::stripFileName, "/a/b/c"));
    EXPECT_EQ("a", resultOf(&OS::stripFileName, "a/b"));
    EXPECT_EQ("a/b", resultOf(&OS::stripFileName, "a/b/"));
    EXPECT_EQ("a\\b", resultOf(&OS::stripFileName, "a\\b/c"));
}

TEST(OS, TheDirectoryOfAFileInTheRootIsEmpty) { EXPECT_EQ("", resultOf(&OS::stripFileName, "/a")); }

TEST(OS, APathWithoutASlashHasAnEmptyDirectory)
{
    EXPECT_EQ("", resultOf(&OS::stripFileName, "a"));
    EXPECT_EQ("", resultOf(&OS::stripFileName, ""));
}

TEST(OS, TheFileOfAPathIsThePartBehindItsLastSlash)
{
    EXPECT_EQ("c.d", resultOf(&OS::stripPath, "/a/b/c.d"));
    EXPECT_EQ("a", resultOf(&OS::stripPath, "/a"));
    EXPECT_EQ("a", resultOf(&OS::stripPath, "a"));
    EXPECT_EQ("", resultOf(&OS::stripPath, ""));
}

TEST(OS, APathThatEndsInASlashHasAnEmptyFile)
{
    EXPECT_EQ("", resultOf(&OS::stripPath, "/a/b/"));
    EXPECT_EQ("", resultOf(&OS::stripPath, "/"));
}

TEST(OS, TheExtensionBeginsAtTheLastDot)
{
    EXPECT_EQ("lib.a", resultOf(&OS::stripPathAndExtension, "/x/lib.a.so"));
    EXPECT_EQ("a", resultOf(&OS::stripPathAndExtension, "a."));
    EXPECT_EQ("a", resultOf(&OS::stripPathAndExtension, "a"));
}

TEST(OS, AFileThatBeginsWithItsOnlyDotHasAnEmptyName)
{
    EXPECT_EQ("", resultOf(&OS::stripPathAndExtension, ".profile"));
}

TEST(OS, ADotInADirectoryBeginsNoExtension)
{
    EXPECT_EQ("c", resultOf(&OS::stripPathAndExtension, "/a.b/c"));
}

TEST(OS, TheBaseNameIsTheNameWithoutPathAndExtension)
{
    EXPECT_EQ("lib.a", resultOf(&OS::getFileBaseName, "/x/lib.a.so"));
    EXPECT_EQ("", resultOf(&OS::getFileBaseName, ".profile"));
    EXPECT_EQ("c", resultOf(&OS::getFileBaseName, "/a.b/c"));
}

TEST(OS, FormatsIntoABuffer)
{
    std::array<char, 8> buffer{};
    EXPECT_EQ(3, callVsnprintf(buffer.data(), buffer.size(), "%d-%c", 1, 'a'));
    EXPECT_STREQ("1-a", buffer.data());
}

TEST(OS, FormattingReturnsTheLengthOfATextThatDoesNotFit)
{
    std::array<char, 4> buffer{};
    EXPECT_EQ(6, callVsnprintf(buffer.data(), buffer.size(), "%s", "abcdef"));
    EXPECT_STREQ("abc", buffer.data());
}

TEST(OS, FormattingThatFailsAsksForTwiceTheSize)
{
    // Not a character of the C locale, so the standard function returns -1.
    const wchar_t szWide[] = {0x20AC, 0};
    std::array<char, 16> buffer{};
    ASSERT_EQ(-1, std::snprintf(buffer.data(), buffer.size(), "%ls", szWide));
    EXPECT_EQ(32, callVsnprintf(buffer.data(), buffer.size(), "%ls", szWide));
    EXPECT_EQ(2, callVsnprintf(buffer.data(), 1, "%ls", szWide));
    EXPECT_EQ(0, callVsnprintf(buffer.data(), 0, "%ls", szWide));
}

TEST(OS, FormattingThatFailsAsksForNoMoreThanAnIntHolds)
{
    const wchar_t szWide[] = {0x20AC, 0};
    std::array<char, 16> buffer{};
    // The buffer is smaller than the size that is passed, but nothing is written to it.
    EXPECT_EQ(INT_MAX - 1, callVsnprintf(buffer.data(), INT_MAX / 2, "%ls", szWide));
    EXPECT_EQ(INT_MAX, callVsnprintf(buffer.data(), INT_MAX / 2 + 1, "%ls", szWide));
}

TEST(OS, FormattingThatFailsIsNotTakenForATextThatFitsASizeAboveTheLargestInt)
{
    const wchar_t szWide[] = {0x20AC, 0};
    std::array<char, 16> buffer{};
    EXPECT_EQ(INT_MAX, callVsnprintf(buffer.data(), INT_MAX, "%ls", szWide));
    EXPECT_EQ(-1, callVsnprintf(buffer.data(), INT_MAX + 1UL, "%ls", szWide));
    EXPECT_EQ(-1, callVsnprintf(buffer.data(), INT_MAX * 2UL + 10, "%ls", szWide));
    EXPECT_EQ(-1, callVsnprintf(buffer.data(), LONG_MAX, "%ls", szWide));
}

TEST(OS, ATextLongerThanTheLargestIntAsksForTwiceTheSize)
{
    std::array<char, 16> buffer{};
    // A width that is one too large. Writing such a number of blanks would take long.
    const std::string strFormat = "%" + std::to_string(INT_MAX + 1UL) + "d";
    EXPECT_EQ(32, callVsnprintf(buffer.data(), buffer.size(), strFormat.c_str(), 1));
}

TEST(OS, ThreadIdsAreTheKernels)
{
    EXPECT_EQ(getpid(), OS::gettid());
    pid_t tid = 0;
    pid_t tidOfKernel = 0;
    std::thread(
        [&]
        {
            tid = OS::gettid();
            tidOfKernel = static_cast<pid_t>(syscall(SYS_gettid));
        })
        .join();
    EXPECT_EQ(tidOfKernel, tid);
    EXPECT_NE(getpid(), tid);
}

TEST(OS, KnowsWhiteSpace)
{
    for (const char character : {' ', '\t', '\n', '\v', '\f', '\r'})
        EXPECT_TRUE(OS::isspace(character));
    for (const char character : {'a', '0', '\0', '\xA0', '\xFF'})
        EXPECT_FALSE(OS::isspace(character));
}

TEST(OS, ThereIsNoDiskUsage)
{
    const CapturedLog log;
    OS::DiskUsage usage{1, 2};
    EXPECT_FALSE(OS::getDiskUsage("/", usage));
    EXPECT_EQ(0U, usage.m_uiTotal);
    EXPECT_EQ(0U, usage.m_uiFree);
    EXPECT_THAT(
        failedAssertions(log),
        ElementsAre(failedAssertion("Not implemented : OS::getDiskUsage", "OS", s_szLogger)));
}

TEST(OS, ThereIsNoCanonicalPath)
{
    const CapturedLog log;
    std::string strPath = s_szBefore;
    EXPECT_FALSE(OS::getCanonicalPath("/", strPath));
    EXPECT_EQ(s_szBefore, strPath);
    EXPECT_THAT(failedAssertions(log), ElementsAre(failedAssertion("0", "OS", s_szLogger)));
}

TEST(OS, TypeNamesLoseTheirLeadingDigits)
{
    const char* const szName = "12Parameter42";
    EXPECT_EQ(szName + 2, OS::typeIdName(szName));
    const char* const szPlain = "i";
    EXPECT_EQ(szPlain, OS::typeIdName(szPlain));
    EXPECT_STREQ("", OS::typeIdName("42"));
}

TEST(OS, ANullTypeNameFailsAnAssertion)
{
    const CapturedLog log;
    EXPECT_STREQ("", OS::typeIdName(nullptr));
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("in_szTypeIdName != 0", "OS", s_szLogger)));
}

TEST(OS, TheConfigurationTakesThePlaceOfTheRegistry)
{
    ParameterHashMap config;
    config.setStringParameter("keswardin.registry.Vendor", "a value");
    std::string strValue = s_szBefore;
    const CapturedLog log;
    EXPECT_TRUE(OS::GetRegistryString(config, "Vendor", strValue));
    EXPECT_EQ("a value", strValue);
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            debugLine("keswardin.infra.Parameter",
                      "using keswardin parameter keswardin.registry.Vendor with value a value"),
            debugLine(s_szLogger, "Found value \"a value\" for value name \"Vendor\" "
                                  "in the Config")));
}

TEST(OS, ANameThatIsNotInTheRegistryLeavesTheOutput)
{
    const ParameterHashMap config;
    std::string strValue = s_szBefore;
    const CapturedLog log;
    EXPECT_FALSE(OS::GetRegistryString(config, "Vendor", strValue));
    EXPECT_EQ(s_szBefore, strValue);
    EXPECT_THAT(log.lines(), ElementsAre(debugLine(
                                 s_szLogger, "Cannot find string value \"Vendor\" in the Config "
                                             "nor the registry")));
}

TEST(OS, OnlyAStringIsFoundInTheRegistry)
{
    ParameterHashMap config;
    config.setIntParameter("keswardin.registry.Vendor", 42);
    std::string strValue = s_szBefore;
    const CapturedLog log;
    EXPECT_FALSE(OS::GetRegistryString(config, "Vendor", strValue));
    EXPECT_EQ(s_szBefore, strValue);
    EXPECT_THAT(log.lines(), ElementsAre(debugLine(
                                 s_szLogger, "Cannot find string value \"Vendor\" in the Config "
                                             "nor the registry")));
}

TEST(OS, AnEmptyStringIsFoundInTheRegistry)
{
    ParameterHashMap config;
    config.setStringParameter("keswardin.registry.Vendor", "");
    std::string strValue = s_szBefore;
    EXPECT_TRUE(OS::GetRegistryString(config, "Vendor", strValue));
    EXPECT_EQ("", strValue);
}

TEST(OS, TracesTheLookUpInTheRegistry)
{
    const ParameterHashMap config;
    std::string strValue;
    const CapturedLog log(TRACE_LOG_LEVEL);
    EXPECT_FALSE(OS::GetRegistryString(config, "Vendor", strValue));
    ASSERT_EQ(3U, log.linesOf(s_szLogger).size());
    EXPECT_EQ(traceLine(s_szLogger, "entering OS::GetRegistryString"),
              log.linesOf(s_szLogger).front());
    EXPECT_EQ(traceLine(s_szLogger, "exiting OS::GetRegistryString"),
              log.linesOf(s_szLogger).back());
}
