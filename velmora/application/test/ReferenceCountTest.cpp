// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ReferenceCount.h"

#include "velmora/application/Handle.h"

#include "tests/support/AccountingProcess.h"

#include <gtest/gtest.h>

#include <memory>

namespace Velmora::Test
{

namespace
{

template <class AnyHandle>
void expectOneCountIn(const char* in_szAccount, std::size_t in_uiSize)
{
    const int iBefore = bytesHeld(in_szAccount);
    {
        const AnyHandle hObject(new Object);
        const AnyHandle hCopy(hObject); // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_EQ(iBefore + static_cast<int>(in_uiSize), bytesHeld(in_szAccount));
    }
    EXPECT_EQ(iBefore, bytesHeld(in_szAccount));
}

} // namespace

TEST(ReferenceCount, IsFourBytes) { EXPECT_EQ(4U, sizeof(ReferenceCount)); }

TEST(ReferenceCount, StartsAtOne) { EXPECT_EQ(1U, ReferenceCount().m_uiCount); }

TEST(ReferenceCount, IsChargedToItsAccount)
{
    inAccountingProcess(
        [] { expectOneCountIn<Handle<Object>>("ReferenceCount", sizeof(ReferenceCount)); });
}

TEST(TSReferenceCount, StartsAtOneAndUnlocked)
{
    const TSReferenceCount count;
    EXPECT_EQ(1U, count.m_uiCount);
    EXPECT_FALSE(count.isLocked());
}

TEST(TSReferenceCount, IsMarkedWhileItIsLocked)
{
    TSReferenceCount count;
    count.acquireLock();
    EXPECT_TRUE(count.isLocked());
    count.releaseLock();
    EXPECT_FALSE(count.isLocked());
    count.acquireLock();
    count.releaseLock();
}

TEST(TSReferenceCount, IsChargedToItsAccount)
{
    inAccountingProcess(
        [] { expectOneCountIn<TSHandle<Object>>("TSReferenceCount", sizeof(TSReferenceCount)); });
}

} // namespace Velmora::Test
