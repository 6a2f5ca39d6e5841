// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/AccountMemBlock.h"

#include "tests/support/AccountingProcess.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <new>

using namespace Velmora;
using namespace Velmora::Test;

TEST(AccountMemBlock, HoldsMemoryOfItsAccount)
{
    inAccountingProcess(
        []
        {
            const AccountMemBlock block(100, "TestBlock");
            EXPECT_NE(block.get(), nullptr);
            EXPECT_EQ(bytesHeld("TestBlock"), 100);
        });
}

TEST(AccountMemBlock, GivesItsMemoryBack)
{
    inAccountingProcess(
        []
        {
            {
                const AccountMemBlock block(100, "TestBlock");
            }
            EXPECT_EQ(bytesHeld("TestBlock"), 0);
        });
}

TEST(AccountMemBlock, LeavesReleasedMemoryToTheCaller)
{
    inAccountingProcess(
        []
        {
            void* pMemory = nullptr;
            {
                AccountMemBlock block(100, "TestBlock");
                pMemory = block.get();
                block.release();
            }
            EXPECT_EQ(bytesHeld("TestBlock"), 100);
            DefaultStaticMemAllocator::deallocate(pMemory, 100, "TestBlock");
            EXPECT_EQ(bytesHeld("TestBlock"), 0);
        });
}

TEST(AccountMemBlock, ThrowsWhenThereIsNoMemory)
{
    // For a size of 0 the allocator returns null.
    EXPECT_THROW(AccountMemBlock(0, "TestBlock"), std::bad_alloc);
}
