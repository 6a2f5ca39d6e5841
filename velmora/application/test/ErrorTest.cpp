// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Error.h"

#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"
#include "velmora/memory/StaticMemAllocator.h"

#include "tests/support/HelperProcess.h"
#include "tests/support/TextOf.h"
#include "velmora/memory/test/MallocWatch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace
{

/// While true, `operator new` fails on this thread.
thread_local bool s_bOutOfMemory = false;

class OutOfMemoryScope
{
  public:
    OutOfMemoryScope() { s_bOutOfMemory = true; }
    ~OutOfMemoryScope() { s_bOutOfMemory = false; }
    OutOfMemoryScope(const OutOfMemoryScope&) = delete;
    OutOfMemoryScope& operator=(const OutOfMemoryScope&) = delete;
};

} // namespace

// Not inlined: the compiler would otherwise warn of a mismatch of `malloc` and `delete`.

[[gnu::noinline]] void* operator new(std::size_t in_uiSize)
{
    void* const pMemory = s_bOutOfMemory ? nullptr : std::malloc(in_uiSize);
    if (pMemory == nullptr)
        throw std::bad_alloc();
    return pMemory;
}

[[gnu::noinline]] void* operator new(std::size_t in_uiSize, const std::nothrow_t&) noexcept
{
    return s_bOutOfMemory ? nullptr : std::malloc(in_uiSize);
}

[[gnu::noinline]] void operator delete(void* in_pMemory) noexcept { std::free(in_pMemory); }

[[gnu::noinline]] void operator delete(void* in_pMemory, std::size_t) noexcept
{
    std::free(in_pMemory);
}

[[gnu::noinline]] void operator delete(void* in_pMemory, const std::nothrow_t&) noexcept
{
    std::free(in_pMemory);
}

namespace
{

using Velmora::ChunkAllocatorNoT;
using Velmora::Cloneable;
using Velmora::DefaultStaticMemAllocator;
using Velmora::Error;
using Velmora::ErrorStringImpl;
using Velmora::MemAccountInfo;
using Velmora::OutputStreamable;
using Velmora::StaticAccountMemAllocator;
using Velmora::StaticMemAllocator;
using Velmora::Test::HelperResult;
using Velmora::Test::runHelper;
using Velmora::Test::textOf;

constexpr const char* s_szLongText = "a text that is too long for a string to keep within itself";

std::string textOfClone(const Cloneable& in_clone)
{
    return textOf(dynamic_cast<const ErrorStringImpl&>(in_clone));
}

/// Returns the counters of the chunks that objects of the class come from.
ChunkAllocatorNoT::Stats chunkStats()
{
    return StaticMemAllocator::getAllocator()->getStats((sizeof(ErrorStringImpl) - 1) / 8);
}

/// Returns whether an error can be cloned while there is no memory for a text that does not fit
/// into the string object itself.
bool cloneWithoutMemoryForTheText(const ErrorStringImpl& in_error)
{
    try
    {
        const OutOfMemoryScope outOfMemory;
        delete in_error.clone();
        return true;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}

TEST(Error, LeavesTextFormAndCopyToDerivedClasses)
{
    EXPECT_TRUE(std::is_abstract_v<Error>);
    EXPECT_TRUE((std::is_base_of_v<OutputStreamable, Error>));
    EXPECT_TRUE((std::is_base_of_v<Cloneable, Error>));
}

TEST(ErrorStringImpl, WritesItsText)
{
    EXPECT_EQ(textOf(ErrorStringImpl("line 7: no value")), "line 7: no value");
}

TEST(ErrorStringImpl, WriteReturnsTheStream)
{
    const ErrorStringImpl error("line 7: no value");
    std::ostringstream text;

    EXPECT_EQ(&error.write(text), &text);
}

TEST(ErrorStringImpl, TextMayBeEmpty) { EXPECT_EQ(textOf(ErrorStringImpl("")), ""); }

TEST(ErrorStringImpl, KeepsACopyOfItsText)
{
    std::string strText = "line 7: no value";
    const ErrorStringImpl error(strText.c_str());

    strText.assign(strText.size(), 'x');

    EXPECT_EQ(textOf(error), "line 7: no value");
}

TEST(ErrorStringImpl, CloneHasTheSameText)
{
    const ErrorStringImpl error("line 7: no value");

    const std::unique_ptr<Cloneable> pClone(error.clone());

    EXPECT_EQ(textOfClone(*pClone), "line 7: no value");
}

TEST(ErrorStringImpl, CloneOutlivesTheOriginal)
{
    auto pError = std::make_unique<ErrorStringImpl>(s_szLongText);
    const std::unique_ptr<Cloneable> pClone(pError->clone());

    pError.reset();

    EXPECT_EQ(textOfClone(*pClone), s_szLongText);
}

TEST(ErrorStringImpl, IsClonedThroughTheErrorInterface)
{
    const ErrorStringImpl error("line 7: no value");
    const Error& base = error;

    const std::unique_ptr<Cloneable> pClone(base.clone());

    EXPECT_NE(dynamic_cast<Error*>(pClone.get()), nullptr);
}

TEST(ErrorStringImpl, CloneTakesOneChunkOfTheAllocator)
{
    const ErrorStringImpl error("line 7: no value");
    const ChunkAllocatorNoT::Stats before = chunkStats();

    const std::unique_ptr<Cloneable> pClone(error.clone());

    const ChunkAllocatorNoT::Stats after = chunkStats();
    EXPECT_EQ(after.uiNumChunkAlloc - before.uiNumChunkAlloc, 1u);
    EXPECT_EQ(after.uiNumChunkDealloc - before.uiNumChunkDealloc, 0u);
}

TEST(ErrorStringImpl, CloneGivesItsChunkBackWhenDeletedThroughItsInterface)
{
    const ErrorStringImpl error("line 7: no value");
    std::unique_ptr<Cloneable> pClone(error.clone());
    const ChunkAllocatorNoT::Stats before = chunkStats();

    pClone.reset();

    EXPECT_EQ(chunkStats().uiNumChunkDealloc - before.uiNumChunkDealloc, 1u);
}

TEST(ErrorStringImpl, FailedCopyingOfTheTextLeavesThroughClone)
{
    const ErrorStringImpl error(s_szLongText);

    EXPECT_FALSE(cloneWithoutMemoryForTheText(error));
}

TEST(ErrorStringImpl, FailedCopyingOfTheTextGivesTheChunkBack)
{
    const ErrorStringImpl error(s_szLongText);
    const std::unique_ptr<Cloneable> pWarmUp(error.clone());
    const ChunkAllocatorNoT::Stats before = chunkStats();

    ASSERT_FALSE(cloneWithoutMemoryForTheText(error));

    const ChunkAllocatorNoT::Stats after = chunkStats();
    EXPECT_EQ(after.uiNumChunkAlloc - before.uiNumChunkAlloc, 1u);
    EXPECT_EQ(after.uiNumChunkDealloc - before.uiNumChunkDealloc, 1u);
}

/// Returns whether this process accounts its memory. If not, runs the calling test in a process
/// that does.
bool isAccountingOrRunsInProcessThatDoes()
{
    if (DefaultStaticMemAllocator::isAccountingMemory())
        return true;
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    const HelperResult result =
        runHelper("/proc/self/exe",
                  {std::string("--gtest_filter=") + test.test_suite_name() + "." + test.name()},
                  {{"VELMORA_MEM_ACCOUNTING", "true"}});
    EXPECT_EQ(result.iExitCode, 0) << result.strOutput << result.strErrors;
    return false;
}

constexpr auto s_iObjectSize = static_cast<std::int32_t>(sizeof(ErrorStringImpl));

/// Returns the balance of the account, or -1 if nothing was ever charged to it.
std::int32_t accountBalance()
{
    MemAccountInfo info;
    return StaticAccountMemAllocator::getMemAccountInfo("ErrorStringImpl", info) ? info.iBalance
                                                                                 : -1;
}

TEST(ErrorStringImpl, CloneIsChargedToItsAccount)
{
    if (!isAccountingOrRunsInProcessThatDoes())
        return;
    const ErrorStringImpl error("line 7: no value");

    const std::unique_ptr<Cloneable> pClone(error.clone());

    EXPECT_EQ(accountBalance(), s_iObjectSize);
}

TEST(ErrorStringImpl, DeletedCloneIsCreditedToItsAccount)
{
    if (!isAccountingOrRunsInProcessThatDoes())
        return;
    const ErrorStringImpl error("line 7: no value");

    std::unique_ptr<Cloneable>(error.clone()).reset();

    EXPECT_EQ(accountBalance(), 0);
}

TEST(ErrorStringImpl, FailedCopyingOfTheTextLeavesTheErrorThatIsAssignedToAsItWas)
{
    const ErrorStringImpl source(s_szLongText);
    ErrorStringImpl error("line 7: no value");
    try
    {
        const OutOfMemoryScope outOfMemory;
        error = source;
        ADD_FAILURE() << "there was memory";
    }
    catch (const std::bad_alloc&)
    {
    }
    EXPECT_EQ(textOf(error), "line 7: no value");
}

#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER

TEST(ErrorStringImpl, CloneThatFindsNoMemoryForItselfFails)
{
    // The text is short enough to be stored without an allocation.
    const ErrorStringImpl error("no value");
    std::vector<std::unique_ptr<Cloneable>> clones(100000);
    bool bFailed = false;
    try
    {
        const Velmora::Test::MallocFailure failure;
        for (std::unique_ptr<Cloneable>& pClone : clones)
            pClone.reset(error.clone());
    }
    catch (const std::bad_alloc&)
    {
        bFailed = true;
    }
    EXPECT_TRUE(bFailed);
    EXPECT_EQ(textOf(error), "no value");
}

#endif

TEST(ErrorStringImpl, FailedCopyingOfTheTextIsCreditedToItsAccount)
{
    if (!isAccountingOrRunsInProcessThatDoes())
        return;
    const ErrorStringImpl error(s_szLongText);
    const std::unique_ptr<Cloneable> pWarmUp(error.clone());

    ASSERT_FALSE(cloneWithoutMemoryForTheText(error));

    EXPECT_EQ(accountBalance(), s_iObjectSize);
}

} // namespace
