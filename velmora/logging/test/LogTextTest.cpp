// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogText.h"

#include "tests/support/Locales.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <ios>
#include <locale>
#include <sstream>
#include <string>
#include <thread>

namespace
{

using Velmora::LogText;
using Velmora::Test::GlobalLocale;
using Velmora::Test::groupingLocale;

/// Writes a value of each kind. The text differs if the stream is not in the state of a new one.
void writeSamples(std::ostream& out_stream)
{
    out_stream << 1234567 << ' ' << -255 << ' ' << 3.14159265358979 << ' ' << 1e20 << ' ' << true
               << ' ' << 'c' << ' ' << static_cast<void*>(nullptr) << " [" << std::setw(5) << 7
               << ']';
}

std::string samplesOfANewStream()
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    writeSamples(stream);
    return stream.str();
}

std::string samplesOfANewText()
{
    LogText text;
    writeSamples(text.stream());
    return text.text();
}

/// Changes the stream of one text by a function, and returns the samples in the next text.
template <class Function>
std::string samplesAfter(Function in_changeStream)
{
    {
        LogText text;
        in_changeStream(text.stream());
    }
    return samplesOfANewText();
}

TEST(LogText, IsEmptyAtFirst) { EXPECT_EQ(LogText().text(), ""); }

TEST(LogText, HasWhatWasStreamed)
{
    LogText text;

    text.stream() << "call " << 7 << ' ' << 2.5;

    EXPECT_EQ(text.text(), "call 7 2.5");
}

TEST(LogText, GrowsWhileItIsStreamed)
{
    LogText text;

    text.stream() << "call ";
    EXPECT_EQ(text.text(), "call ");
    text.stream() << 7;

    EXPECT_EQ(text.text(), "call 7");
}

TEST(LogText, KeepsNulCharacters)
{
    LogText text;

    text.stream() << std::string("a\0b", 3) << '\0';

    EXPECT_EQ(text.text(), std::string("a\0b\0", 4));
}

TEST(LogText, TakesSingleCharacters)
{
    LogText text;

    text.stream().put('a').put('\n').put('\xff');
    text.stream() << std::endl;

    EXPECT_EQ(text.text(), "a\n\xff\n");
}

TEST(LogText, TakesTheContentsOfAStreamBuffer)
{
    LogText text;
    std::istringstream source("from a buffer");

    text.stream() << source.rdbuf();

    EXPECT_EQ(text.text(), "from a buffer");
}

TEST(LogText, TakesAMegabyte)
{
    const std::string strLong(1 << 20, 'x');
    LogText text;

    text.stream() << strLong << "end";

    EXPECT_EQ(text.text(), strLong + "end");
}

TEST(LogText, HasNothingOfTheOneBefore)
{
    {
        LogText text;
        text.stream() << "before";
    }

    EXPECT_EQ(LogText().text(), "");
}

TEST(LogText, UsesTheStreamOfTheOneBeforeAgain)
{
    const std::ostream* pFirst = nullptr;
    {
        LogText text;
        pFirst = &text.stream();
    }

    EXPECT_EQ(&LogText().stream(), pFirst);
}

TEST(LogText, DoesNotKeepTheMemoryOfAHugeText)
{
    {
        LogText text;
        text.stream() << std::string(1 << 20, 'x');
    }

    EXPECT_LT(LogText().text().capacity(), std::size_t{1} << 16);
}

TEST(LogText, TwoAtOnceHaveStreamsOfTheirOwn)
{
    LogText outer;
    outer.stream() << "outer ";
    {
        LogText inner;
        inner.stream() << "inner";
        EXPECT_EQ(inner.text(), "inner");
    }
    outer.stream() << "still outer";

    EXPECT_EQ(outer.text(), "outer still outer");
}

TEST(LogText, EachThreadHasStreamsOfItsOwn)
{
    LogText text;
    const std::ostream* pOther = nullptr;

    std::thread(
        [&pOther]
        {
            LogText other;
            other.stream() << "other";
            pOther = &other.stream();
        })
        .join();

    EXPECT_NE(pOther, &text.stream());
    EXPECT_EQ(text.text(), "");
}

// Each text has a stream in the state of a new one.

TEST(LogText, StreamIsInTheStateOfANewOne)
{
    LogText text;
    const std::ostringstream fresh;

    EXPECT_EQ(text.stream().flags(), fresh.flags());
    EXPECT_EQ(text.stream().precision(), fresh.precision());
    EXPECT_EQ(text.stream().width(), fresh.width());
    EXPECT_EQ(text.stream().fill(), fresh.fill());
    EXPECT_EQ(text.stream().exceptions(), fresh.exceptions());
    EXPECT_EQ(text.stream().rdstate(), fresh.rdstate());
    EXPECT_EQ(text.stream().tie(), nullptr);
    EXPECT_EQ(text.stream().getloc(), std::locale::classic());
}

TEST(LogText, FlagsDoNotReachTheNextOne)
{
    EXPECT_EQ(samplesAfter(
                  [](std::ostream& out_stream)
                  {
                      out_stream << std::hex << std::showbase << std::uppercase << std::boolalpha
                                 << std::scientific << std::left << std::showpos << std::showpoint
                                 << std::unitbuf << std::noskipws;
                  }),
              samplesOfANewStream());
}

TEST(LogText, PrecisionDoesNotReachTheNextOne)
{
    EXPECT_EQ(samplesAfter([](std::ostream& out_stream) { out_stream << std::setprecision(2); }),
              samplesOfANewStream());
}

TEST(LogText, WidthAndFillDoNotReachTheNextOne)
{
    EXPECT_EQ(samplesAfter([](std::ostream& out_stream)
                           { out_stream << std::setfill('*') << std::setw(20); }),
              samplesOfANewStream());
}

TEST(LogText, FillAloneDoesNotReachTheNextOne)
{
    EXPECT_EQ(samplesAfter([](std::ostream& out_stream) { out_stream << std::setfill('*'); }),
              samplesOfANewStream());
}

TEST(LogText, ErrorStateDoesNotReachTheNextOne)
{
    EXPECT_EQ(
        samplesAfter([](std::ostream& out_stream) { out_stream.setstate(std::ios_base::badbit); }),
        samplesOfANewStream());
}

TEST(LogText, LocaleDoesNotReachTheNextOne)
{
    EXPECT_EQ(samplesAfter([](std::ostream& out_stream) { out_stream.imbue(groupingLocale()); }),
              samplesOfANewStream());
}

TEST(LogText, TakesNoRegardToTheGlobalLocale)
{
    std::string strSamples;
    {
        const GlobalLocale locale;
        std::thread([&strSamples] { strSamples = samplesOfANewText(); }).join();
    }
    EXPECT_EQ(strSamples, samplesOfANewStream());
}

TEST(LogText, TakesNoRegardToTheGlobalLocaleThatComesWhileItsStreamIsThere)
{
    std::string strSamples = samplesOfANewText();
    {
        const GlobalLocale locale;
        strSamples = samplesOfANewText();
    }
    EXPECT_EQ(strSamples, samplesOfANewStream());
}

TEST(LogText, ExceptionMaskDoesNotReachTheNextOne)
{
    {
        LogText text;
        text.stream().exceptions(std::ios_base::badbit | std::ios_base::failbit);
    }

    LogText text;
    EXPECT_NO_THROW(text.stream().setstate(std::ios_base::failbit));
}

TEST(LogText, ExceptionOfTheStreamLeavesTheNextOneInOrder)
{
    EXPECT_EQ(samplesAfter(
                  [](std::ostream& out_stream)
                  {
                      out_stream.exceptions(std::ios_base::badbit);
                      try
                      {
                          out_stream.setstate(std::ios_base::badbit);
                          ADD_FAILURE() << "nothing was thrown";
                      }
                      catch (const std::ios_base::failure&)
                      {
                          EXPECT_TRUE(out_stream.bad());
                      }
                  }),
              samplesOfANewStream());
}

TEST(LogText, TiedStreamDoesNotReachTheNextOne)
{
    std::ostringstream tied;
    {
        LogText text;
        text.stream().tie(&tied);
    }

    EXPECT_EQ(LogText().stream().tie(), nullptr);
}

TEST(LogText, BufferDoesNotReachTheNextOne)
{
    std::ostringstream other;
    {
        LogText text;
        text.stream().rdbuf(other.rdbuf());
        text.stream() << "elsewhere";
        EXPECT_EQ(text.text(), "");
    }

    EXPECT_EQ(samplesOfANewText(), samplesOfANewStream());
    EXPECT_EQ(other.str(), "elsewhere");
}

TEST(LogText, CopiedFormatDoesNotReachTheNextOne)
{
    EXPECT_EQ(samplesAfter(
                  [](std::ostream& out_stream)
                  {
                      std::ostringstream format;
                      format.imbue(groupingLocale());
                      format << std::hex << std::setfill('*') << std::setprecision(2)
                             << std::setw(9);
                      out_stream.copyfmt(format);
                  }),
              samplesOfANewStream());
}

/// Returns the index at which a program's manipulator keeps its state in a stream.
int manipulatorIndex()
{
    static const int s_iIndex = std::ios_base::xalloc();
    return s_iIndex;
}

TEST(LogText, NumberOfAManipulatorDoesNotReachTheNextOne)
{
    {
        LogText text;
        text.stream().iword(manipulatorIndex()) = 7;
    }

    EXPECT_EQ(LogText().stream().iword(manipulatorIndex()), 0);
}

TEST(LogText, PointerOfAManipulatorDoesNotReachTheNextOne)
{
    int iTarget = 0;
    {
        LogText text;
        text.stream().pword(manipulatorIndex()) = &iTarget;
    }

    EXPECT_EQ(LogText().stream().pword(manipulatorIndex()), nullptr);
}

TEST(LogText, NumberOfOneOfManyManipulatorsDoesNotReachTheNextOne)
{
    int iIndex = std::ios_base::xalloc();
    while (iIndex < 100)
        iIndex = std::ios_base::xalloc();
    {
        LogText text;
        text.stream().iword(iIndex) = 7;
    }

    EXPECT_EQ(LogText().stream().iword(iIndex), 0);
}

int s_iCallbacks = 0;

void countCallback(std::ios_base::event, std::ios_base&, int) { ++s_iCallbacks; }

TEST(LogText, CallbackDoesNotReachTheNextOne)
{
    {
        LogText text;
        text.stream().register_callback(&countCallback, 0);
    }
    const int iCallbacksBefore = s_iCallbacks;

    LogText text;
    text.stream().imbue(groupingLocale());

    EXPECT_EQ(s_iCallbacks, iCallbacksBefore);
}

} // namespace
