// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/StaticPerThreadMemAllocator.h"

#include "velmora/logging/Logger.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ForkedChild.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* s_szAccount = "test";

using Impl = StaticPerThreadMemAllocatorImpl;
using Chunks = MemAllocator<ACE_Thread_Mutex, 32>;

/// Gives a test access to the allocators.
class Open : public Impl
{
  public:
    static const std::vector<std::unique_ptr<Chunks>>& allocators()
    {
        return Impl::getInstance()->*(&Open::m_allocators);
    }
};

} // namespace

TEST(StaticPerThreadMemAllocator, IsOneObject)
{
    EXPECT_TRUE(StaticPerThreadMemAllocator::initializeClass());
    EXPECT_NE(nullptr, Impl::getInstance());
    EXPECT_EQ(Impl::getInstance(), Impl::getInstance());
    std::thread([pImpl = Impl::getInstance()] { EXPECT_EQ(pImpl, Impl::getInstance()); }).join();
    EXPECT_TRUE(StaticPerThreadMemAllocator::initializeClass());
}

TEST(StaticPerThreadMemAllocator, HasSixteenAllocatorsOfItsOwn)
{
    std::set<const Chunks*> allocators;
    for (const std::unique_ptr<Chunks>& pAllocator : Open::allocators())
    {
        allocators.insert(pAllocator.get());
        EXPECT_EQ(Logger().getName(), pAllocator->getLogger().getName());
    }
    EXPECT_EQ(16U, Open::allocators().size());
    EXPECT_EQ(16U, allocators.size());
    EXPECT_EQ(0U, allocators.count(nullptr));
}

TEST(StaticPerThreadMemAllocator, GivesBlocksOfTheAllocatorOfTheThread)
{
    void* const pMemory = StaticPerThreadMemAllocator::allocate(24, s_szAccount);
    const auto& pAllocator = Open::allocators()[static_cast<std::size_t>(gettid()) % 16];
    EXPECT_EQ(pAllocator.get(), static_cast<void**>(pMemory)[-2]);
    std::memset(pMemory, 'x', 24);
    EXPECT_EQ(1U, pAllocator->getStats(4).uiNumChunkAlloc);
    StaticPerThreadMemAllocator::deallocate(pMemory, 24, s_szAccount);
    EXPECT_EQ(1U, pAllocator->getStats(4).uiNumChunkDealloc);
}

TEST(StaticPerThreadMemAllocator, ABlockReleasedByAnotherThreadGoesBackToItsOwnAllocator)
{
    void* const pMemory = StaticPerThreadMemAllocator::allocate(24, s_szAccount);
    const Chunks& allocator = *static_cast<Chunks**>(pMemory)[-2];
    for (const Chunks* pOther = &allocator; pOther == &allocator;)
        std::thread(
            [&]
            {
                void* const pOwn = StaticPerThreadMemAllocator::allocate(24, s_szAccount);
                pOther = static_cast<Chunks**>(pOwn)[-2];
                StaticPerThreadMemAllocator::deallocate(pOwn, 24, s_szAccount);
                if (pOther != &allocator)
                    StaticPerThreadMemAllocator::deallocate(pMemory, 24, s_szAccount);
            })
            .join();
    for (const std::unique_ptr<Chunks>& pAllocator : Open::allocators())
        EXPECT_EQ(pAllocator->getStats(4).uiNumChunkAlloc,
                  pAllocator->getStats(4).uiNumChunkDealloc);
}

TEST(StaticPerThreadMemAllocator, AChildOfAForkUsesTheAllocatorOfItsOwnIdentifier)
{
    void* const pOfParent = StaticPerThreadMemAllocator::allocate(24, s_szAccount);
    static_cast<void>(StaticPerThreadMemAllocator::allocate(24, s_szAccount));
    for (int iChild = 0; iChild < 2; ++iChild)
    {
        const int iCode = exitCodeOfChild(
            [&]
            {
                void* const pMemory = StaticPerThreadMemAllocator::allocate(24, s_szAccount);
                const auto& pOwn = Open::allocators()[static_cast<std::size_t>(gettid()) % 16];
                const bool bOwn = static_cast<void**>(pMemory)[-2] == pOwn.get();
                StaticPerThreadMemAllocator::deallocate(pMemory, 24, s_szAccount);
                StaticPerThreadMemAllocator::deallocate(pOfParent, 24, s_szAccount);
                return bOwn ? 0 : 1;
            });
        EXPECT_EQ(0, iCode);
    }
}

TEST(StaticPerThreadMemAllocator, ABlockMayHaveNoBytes)
{
    void* const pMemory = StaticPerThreadMemAllocator::allocate(0, s_szAccount);
    EXPECT_NE(nullptr, pMemory);
    StaticPerThreadMemAllocator::deallocate(pMemory, 0, s_szAccount);
}

TEST(StaticPerThreadMemAllocator, ReleasingNothingDoesNothing)
{
    const CapturedLog log;
    StaticPerThreadMemAllocator::deallocate(nullptr, 24, s_szAccount);
    StaticPerThreadMemAllocator::deallocate(nullptr, 1000, s_szAccount);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(StaticPerThreadMemAllocator, ABlockReleasedTwiceFailsAnAssertion)
{
    static_cast<void>(StaticPerThreadMemAllocator::allocate(24, s_szAccount));
    void* const pMemory = StaticPerThreadMemAllocator::allocate(24, s_szAccount);
    StaticPerThreadMemAllocator::deallocate(pMemory, 24, s_szAccount);
    const CapturedLog log;
    StaticPerThreadMemAllocator::deallocate(pMemory, 24, s_szAccount);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion(
                    "*(ppAllocator + 1) == reinterpret_cast<AllocatorPtr> (getMagicToken())",
                    "PerThreadMemAllocator", "keswardin.infra.Assertion")));
}

} // namespace Velmora::Test
