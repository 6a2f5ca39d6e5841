// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/InAccount.h"

#include "tests/support/AccountingProcess.h"

#include <gtest/gtest.h>

#include <memory>

namespace Velmora::Test
{

namespace
{

class Call : public InAccount<"Call">
{
  public:
    Call() = default;
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    virtual ~Call() = default;

    char name[20] = "";
};

class LongCall : public Call
{
  public:
    char text[500] = "";
};

class Quoted : public InAccount<"\"DiskFileSystem::File\"">
{
  public:
    int iDescriptor = -1;
};

} // namespace

TEST(InAccount, AddsNothingToTheSizeOfItsClass) { EXPECT_EQ(sizeof(int), sizeof(Quoted)); }

TEST(InAccount, ObjectsAreChargedToTheAccount)
{
    inAccountingProcess(
        []
        {
            const auto pCall = std::make_unique<Call>();
            EXPECT_EQ(static_cast<int>(sizeof(Call)), bytesHeld("Call"));
        });
}

TEST(InAccount, ADerivedObjectThatIsDeletedThroughItsBaseGoesBackWithItsOwnSize)
{
    inAccountingProcess(
        []
        {
            std::unique_ptr<Call> pCall = std::make_unique<LongCall>();
            EXPECT_EQ(static_cast<int>(sizeof(LongCall)), bytesHeld("Call"));
            pCall.reset();
            EXPECT_EQ(0, bytesHeld("Call"));
        });
}

TEST(InAccount, AnAccountsNameMayHaveQuotes)
{
    inAccountingProcess(
        []
        {
            const auto pFile = std::make_unique<Quoted>();
            EXPECT_LT(0, bytesHeld("\"DiskFileSystem::File\""));
        });
}

TEST(InAccount, AnObjectMayBeConstructedInMemoryOfItsUser)
{
    alignas(Quoted) char memory[sizeof(Quoted)];
    const Quoted* const pFile = new (memory) Quoted;
    EXPECT_EQ(static_cast<const void*>(memory), pFile);
    EXPECT_EQ(-1, pFile->iDescriptor);
    pFile->~Quoted();
}

TEST(InAccount, MemoryThatIsNotToBeHadIsAnException)
{
    // Calls the function directly: a new expression passes the size of the class, and no memory is
    // allocated for a size of 0.
    EXPECT_THROW(static_cast<void>(Quoted::operator new(0)), std::bad_alloc);
}

} // namespace Velmora::Test
