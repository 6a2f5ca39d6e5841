// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfig.h"

#include "velmora/config/test/GlobalConfigFixture.h"
#include "velmora/system/test/SyscallFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <ios>
#include <sstream>
#include <string>
#include <vector>

namespace
{

/// The number of reads until one fails; -1 for no failure.
int s_iReadsBeforeError = -1;

} // namespace

// Replaces the function of the C library in the whole process.

extern "C" [[gnu::visibility("default")]] ssize_t read(int in_iDescriptor, void* out_pBuffer,
                                                       std::size_t in_uiSize)
{
    if (s_iReadsBeforeError == 0)
    {
        errno = EIO;
        return -1;
    }
    if (s_iReadsBeforeError > 0)
        --s_iReadsBeforeError;
    return syscall(SYS_read, in_iDescriptor, out_pBuffer, in_uiSize);
}

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

} // namespace

// Loading

TEST_F(GlobalConfigTest, AStreamIsRead)
{
    EXPECT_TRUE(loadText(m_config, "keswardin.exitTimeoutSec=7\n"));
    EXPECT_EQ(7, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(), ElementsAre(debug("Loading Global Config from istream")));
}

TEST_F(GlobalConfigTest, AStreamThatHasFailedIsNotRead)
{
    std::istringstream stream("keswardin.exitTimeoutSec=7\n");
    stream.setstate(std::ios::failbit);
    EXPECT_FALSE(m_config.load(stream));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debug("Loading Global Config from istream"),
                            error("failed to initialize global config from istream")));
}

TEST_F(GlobalConfigTest, AStreamThatThrowsIsReadWithoutAnException)
{
    std::istringstream stream("keswardin.exitTimeoutSec=${unit}\nunit=7\nunit=s\n");
    stream.exceptions(s_allStates);
    bool bOK = false;
    EXPECT_NO_THROW(bOK = m_config.load(stream));
    EXPECT_TRUE(bOK);
    EXPECT_EQ("s", stringOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_EQ(std::ios::eofbit, stream.rdstate());
    EXPECT_EQ(s_allStates, stream.exceptions()) << "what the owner of the stream has asked for";
}

TEST_F(GlobalConfigTest, AStreamThatThrowsAndHasAParseErrorFailsWithoutAnException)
{
    std::istringstream stream("keswardin.exitTimeoutSec=7\nnonsense\n");
    stream.exceptions(s_allStates);
    bool bOK = true;
    EXPECT_NO_THROW(bOK = m_config.load(stream));
    EXPECT_FALSE(bOK);
    EXPECT_EQ(std::ios::failbit, stream.rdstate());
    EXPECT_EQ(s_allStates, stream.exceptions());
}

TEST_F(GlobalConfigTest, AStreamThatThrowsAndHasFailedIsNotReadWithoutAnException)
{
    std::istringstream stream("keswardin.exitTimeoutSec=7\n");
    EXPECT_THROW(stream.exceptions((stream.setstate(std::ios::failbit), s_allStates)),
                 std::ios_base::failure);
    bool bOK = true;
    EXPECT_NO_THROW(bOK = m_config.load(stream));
    EXPECT_FALSE(bOK);
    EXPECT_EQ(-12345, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigTest, AStreamThatCannotBeReadFailsWithoutAnException)
{
    BrokenBuffer buffer;
    std::istream stream(&buffer);
    stream.exceptions(s_allStates);
    bool bOK = true;
    EXPECT_NO_THROW(bOK = m_config.load(stream));
    EXPECT_FALSE(bOK);
    EXPECT_TRUE(stream.bad());
}

TEST_F(GlobalConfigTest, WhatWasReadBeforeAParseErrorStays)
{
    EXPECT_FALSE(loadText(m_config, "keswardin.exitTimeoutSec=7\nnonsense\n"));
    EXPECT_EQ(7, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debug("Loading Global Config from istream"),
                            error("failed to initialize global config from istream")));
}

TEST_F(GlobalConfigTest, NamesAreCheckedAgainstTheTableAndValuesGetItsTypes)
{
    EXPECT_TRUE(loadText(m_config, "keswardin.gw.recordCalls.directory=5\nkeswardin.exitTime=3\n"));
    EXPECT_EQ("5", stringOf(m_config, "keswardin.gw.recordCalls.directory"));
    EXPECT_THAT(
        m_log.linesOf(s_szTrieLogger),
        ElementsAre(warnLine(s_szTrieLogger,
                             "Unknown parameter : keswardin.exitTime. Closest known "
                             "parameter : keswardin.exitTimeoutSec"),
                    warnLine(s_szTrieLogger, "line 2 : write \"keswardin.exitTimeoutSec = 3\"")));
}

TEST_F(GlobalConfigTest, LinesThatStayOpenAreAllLoggedInOneLine)
{
    EXPECT_FALSE(loadText(m_config, "log4cplus.a=${x}\nlog4cplus.b=c\nlog4cplus.d=${y}\n"));
    EXPECT_EQ("c", stringOf(m_config, "log4cplus.b"));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                Contains(error("Unable to complete the configuration. Unknown parameters: "
                               "[log4cplus.a=${x}] [log4cplus.d=${y}]")));
}

TEST_F(GlobalConfigTest, AFileIsRead)
{
    const std::string strPath = write("a.cfg", "keswardin.exitTimeoutSec=8\n");
    EXPECT_TRUE(m_config.load(strPath.c_str()));
    EXPECT_EQ(8, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(), ElementsAre(debug("Loading Global Config from " + strPath),
                                           debug("Loading Global Config from istream")));
}

TEST_F(GlobalConfigTest, AFileThatCannotBeOpenedFails)
{
    const std::string strPath = m_directory.file("none.cfg");
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(debug("Loading Global Config from " + strPath),
                            error("failed to initialize Global Config : unable to open " + strPath +
                                  " for reading"),
                            error("cannot open " + strPath + ": No such file or directory")));
}

TEST_F(GlobalConfigTest, AFileThatCannotBeOpenedFailsWithTheReason)
{
    const std::string strPath = write("a.cfg", "");
    bool bLoaded = true;
    if (!doWhileCallsFail({{SYS_openat, EMFILE}},
                          [&] { bLoaded = m_config.load(strPath.c_str()); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_FALSE(bLoaded);
    EXPECT_EQ(error("cannot open " + strPath + ": Too many open files"), m_log.lines().back());
}

TEST_F(GlobalConfigTest, ADirectoryIsNoFileThatCanBeRead)
{
    const std::string strPath = m_directory.path();
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debug("Loading Global Config from " + strPath),
                            debug("Loading Global Config from istream"),
                            error("failed to initialize global config from istream"),
                            error("failed to initialize global config from " + strPath),
                            error("cannot read " + strPath + ": Is a directory")));
}

TEST_F(GlobalConfigTest, AFileThatCannotBeReadToItsEndKeepsWhatWasReadAndFailsWithTheReason)
{
    // Much longer than the buffer of a stream.
    std::string strText = "keswardin.exitTimeoutSec=8\n";
    for (int i = 0; i < 10000; ++i)
        strText += "# a comment\n";
    const std::string strPath = write("a.cfg", strText);
    s_iReadsBeforeError = 1;
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    s_iReadsBeforeError = -1;
    EXPECT_EQ(8, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_EQ(error("cannot read " + strPath + ": Input/output error"), m_log.lines().back());
}

TEST_F(GlobalConfigTest, AFileThatCannotBeReadFailsWithItsPath)
{
    const std::string strPath = write("bad.cfg", "nonsense\n");
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debug("Loading Global Config from " + strPath),
                            debug("Loading Global Config from istream"),
                            error("failed to initialize global config from istream"),
                            error("failed to initialize global config from " + strPath)));
}

TEST_F(GlobalConfigTest, AFileWithOpenLinesFails)
{
    const std::string strPath = write("open.cfg", "log4cplus.a=${x}\n");
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                Contains(error("Unable to complete the configuration. Unknown parameters: "
                               "[log4cplus.a=${x}]")));
}

// Defaults and phases

TEST_F(GlobalConfigTest, DefaultsAreAddedWithoutThoseOfDeprecatedParameters)
{
    loadText(m_config, "keswardin.gw.recordCalls.directory=here\n");
    EXPECT_TRUE(m_config.addDefaults(false));
    EXPECT_EQ("here", stringOf(m_config, "keswardin.gw.recordCalls.directory"));
    EXPECT_EQ("production", stringOf(m_config, "keswardin.run.mode"));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.sip.transport"));
}

TEST_F(GlobalConfigTest, DefaultsOfDeprecatedParametersAreAddedWhereAskedFor)
{
    EXPECT_TRUE(m_config.addDefaults(true));
    EXPECT_EQ("udp", stringOf(m_config, "keswardin.sip.transport"));
}

TEST_F(GlobalConfigTest, AProtectedConfigurationLoadsNothing)
{
    m_config.writeProtect();
    EXPECT_FALSE(loadText(m_config, "keswardin.exitTimeoutSec=7\n"));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(), ElementsAre(error("Global config is write protected. Not loading")));
}

TEST_F(GlobalConfigTest, AProtectedConfigurationLoadsNoFileAndNoUrlEither)
{
    const std::string strPath = write("a.cfg", "keswardin.exitTimeoutSec=8\n");
    m_config.writeProtect();
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_FALSE(m_config.load(Urls{strPath}));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigTest, AProtectedConfigurationTakesNoDefaults)
{
    m_config.writeProtect();
    EXPECT_FALSE(m_config.addDefaults(false));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.run.mode"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("can not set defaults in global config, it is write protected")));
}

TEST_F(GlobalConfigTest, OfAProtectedConfigurationTheErrorIsLoggedAndTheParameterIsSetAllTheSame)
{
    m_config.writeProtect();
    EXPECT_TRUE(set("keswardin.exitTimeoutSec", valueOf(3)));
    EXPECT_EQ(3, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because it is "
                                  "write protected : keswardin.exitTimeoutSec")));
}

TEST_F(GlobalConfigTest, AtRunTimeOnlyWhatIsSettableThenIsSet)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n");
    m_log.clear();
    m_config.declareRunTime();
    EXPECT_TRUE(set("keswardin.run.mode", valueOf("development")));
    EXPECT_EQ("development", stringOf(m_config, "keswardin.run.mode"));
    EXPECT_FALSE(set("keswardin.exitTimeoutSec", valueOf(3)));
    EXPECT_EQ(7, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because the "
                                  "following parameter can not be set at run-time : "
                                  "keswardin.exitTimeoutSec")));
}

TEST_F(GlobalConfigTest, ProtectedAndAtRunTimeASettableParameterIsSetWithTheError)
{
    m_config.writeProtect();
    m_config.declareRunTime();
    EXPECT_TRUE(m_config.setBoolParameter("keswardin.gw.recordCalls.enabled", true));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because it is "
                                  "write protected : keswardin.gw.recordCalls.enabled")));
}

TEST_F(GlobalConfigTest, ProtectedAndAtRunTimeBothErrorsAreLogged)
{
    m_config.writeProtect();
    m_config.declareRunTime();
    EXPECT_FALSE(m_config.setIntParameter("keswardin.exitTimeoutSec", 3));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because it is "
                                  "write protected : keswardin.exitTimeoutSec"),
                            error("failed to set a Global Configuration parameter because the "
                                  "following parameter can not be set at run-time : "
                                  "keswardin.exitTimeoutSec")));
}

TEST_F(GlobalConfigTest, AtRunTimeAloneALoadAndDefaultsStillChangeThings)
{
    m_config.declareRunTime();
    EXPECT_TRUE(loadText(m_config, "keswardin.exitTimeoutSec=7\n"));
    EXPECT_TRUE(m_config.addDefaults(false));
    EXPECT_EQ(7, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_TRUE(m_config.parameterDefined("keswardin.run.mode"));
}

TEST_F(GlobalConfigTest, AParameterThatIsNotKnownIsNotSet)
{
    EXPECT_FALSE(set("keswardin.nowhere", valueOf(1)));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.nowhere"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because the "
                                  "following parameter is not in the database : "
                                  "keswardin.nowhere")));
}

TEST_F(GlobalConfigTest, AnIntIsNotSetForAFloat)
{
    EXPECT_FALSE(m_config.setIntParameter("keswardin.pstn.input.gain.dB", 3));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.pstn.input.gain.dB"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because the "
                                  "following parameter has the wrong type : "
                                  "keswardin.pstn.input.gain.dB")));
    EXPECT_TRUE(m_config.setFloatParameter("keswardin.pstn.input.gain.dB", 3.0F));
}

TEST_F(GlobalConfigTest, AnUnknownParameterIsRefusedForItsNameBeforeProtectionIsLookedAt)
{
    m_config.writeProtect();
    set("keswardin.nowhere", valueOf(1));
    EXPECT_THAT(m_log.lines(), testing::SizeIs(1));
}

// Observers

TEST_F(GlobalConfigTest, ObserversComeAndGoAndAreNotNotified)
{
    // Not an object: any use of it would crash the process.
    alignas(16) static char s_noObserver[16];
    const LimitedObjPtr<ConfigurationObserver> pObserver(
        reinterpret_cast<ConfigurationObserver*>(s_noObserver));
    m_config.addObserver("keswardin.run.mode", pObserver);
    EXPECT_TRUE(set("keswardin.run.mode", valueOf("development")));
    m_config.removeObserver(pObserver);
    EXPECT_EQ("development", stringOf(m_config, "keswardin.run.mode"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

// Unknown names

TEST_F(GlobalConfigTest, OnlyKnownNamesAndThoseOfTheLoggingDrawNoWarning)
{
    loadText(m_config, "log4cplus.rootLogger=INFO\nkeswardin.exitTimeoutSec=7\n");
    m_log.clear();
    EXPECT_TRUE(m_config.warnOnUnknownParameterNames());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(GlobalConfigTest, AnUnknownNameDrawsAWarningWithTheClosestKnownOne)
{
    loadText(m_config, "keswardin.run.mods=5\n");
    m_log.clear();
    EXPECT_FALSE(m_config.warnOnUnknownParameterNames());
    EXPECT_EQ(5, intOf(m_config, "keswardin.run.mods")) << "nothing is removed";
    EXPECT_THAT(m_log.lines(),
                ElementsAre(warnLine(s_szLogger, "Unknown parameter : keswardin.run.mods. Closest "
                                                 "known parameter : keswardin.run.mode"),
                            warnLine(s_szLogger, "line 1 : write \"keswardin.run.mode = 5\"")));
}

TEST_F(GlobalConfigTest, TheParameterWithoutANameIsUnknown)
{
    loadText(m_config, "=5\n");
    m_log.clear();
    EXPECT_FALSE(m_config.warnOnUnknownParameterNames());
    ASSERT_THAT(m_log.lines(), testing::SizeIs(2));
    EXPECT_EQ(warnLine(s_szLogger, "line 1 : correct the name \"\", or delete the line"),
              m_log.lines()[1]);
    EXPECT_THAT(m_log.lines()[0].strText,
                testing::StartsWith("Unknown parameter : . Closest known parameter : "));
}

TEST_F(GlobalConfigTest, ANameThatOnlyBeginsLikeLoggingIsSilentAtLoadAndWarnedOfLater)
{
    loadText(m_config, "log4cplusX=5\n");
    EXPECT_THAT(m_log.linesOf(s_szTrieLogger), IsEmpty());
    m_log.clear();
    EXPECT_FALSE(m_config.warnOnUnknownParameterNames());
    ASSERT_THAT(m_log.lines(), testing::SizeIs(1));
    EXPECT_THAT(m_log.lines()[0].strText,
                testing::StartsWith("Unknown parameter : log4cplusX. Closest known parameter : "));
}

// Export

TEST_F(GlobalConfigTest, APrefixGivesThePartBehindItWithoutItsName)
{
    loadText(m_config, "keswardin.infra.CallLogger.log1CallOutOf=3\nkeswardin.exitTimeoutSec=7\n");
    ParameterTrie part;
    m_config.convertTo(part, "keswardin.infra");
    EXPECT_EQ(3, intOf(part, "CallLogger.log1CallOutOf"));
    EXPECT_FALSE(part.parameterDefined("keswardin.exitTimeoutSec"));
    EXPECT_FALSE(part.parameterDefined("exitTimeoutSec"));
}

TEST_F(GlobalConfigTest, TheEmptyPrefixGivesEverything)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n");
    ParameterTrie all;
    m_config.convertTo(all, "");
    EXPECT_EQ(7, intOf(all, "keswardin.exitTimeoutSec"));
    loadText(m_config, "keswardin.exitTimeoutSec=8\n");
    EXPECT_EQ(7, intOf(all, "keswardin.exitTimeoutSec")) << "it is a copy";
}

TEST_F(GlobalConfigTest, APrefixThatIsNotThereClearsTheOutput)
{
    ParameterTrie part;
    part.setIntParameter("before", 1);
    part.setIntParameter("", 2);
    m_config.convertTo(part, "keswardin.infra");
    std::ostringstream text;
    text << part;
    EXPECT_EQ("", text.str());
}

TEST_F(GlobalConfigTest, ItIsWrittenAsItsTextReads)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n");
    std::ostringstream text;
    text << m_config;
    EXPECT_EQ("keswardin.exitTimeoutSec=7", text.str());
}

TEST_F(GlobalConfigTest, AStreamThatThrowsAndCannotBeWrittenIsInABadStateWithoutAnException)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n");
    BrokenBuffer buffer;
    std::ostream stream(&buffer);
    stream.exceptions(s_allStates);
    EXPECT_NO_THROW(m_config.write(stream));
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(s_allStates, stream.exceptions());
}

TEST_F(GlobalConfigTest, TheSummaryCountsParametersAndWarningsByKind)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n"
                       "keswardin.exitTimeoutSec=8\n"
                       "keswardin.nowhere=1\n"
                       "keswardin.neither=1\n"
                       "keswardin.traceShutdown=5\n");
    loadText(m_config, "keswardin.exitTimeoutSec=9\n");
    const LoadSummary summary = m_config.getLoadSummary();
    EXPECT_EQ(4U, summary.m_uiParameters);
    EXPECT_EQ(2U, summary.m_uiUnknownNames);
    EXPECT_EQ(1U, summary.m_uiWrongTypes);
    EXPECT_EQ(2U, summary.m_uiRedefinitions);
}

} // namespace Velmora::Test
