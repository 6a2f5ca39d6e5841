// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Exception.h"

#include "tests/support/TextOf.h"

#include <gtest/gtest.h>

#include <exception>
#include <sstream>
#include <string>
#include <type_traits>

namespace
{

using Velmora::Exception;
using Velmora::ExceptionWithMsg;
using Velmora::Object;
using Velmora::OutputStreamable;
using Velmora::Test::textOf;

TEST(Exception, LeavesItsTextFormToDerivedClasses)
{
    EXPECT_TRUE(std::is_abstract_v<Exception>);
    EXPECT_TRUE((std::is_base_of_v<OutputStreamable, Exception>));
}

TEST(ExceptionWithMsg, WritesItsMessage)
{
    EXPECT_EQ(textOf(ExceptionWithMsg("no such trunk")), "no such trunk");
}

TEST(ExceptionWithMsg, WriteReturnsTheStream)
{
    const ExceptionWithMsg exception("no such trunk");
    std::ostringstream text;

    EXPECT_EQ(&exception.write(text), &text);
}

TEST(ExceptionWithMsg, HasItsMessageAsAStandardException)
{
    EXPECT_STREQ(ExceptionWithMsg("no such trunk").what(), "no such trunk");
}

TEST(ExceptionWithMsg, MessageMayBeEmpty)
{
    const ExceptionWithMsg exception("");

    EXPECT_STREQ(exception.what(), "");
    EXPECT_EQ(textOf(exception), "");
}

TEST(ExceptionWithMsg, KeepsACopyOfItsMessage)
{
    std::string strMessage = "no such trunk";
    const ExceptionWithMsg exception(strMessage.c_str());

    strMessage.assign(strMessage.size(), 'x');

    EXPECT_STREQ(exception.what(), "no such trunk");
}

TEST(ExceptionWithMsg, CopyHasTheMessageOfItsOwn)
{
    auto* const pOriginal = new ExceptionWithMsg("a message that is longer than a short string");
    const ExceptionWithMsg copy(*pOriginal);
    delete pOriginal;

    EXPECT_STREQ(copy.what(), "a message that is longer than a short string");
}

TEST(ExceptionWithMsg, AssignmentTakesTheMessage)
{
    ExceptionWithMsg exception("first");

    exception = ExceptionWithMsg("second");

    EXPECT_STREQ(exception.what(), "second");
}

TEST(ExceptionWithMsg, IsCaughtAsAnException)
{
    std::string strCaught;
    try
    {
        throw ExceptionWithMsg("no such trunk");
    }
    catch (const Exception& exception)
    {
        strCaught = textOf(exception);
    }
    EXPECT_EQ(strCaught, "no such trunk");
}

TEST(ExceptionWithMsg, IsCaughtAsAStandardException)
{
    std::string strCaught;
    try
    {
        throw ExceptionWithMsg("no such trunk");
    }
    catch (const std::exception& exception)
    {
        strCaught = exception.what();
    }
    EXPECT_EQ(strCaught, "no such trunk");
}

TEST(ExceptionWithMsg, IsCaughtAsAnObject)
{
    EXPECT_THROW(throw ExceptionWithMsg("no such trunk"), Object);
}

/// A class that derives from both has each root once, so that handlers of either are unambiguous.
class TwiceAnException : public virtual ExceptionWithMsg, public virtual std::exception
{
  public:
    // NOLINTNEXTLINE(bugprone-throw-keyword-missing): this is a base.
    TwiceAnException() : ExceptionWithMsg("twice") {}
};

TEST(ExceptionWithMsg, SharesItsRootsWithWhatDerivesFromThemToo)
{
    EXPECT_THROW(throw TwiceAnException(), std::exception);
}

} // namespace
