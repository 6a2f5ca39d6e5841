// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Parameter.h"

#include "tests/support/AccountingProcess.h"
#include "velmora/memory/test/MallocWatch.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

using namespace Velmora;
using Velmora::Test::inAccountingProcess;

namespace
{

/// The number of bytes that the allocator adds to each string.
constexpr int s_iBlockHeader = 16;

int bytesHeld() { return Velmora::Test::bytesHeld("ParameterValue"); }

} // namespace

TEST(ParameterValueMemory, AStringIsChargedToItsAccountWithItsTerminator)
{
    inAccountingProcess(
        []
        {
            const int iBefore = bytesHeld();
            ParameterValue value;
            value = "text";
            EXPECT_EQ(bytesHeld(), iBefore + 5 + s_iBlockHeader);
        });
}

TEST(ParameterValueMemory, TheAccountHasItsName)
{
    EXPECT_STREQ(s_szParamValueAccountName, "ParameterValue");
}

TEST(ParameterValueMemory, AStringFromANullBeginTakesOneByte)
{
    inAccountingProcess(
        []
        {
            const int iBefore = bytesHeld();
            ParameterValue value;
            value.initUnionFromString(nullptr, nullptr);
            EXPECT_EQ(bytesHeld(), iBefore + 1 + s_iBlockHeader);
            value.deallocateString();
            EXPECT_EQ(bytesHeld(), iBefore);
        });
}

TEST(ParameterValueMemory, ACopyIsChargedAgain)
{
    inAccountingProcess(
        []
        {
            ParameterValue value;
            value = "text";
            const int iBefore = bytesHeld();
            const ParameterValue copy(value);
            EXPECT_EQ(bytesHeld(), iBefore + 5 + s_iBlockHeader);
        });
}

TEST(ParameterValueMemory, AMoveChargesNothing)
{
    inAccountingProcess(
        []
        {
            ParameterValue value;
            value = "text";
            const int iBefore = bytesHeld();
            ParameterValue moved(std::move(value));
            ParameterValue assigned;
            assigned = std::move(moved);
            EXPECT_EQ(bytesHeld(), iBefore);
        });
}

TEST(ParameterValueMemory, TheDestructorReleasesAString)
{
    inAccountingProcess(
        []
        {
            const int iBefore = bytesHeld();
            {
                ParameterValue value;
                value = "text";
            }
            EXPECT_EQ(bytesHeld(), iBefore);
        });
}

TEST(ParameterValueMemory, TheDestructorLeavesAPayloadOfAnotherTypeAlone)
{
    inAccountingProcess(
        []
        {
            const int iBefore = bytesHeld();
            char* szString = nullptr;
            {
                ParameterValue value;
                value = "text";
                szString = value.m_payload.szString;
                value.m_type = ParameterValue::LONG_TYPE;
            }
            EXPECT_EQ(bytesHeld(), iBefore + 5 + s_iBlockHeader);

            ParameterValue value;
            value.m_payload.szString = szString;
            value.deallocateString();
            EXPECT_EQ(bytesHeld(), iBefore);
        });
}

TEST(ParameterValueMemory, EveryAssignmentReleasesAFormerString)
{
    inAccountingProcess(
        []
        {
            const int iBefore = bytesHeld();
            ParameterValue number;
            number = 7;
            ParameterValue value;

            (value = "text") = 7;
            EXPECT_EQ(bytesHeld(), iBefore) << "int";
            (value = "text") = true;
            EXPECT_EQ(bytesHeld(), iBefore) << "bool";
            (value = "text") = 2.5F;
            EXPECT_EQ(bytesHeld(), iBefore) << "float";
            (value = "text") = 2.5;
            EXPECT_EQ(bytesHeld(), iBefore) << "double";
            (value = "text") = number;
            EXPECT_EQ(bytesHeld(), iBefore) << "copy";
            (value = "text") = ParameterValue();
            EXPECT_EQ(bytesHeld(), iBefore) << "move";
            (value = "text") = "other text";
            EXPECT_EQ(bytesHeld(), iBefore + 11 + s_iBlockHeader) << "string";
        });
}

TEST(ParameterValueMemory, AssigningALongReleasesAFormerStringToo)
{
    inAccountingProcess(
        []
        {
            const int iBefore = bytesHeld();
            ParameterValue value;
            (value = "text") = 7L;
            EXPECT_EQ(bytesHeld(), iBefore);
        });
}

TEST(ParameterValueMemory, ReadingTextReleasesAFormerString)
{
    inAccountingProcess(
        []
        {
            const int iBefore = bytesHeld();
            ParameterValue value;
            value = "text";
            value.initFromText("42", ParameterValue::UNDEF_TYPE, true);
            EXPECT_EQ(bytesHeld(), iBefore);
            value = "text";
            value.initFromText("text", ParameterValue::INT_TYPE, true);
            EXPECT_EQ(bytesHeld(), iBefore);
            value.initFromText("  other text  ", ParameterValue::UNDEF_TYPE, true);
            EXPECT_EQ(bytesHeld(), iBefore + 11 + s_iBlockHeader);
        });
}

TEST(ParameterValueMemory, AFailedExtractionReleasesAFormerString)
{
    inAccountingProcess(
        []
        {
            const int iBefore = bytesHeld();
            ParameterValue value;
            value = "text";
            std::istringstream stream("");
            stream >> value;
            EXPECT_EQ(bytesHeld(), iBefore);
        });
}

TEST(ParameterValueMemory, AVectorReleasesItsFormerStrings)
{
    inAccountingProcess(
        []
        {
            const int iBefore = bytesHeld();
            ParameterValue value;
            value = "one two three";
            ParameterValueVector values;
            values.initFrom(value);
            EXPECT_EQ(bytesHeld(), iBefore + 14 + 4 + 4 + 6 + 4 * s_iBlockHeader);
            values.initFrom(ParameterValue());
            EXPECT_EQ(bytesHeld(), iBefore + 14 + s_iBlockHeader);
        });
}

#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER

namespace
{

using Velmora::Test::MallocFailure;

/// Too long for a chunk, so that each copy calls `malloc`.
const std::string s_strLong(1000, 'x');

ParameterValue longValue()
{
    ParameterValue value;
    value = s_strLong.c_str();
    return value;
}

/// Returns whether a piece of work fails for lack of memory.
bool lacksMemory(const std::function<void()>& in_work)
{
    try
    {
        const MallocFailure failure;
        in_work();
        return false;
    }
    catch (const std::bad_alloc&)
    {
        return true;
    }
}

} // namespace

TEST(ParameterValueMemory, ACopyThatFindsNoMemoryLeavesNothingBehind)
{
    inAccountingProcess(
        []
        {
            const ParameterValue source = longValue();
            const int iBefore = bytesHeld();
            EXPECT_TRUE(lacksMemory([&source] { const ParameterValue copy(source); }));
            EXPECT_EQ(bytesHeld(), iBefore);
        });
}

TEST(ParameterValueMemory, AnAssignmentThatFindsNoMemoryLeavesTheValueAsItWas)
{
    const ParameterValue source = longValue();
    ParameterValue value;
    value = "text";
    EXPECT_TRUE(lacksMemory([&] { value = source; })) << "of a value";
    EXPECT_STREQ("text", value);
    EXPECT_TRUE(lacksMemory([&] { value = s_strLong.c_str(); })) << "of a text";
    EXPECT_STREQ("text", value);
    value = 7;
    EXPECT_TRUE(lacksMemory([&] { value = source; })) << "to a number";
    EXPECT_EQ(7, int(value));
}

TEST(ParameterValueMemory, AnAssignmentThatFindsNoMemoryReleasesNothing)
{
    inAccountingProcess(
        []
        {
            const ParameterValue source = longValue();
            ParameterValue value = longValue();
            const int iBefore = bytesHeld();
            EXPECT_TRUE(lacksMemory([&] { value = source; }));
            EXPECT_TRUE(lacksMemory([&] { value = s_strLong.c_str(); }));
            EXPECT_TRUE(lacksMemory([&] { value = static_cast<const char*>(value); }));
            EXPECT_EQ(bytesHeld(), iBefore);
            EXPECT_EQ(s_strLong, static_cast<const char*>(value));
        });
}

TEST(ParameterValueMemory, ReadingATextThatFindsNoMemoryLeavesTheValueAsItWas)
{
    ParameterValue value;
    value = "text";
    EXPECT_TRUE(lacksMemory(
        [&] { value.initFromText(s_strLong.c_str(), ParameterValue::UNDEF_TYPE, true); }));
    EXPECT_STREQ("text", value);
}

TEST(ParameterValueMemory, AStringThatFindsNoMemoryLeavesThePayloadAsItWas)
{
    ParameterValue value;
    value = 7L;
    EXPECT_TRUE(lacksMemory([&] { value.initUnionFromString(s_strLong.c_str(), nullptr); }));
    EXPECT_EQ(7L, long(value));
}

TEST(ParameterValueMemory, ASmallStringThatFindsNoMemoryIsAFailureToo)
{
    ParameterValue source;
    source = "text";
    std::vector<std::optional<ParameterValue>> copies(100000);
    EXPECT_TRUE(lacksMemory(
        [&]
        {
            for (std::optional<ParameterValue>& copy : copies)
                copy.emplace(source);
        }));
    EXPECT_STREQ("text", *copies.front());
}

#endif
