// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigCache.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/config/test/ConfigCacheFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

namespace Velmora::Test
{

/// Gives access to the members that a cache keeps for a debugger.
class ConfigCachePeer
{
  public:
    static bool hasOwnerThread(const ConfigCache& in_cache) { return in_cache.m_bHasOwnerThread; }
    static std::thread::id ownerThread(const ConfigCache& in_cache)
    {
        return in_cache.m_ownerThread;
    }
};

namespace
{

using testing::ElementsAre;

} // namespace

// Caching

TEST_F(ConfigCacheTest, AsksTheConfigurationBehindForAParameterThatIsNew)
{
    m_behind.setIntParameter("sip.port", 5060);
    const CapturedLog log;
    EXPECT_EQ("type=INT value=5060", read("sip.port"));
    EXPECT_THAT(m_behind.m_asked, ElementsAre("sip.port"));
    EXPECT_THAT(log.lines(), ElementsAre(s_miss));
}

TEST_F(ConfigCacheTest, RemembersWhatItWasAnswered)
{
    m_behind.setIntParameter("sip.port", 5060);
    read("sip.port");
    const CapturedLog log;
    EXPECT_EQ("type=INT value=5060", read("sip.port"));
    EXPECT_EQ("type=INT value=5060", read("sip.port"));
    EXPECT_THAT(m_behind.m_asked, ElementsAre("sip.port"));
    EXPECT_THAT(log.lines(), ElementsAre(s_hit, s_hit));
}

TEST_F(ConfigCacheTest, RemembersValuesOfAllTypes)
{
    ParameterValue longValue;
    longValue = 123456789012L;
    m_behind.setStringParameter("string", "a text");
    m_behind.setIntParameter("int", -7);
    m_behind.setParameter("long", longValue);
    m_behind.setBoolParameter("bool", true);
    m_behind.setFloatParameter("float", 0.5F);
    for (int iTime = 0; iTime < 2; ++iTime)
    {
        EXPECT_EQ("type=STRING value=a text", read("string"));
        EXPECT_EQ("type=INT value=-7", read("int"));
        EXPECT_EQ("type=BOOL value=true", read("bool"));
        EXPECT_EQ("type=FLOAT value=0.5", read("float"));
        ParameterValue value;
        m_cache.getParameter("long", value);
        ASSERT_EQ(ParameterValue::LONG_TYPE, value.getType());
        EXPECT_EQ(123456789012L, static_cast<long>(value));
    }
    EXPECT_EQ(5U, m_behind.m_asked.size());
}

TEST_F(ConfigCacheTest, RemembersThatAParameterIsNotDefined)
{
    const CapturedLog log;
    EXPECT_EQ("type=UNDEF", read("nobody.knows"));
    EXPECT_EQ("type=UNDEF", read("nobody.knows"));
    EXPECT_THAT(m_behind.m_asked, ElementsAre("nobody.knows"));
    EXPECT_THAT(log.lines(), ElementsAre(s_miss, s_hit));
}

TEST_F(ConfigCacheTest, DoesNotTakeTheBeginningOfANameForAName)
{
    m_behind.setIntParameter("a", 1);
    m_behind.setIntParameter("a.b.c", 3);
    EXPECT_EQ("type=INT value=3", read("a.b.c"));
    const CapturedLog log;
    EXPECT_EQ("type=INT value=1", read("a"));
    EXPECT_EQ("type=UNDEF", read("a.b"));
    EXPECT_THAT(log.lines(), ElementsAre(s_miss, s_miss));
    EXPECT_EQ("type=INT value=1", read("a"));
    EXPECT_EQ("type=UNDEF", read("a.b"));
    EXPECT_EQ("type=INT value=3", read("a.b.c"));
    EXPECT_THAT(m_behind.m_asked, ElementsAre("a.b.c", "a", "a.b"));
}

TEST_F(ConfigCacheTest, DoesNotTakeALongerNameForAName)
{
    m_behind.setIntParameter("a", 1);
    m_behind.setIntParameter("a.b", 2);
    EXPECT_EQ("type=INT value=1", read("a"));
    EXPECT_EQ("type=INT value=2", read("a.b"));
    EXPECT_EQ("type=INT value=1", read("a"));
    EXPECT_THAT(m_behind.m_asked, ElementsAre("a", "a.b"));
}

TEST_F(ConfigCacheTest, RemembersTheEmptyName)
{
    m_behind.setIntParameter("", 1);
    EXPECT_EQ("type=INT value=1", read(""));
    EXPECT_EQ("type=INT value=1", read(""));
    EXPECT_THAT(m_behind.m_asked, ElementsAre(""));
}

TEST_F(ConfigCacheTest, ADotAtTheEndIsNoPartOfAName)
{
    m_behind.setIntParameter("a", 1);
    EXPECT_EQ("type=INT value=1", read("a"));
    EXPECT_EQ("type=INT value=1", read("a."));
    EXPECT_THAT(m_behind.m_asked, ElementsAre("a"));
}

TEST_F(ConfigCacheTest, TypedReadsPassThroughIt)
{
    m_behind.setIntParameter("int", 5);
    m_behind.setBoolParameter("bool", true);
    m_behind.setStringParameter("string", "text");
    m_behind.setFloatParameter("float", 2.5F);
    const ROConfiguration& config = m_cache;
    for (int iTime = 0; iTime < 2; ++iTime)
    {
        int iValue = 0;
        bool bValue = false;
        std::string strValue;
        float fValue = 0;
        EXPECT_TRUE(config.getIntParameter("int", iValue));
        EXPECT_TRUE(config.getBoolParameter("bool", bValue));
        EXPECT_TRUE(config.getStringParameter("string", strValue));
        EXPECT_TRUE(config.getFloatParameter("float", fValue));
        EXPECT_FALSE(config.getIntParameter("string", iValue));
        EXPECT_FALSE(config.parameterDefined("none"));
        EXPECT_TRUE(config.parameterDefined("int"));
        EXPECT_EQ(5, iValue);
        EXPECT_TRUE(bValue);
        EXPECT_EQ("text", strValue);
        EXPECT_EQ(2.5F, fValue);
    }
    EXPECT_THAT(m_behind.m_asked, ElementsAre("int", "bool", "string", "float", "none"));
}

TEST_F(ConfigCacheTest, DoesNotRememberAReadThatThrows)
{
    m_behind.setIntParameter("a", 1);
    m_behind.m_bThrows = true;
    ParameterValue value;
    EXPECT_THROW(m_cache.getParameter("a", value), std::runtime_error);
    m_behind.m_bThrows = false;
    EXPECT_EQ("type=INT value=1", read("a"));
    EXPECT_THAT(m_behind.m_asked, ElementsAre("a", "a"));
}

// Flushing

TEST_F(ConfigCacheTest, AChangeBehindIsNotSeenBeforeAFlush)
{
    m_behind.setStringParameter("a.b", "old");
    EXPECT_EQ("type=STRING value=old", read("a.b"));
    m_behind.setStringParameter("a.b", "new");
    EXPECT_EQ("type=STRING value=old", read("a.b"));
    m_cache.flush();
    EXPECT_EQ("type=STRING value=new", read("a.b"));
}

TEST_F(ConfigCacheTest, AFlushForgetsTheEmptyNameToo)
{
    m_behind.setIntParameter("", 1);
    read("");
    m_behind.setIntParameter("", 2);
    m_cache.flush();
    EXPECT_EQ("type=INT value=2", read(""));
}

TEST_F(ConfigCacheTest, AFlushForgetsThatAParameterIsNotDefined)
{
    EXPECT_EQ("type=UNDEF", read("a"));
    m_behind.setIntParameter("a", 1);
    EXPECT_EQ("type=UNDEF", read("a"));
    m_cache.flush();
    EXPECT_EQ("type=INT value=1", read("a"));
}

TEST_F(ConfigCacheTest, SettingTheSameConfigurationForgetsEverything)
{
    read("a");
    read("");
    m_cache.setConfiguration(m_hConfig);
    const CapturedLog log;
    read("a");
    read("");
    EXPECT_THAT(log.lines(), ElementsAre(s_miss, s_miss));
}

TEST_F(ConfigCacheTest, SettingAnotherConfigurationReadsFromThatOne)
{
    m_behind.setIntParameter("a", 1);
    read("a");
    auto* const pOther = new Behind;
    pOther->setIntParameter("a", 2);
    m_cache.setConfiguration(TSHandle<ROConfiguration>(pOther));
    EXPECT_EQ("type=INT value=2", read("a"));
    EXPECT_THAT(pOther->m_asked, ElementsAre("a"));
}

TEST(ConfigCache, HoldsItsConfigurationUntilItGetsAnother)
{
    bool bDestroyed = false;
    ConfigCache cache;
    auto* const pBehind = new Behind;
    pBehind->m_onDestruction = [&bDestroyed] { bDestroyed = true; };
    cache.setConfiguration(TSHandle<ROConfiguration>(pBehind));
    EXPECT_FALSE(bDestroyed);
    cache.setConfiguration(nullptr);
    EXPECT_TRUE(bDestroyed);
}

TEST(ConfigCache, LetsGoOfItsConfigurationWhenItDies)
{
    bool bDestroyed = false;
    {
        ConfigCache cache;
        auto* const pBehind = new Behind;
        pBehind->m_onDestruction = [&bDestroyed] { bDestroyed = true; };
        cache.setConfiguration(TSHandle<ROConfiguration>(pBehind));
    }
    EXPECT_TRUE(bDestroyed);
}

TEST(ConfigCache, NotesTheThreadThatSetsTheConfiguration)
{
    ConfigCache cache;
    EXPECT_FALSE(ConfigCachePeer::hasOwnerThread(cache));
    std::thread::id thread;
    std::thread(
        [&cache, &thread]
        {
            thread = std::this_thread::get_id();
            cache.setConfiguration(nullptr);
        })
        .join();
    EXPECT_TRUE(ConfigCachePeer::hasOwnerThread(cache));
    EXPECT_EQ(thread, ConfigCachePeer::ownerThread(cache));
    cache.flush();
    EXPECT_EQ(thread, ConfigCachePeer::ownerThread(cache));
    cache.setConfiguration(nullptr);
    EXPECT_EQ(std::this_thread::get_id(), ConfigCachePeer::ownerThread(cache));
}

// Without a configuration

void expectNoConfiguration(const ConfigCache& in_cache)
{
    ParameterValue value;
    value = "of before";
    const CapturedLog log;
    in_cache.getParameter("sip.port", value);
    EXPECT_FALSE(value.defined());
    ASSERT_EQ(3U, log.lines().size());
    EXPECT_EQ(s_miss, log.lines()[0]);
    EXPECT_EQ(errorLine(s_szLogger, "ConfigCache failed to getParameter sip.port because the cache "
                                    "is not properly initialized"),
              log.lines()[1]);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("! m_hConfig.isNull()", "ConfigCache", s_szLogger)));
}

TEST(ConfigCache, FailsBeforeItHasAConfigurationAndRemembersNothing)
{
    ConfigCache cache;
    expectNoConfiguration(cache);
    expectNoConfiguration(cache);
    auto* const pBehind = new Behind;
    pBehind->setIntParameter("sip.port", 5060);
    cache.setConfiguration(TSHandle<ROConfiguration>(pBehind));
    int iPort = 0;
    EXPECT_TRUE(cache.getIntParameter("sip.port", iPort));
    EXPECT_EQ(5060, iPort);
}

TEST(ConfigCache, FailsWithANullConfiguration)
{
    ConfigCache cache;
    auto* const pBehind = new Behind;
    pBehind->setIntParameter("sip.port", 5060);
    cache.setConfiguration(TSHandle<ROConfiguration>(pBehind));
    EXPECT_TRUE(cache.parameterDefined("sip.port"));
    cache.setConfiguration(nullptr);
    expectNoConfiguration(cache);
}

// Log lines

TEST_F(ConfigCacheTest, TracesItsOperations)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    m_cache.setConfiguration(m_hConfig);
    read("a");
    EXPECT_THAT(log.linesOf(s_szLogger),
                ElementsAre(traceLine(s_szLogger, "entering ConfigCache::setConfiguration"),
                            traceLine(s_szLogger, "exiting ConfigCache::setConfiguration"),
                            traceLine(s_szLogger, "entering ConfigCache::getParameter"), s_miss,
                            traceLine(s_szLogger, "exiting ConfigCache::getParameter")));
}

TEST(ConfigCache, LogsOnTheLoggerThatItIsGiven)
{
    Logger logger("test.cache");
    ConfigCache cache(logger);
    cache.setConfiguration(TSHandle<ROConfiguration>(new Behind));
    const CapturedLog log;
    EXPECT_FALSE(cache.parameterDefined("a"));
    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine("test.cache", "ConfigCache::getParameter cache miss")));
}

} // namespace Velmora::Test
