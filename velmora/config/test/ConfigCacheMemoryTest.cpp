// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigCache.h"

#include "velmora/memory/StaticMemAllocator.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/CountedLocks.h"
#include "velmora/config/test/ConfigCacheFixture.h"

#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>

namespace Velmora::Test
{

namespace
{

/// Returns the number of chunks that the allocators have handed out, of all sizes.
std::uint64_t chunksGivenOut()
{
    std::uint64_t uiChunks = 0;
    for (std::size_t uiClass = 0; uiClass < 32; ++uiClass)
        uiChunks += StaticMemAllocator::getAllocator()->getStats(uiClass).uiNumChunkAlloc;
    return uiChunks;
}

/// The resources that a piece of work uses.
struct Taken
{
    int iAllocations;
    std::uint64_t uiChunks;
    int iLocks;

    bool operator==(const Taken&) const = default;
};

std::ostream& operator<<(std::ostream& out_stream, const Taken& in_taken)
{
    return out_stream << in_taken.iAllocations << " allocations, " << in_taken.uiChunks
                      << " chunks, " << in_taken.iLocks << " locks";
}

Taken takenBy(const std::function<void()>& in_work)
{
    const std::uint64_t uiChunks = chunksGivenOut();
    const int iAllocations = s_iAllocations;
    const int iLocks = s_iLocks;
    in_work();
    Taken taken{s_iAllocations - iAllocations, 0, s_iLocks - iLocks};
    taken.uiChunks = chunksGivenOut() - uiChunks;
    return taken;
}

} // namespace

// The cost of a hit

TEST_F(ConfigCacheTest, AHitTakesNoLockAndNoMemory)
{
    constexpr const char* szLongName =
        "keswardin.a-component-that-is-longer-than-a-short-string.another-one-that-is-as-long";
    m_behind.setIntParameter("int", 5);
    m_behind.setBoolParameter("sip.bool", true);
    m_behind.setIntParameter(szLongName, 6);
    const CapturedLog quiet(INFO_LOG_LEVEL);
    ParameterValue value;
    const auto readAll = [&]
    {
        for (const char* const szName : {"int", "sip.bool", szLongName, "none", ""})
            m_cache.getParameter(szName, value);
    };
    readAll();
    EXPECT_EQ((Taken{0, 0, 0}), takenBy(readAll));
    EXPECT_EQ(5U, m_behind.m_asked.size());
}

TEST_F(ConfigCacheTest, AHitOfAStringTakesMemoryForItsCopyOnly)
{
    m_behind.setStringParameter("sip.domain", "media7.example.net");
    const CapturedLog quiet(INFO_LOG_LEVEL);
    ParameterValue value;
    m_cache.getParameter("sip.domain", value);
    ParameterValue copy;
    const Taken forCopy = takenBy([&copy, &value] { copy = value; });
    EXPECT_EQ(1U, forCopy.uiChunks);
    EXPECT_EQ(forCopy, takenBy([this, &value] { m_cache.getParameter("sip.domain", value); }));
}

TEST(ConfigCache, WhatCountsLocksAndMemoryInTheseTestsSeesThem)
{
    if (!s_bCountsLocks)
        GTEST_SKIP() << "the sanitizer replaces the functions that lock";
    ACE_Thread_Mutex mutex;
    const auto work = [&mutex]
    {
        const ACE_Guard<ACE_Thread_Mutex> guard(mutex);
        delete new int;
        DefaultStaticMemAllocator::deallocate(DefaultStaticMemAllocator::allocate(8, "test"), 8,
                                              "test");
    };
    // The first allocation of a thread takes many chunks at once.
    work();
    EXPECT_EQ((Taken{1, 1, 1}), takenBy(work));
}

// Accounts

TEST(ConfigCache, ChargesItsCopiesToTheAccountsOfValuesAndCounts)
{
    inAccountingProcess(
        []
        {
            auto* const pBehind = new Behind;
            pBehind->setIntParameter("a", 1);
            ConfigCache cache;
            cache.setConfiguration(TSHandle<ROConfiguration>(pBehind));
            const int iValues = bytesHeld("ParameterValue");
            const int iCounts = bytesHeld("ReferenceCount");
            const int iNodes = bytesHeld("Trie");
            EXPECT_TRUE(cache.parameterDefined("a"));
            EXPECT_FALSE(cache.parameterDefined(""));
            EXPECT_EQ(iValues + 2 * static_cast<int>(sizeof(ParameterValue)),
                      bytesHeld("ParameterValue"));
            EXPECT_EQ(iCounts + 2 * static_cast<int>(sizeof(ReferenceCount)),
                      bytesHeld("ReferenceCount"));
            EXPECT_LT(iNodes, bytesHeld("Trie"));
            cache.flush();
            EXPECT_EQ(iValues, bytesHeld("ParameterValue"));
            EXPECT_EQ(iCounts, bytesHeld("ReferenceCount"));
            EXPECT_EQ(iNodes, bytesHeld("Trie"));
        });
}

} // namespace Velmora::Test
