// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/LimitedObjPtr.h"

#include "velmora/application/Handle.h"

#include <gtest/gtest.h>

namespace Velmora::Test
{

namespace
{

class Observer : public virtual Object
{
  public:
    int iSeen = 3;
};

class AlarmObserver : public Observer
{
};

int seen(LimitedObjPtr<Observer> in_pObserver) { return in_pObserver->iSeen; }

} // namespace

TEST(LimitedObjPtr, IsOneWord) { EXPECT_EQ(sizeof(void*), sizeof(LimitedObjPtr<Observer>)); }

TEST(LimitedObjPtr, IsNullByDefault)
{
    const LimitedObjPtr<Observer> pObserver;
    EXPECT_TRUE(pObserver.isNull());
    EXPECT_FALSE(pObserver);
    EXPECT_EQ(nullptr, pObserver.get());
    EXPECT_TRUE(LimitedObjPtr<Observer>(nullptr).isNull());
}

TEST(LimitedObjPtr, IsMadeOfABarePointerInAnArgument)
{
    AlarmObserver observer;
    EXPECT_EQ(3, seen(&observer));
}

TEST(LimitedObjPtr, ConvertsToABaseClass)
{
    AlarmObserver observer;
    const LimitedObjPtr<AlarmObserver> pObserver(&observer);
    EXPECT_EQ(3, seen(pObserver));
}

TEST(LimitedObjPtr, DoesNotCountAnObjectOfAHandle)
{
    Handle<AlarmObserver> hObserver(new AlarmObserver);
    const LimitedObjPtr<Observer> pObserver = hObserver;
    EXPECT_EQ(hObserver.get(), pObserver.get());
    EXPECT_EQ(3, (*pObserver).iSeen);
    hObserver.reset(); // would leak if it had been counted
}

TEST(LimitedObjPtr, PointersToOneObjectAreEqual)
{
    Observer first;
    Observer second;
    EXPECT_EQ(LimitedObjPtr<Observer>(&first), LimitedObjPtr<Observer>(&first));
    EXPECT_NE(LimitedObjPtr<Observer>(&first), LimitedObjPtr<Observer>(&second));
}

} // namespace Velmora::Test
