// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterTrie.h"

#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterInfoDB.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/CountedAllocations.h"

#include <gtest/gtest.h>
#include <log4cplus/helpers/property.h>

#include <memory>
#include <new>
#include <string>

namespace Velmora::Test
{

namespace
{

/// Longer than a string or a stream can hold without memory of its own.
const std::string s_strLong(5000, 'x');

ParameterValue valueOf(const std::string& in_strText)
{
    ParameterValue value;
    value = in_strText.c_str();
    return value;
}

/// Runs a piece of work whose allocations fail one after the other until it succeeds. Expects each
/// failure to be `std::bad_alloc`, and the result of the success to be complete, which `in_isWhole`
/// checks.
template <class Work, class IsWhole>
void expectAllOrBadAlloc(Work in_work, IsWhole in_isWhole)
{
    const CapturedLog log;
    in_work();
    bool bThrown = false;
    EXPECT_LT(0, failAtEachAllocation(
                     [&]
                     {
                         bThrown = false;
                         try
                         {
                             in_work();
                         }
                         catch (const std::bad_alloc&)
                         {
                             bThrown = true;
                         }
                     },
                     [&]
                     {
                         if (!bThrown)
                         {
                             EXPECT_TRUE(in_isWhole());
                         }
                     }));
}

} // namespace

TEST(ParameterTrieMemory, APropertyIsWholeOrNotThere)
{
    ParameterTrie trie;
    trie.setParameter("name", valueOf(s_strLong));
    trie.setParameter("other", valueOf(s_strLong));
    log4cplus::helpers::Properties properties;
    expectAllOrBadAlloc(
        [&]
        {
            properties = log4cplus::helpers::Properties();
            trie.convertTo(properties);
        },
        [&]
        {
            return properties.getProperty("name") == s_strLong &&
                   properties.getProperty("other") == s_strLong;
        });
}

TEST(ParameterTrieMemory, AListOfValuesIsNotCutShort)
{
    const ParameterValue value = valueOf(s_strLong + " " + s_strLong);
    ParameterValueVector values;
    expectAllOrBadAlloc(
        [&] { values.initFrom(value); },
        [&] { return values.size() == 2 && static_cast<const char*>(values[1]) == s_strLong; });
}

TEST(ParameterTrieMemory, DefaultsAreWholeOrNotThere)
{
    ParameterHashMap whole;
    ParameterInfoDB::getInstance().addDefaultsToConfig(whole, true);
    std::string strExpected;
    ASSERT_TRUE(whole.getStringParameter("keswardin.gw.recordCalls.directory", strExpected));
    std::unique_ptr<ParameterHashMap> pDefaults;
    std::string strFound;
    expectAllOrBadAlloc(
        [&]
        {
            pDefaults = std::make_unique<ParameterHashMap>();
            ParameterInfoDB::getInstance().addDefaultsToConfig(*pDefaults, true);
        },
        [&]
        {
            return pDefaults->getStringParameter("keswardin.gw.recordCalls.directory", strFound) &&
                   strFound == strExpected;
        });
}

} // namespace Velmora::Test
