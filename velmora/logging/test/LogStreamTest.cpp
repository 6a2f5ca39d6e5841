// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogStream.h"

#include "tests/support/Locales.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <complex>
#include <concepts>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <ios>
#include <iterator>
#include <limits>
#include <locale>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

using Velmora::LogStream;
using Velmora::Test::groupingLocale;

/// Writes the digits of numbers in reverse, in a way that only the facet of a locale can.
class ReversedNumbers : public std::num_put<char>
{
  protected:
    iter_type do_put(iter_type out_text, std::ios_base& inout_stream, char in_cFill,
                     long in_lNumber) const override
    {
        std::ostringstream text;
        std::num_put<char>::do_put(std::ostreambuf_iterator<char>(text), inout_stream, in_cFill,
                                   in_lNumber);
        const std::string strText = text.str();
        return std::copy(strText.rbegin(), strText.rend(), out_text);
    }
};

/// A change of a stream, from which on it writes in another way.
struct Change
{
    const char* szName;
    std::function<void(std::ostream&)> apply;
};

const std::vector<Change>& changes()
{
    static const std::vector<Change> s_changes{
        {"none", [](std::ostream&) {}},
        {"hex", [](std::ostream& out_stream) { out_stream << std::hex; }},
        {"oct", [](std::ostream& out_stream) { out_stream << std::oct; }},
        {"no base", [](std::ostream& out_stream) { out_stream.unsetf(std::ios_base::basefield); }},
        {"two bases", [](std::ostream& out_stream) { out_stream.setf(std::ios_base::hex); }},
        {"no flags", [](std::ostream& out_stream) { out_stream.flags({}); }},
        {"all flags", [](std::ostream& out_stream)
         { out_stream.flags(static_cast<std::ios_base::fmtflags>(~0)); }},
        {"showpos", [](std::ostream& out_stream) { out_stream << std::showpos; }},
        {"showbase", [](std::ostream& out_stream) { out_stream << std::showbase; }},
        {"showbase hex uppercase", [](std::ostream& out_stream)
         { out_stream << std::showbase << std::hex << std::uppercase; }},
        {"showbase oct", [](std::ostream& out_stream) { out_stream << std::showbase << std::oct; }},
        {"boolalpha", [](std::ostream& out_stream) { out_stream << std::boolalpha; }},
        {"fixed", [](std::ostream& out_stream) { out_stream << std::fixed; }},
        {"scientific uppercase",
         [](std::ostream& out_stream) { out_stream << std::scientific << std::uppercase; }},
        {"showpoint", [](std::ostream& out_stream) { out_stream << std::showpoint; }},
        {"precision 2", [](std::ostream& out_stream) { out_stream << std::setprecision(2); }},
        {"width 1", [](std::ostream& out_stream) { out_stream << std::setw(1); }},
        {"width 12", [](std::ostream& out_stream) { out_stream << std::setw(12); }},
        {"negative width", [](std::ostream& out_stream) { out_stream.width(-3); }},
        {"width 400", [](std::ostream& out_stream) { out_stream << std::setw(400); }},
        {"left width fill", [](std::ostream& out_stream)
         { out_stream << std::left << std::setw(12) << std::setfill('*'); }},
        {"internal width fill showpos", [](std::ostream& out_stream)
         { out_stream << std::internal << std::setw(12) << std::setfill('0') << std::showpos; }},
        {"fill", [](std::ostream& out_stream) { out_stream << std::setfill('*'); }},
        {"unitbuf", [](std::ostream& out_stream) { out_stream << std::unitbuf; }},
        {"locale that groups",
         [](std::ostream& out_stream) { out_stream.imbue(groupingLocale()); }},
        {"locale that groups, set in the base class", [](std::ostream& out_stream)
         { static_cast<std::ios_base&>(out_stream).imbue(groupingLocale()); }},
        {"locale with other numbers", [](std::ostream& out_stream)
         { out_stream.imbue(std::locale(std::locale::classic(), new ReversedNumbers)); }},
        {"copied format",
         [](std::ostream& out_stream)
         {
             std::ostringstream format;
             format.imbue(groupingLocale());
             format << std::hex << std::setw(9);
             out_stream.copyfmt(format);
         }},
        {"failbit", [](std::ostream& out_stream) { out_stream.setstate(std::ios_base::failbit); }},
        {"badbit", [](std::ostream& out_stream) { out_stream.setstate(std::ios_base::badbit); }},
        {"eofbit", [](std::ostream& out_stream) { out_stream.setstate(std::ios_base::eofbit); }},
        {"200 characters", [](std::ostream& out_stream) { out_stream << std::string(200, 'x'); }},
        {"245 characters", [](std::ostream& out_stream) { out_stream << std::string(245, 'x'); }},
        {"256 characters", [](std::ostream& out_stream) { out_stream << std::string(256, 'x'); }},
        {"1000 characters", [](std::ostream& out_stream) { out_stream << std::string(1000, 'x'); }},
    };
    return s_changes;
}

/// Expects that a function writes the same to a `LogStream` as to a new stream with the classic
/// locale, after each change, and leaves the same state.
template <class Write>
void expectSameText(Write in_write)
{
    for (const Change& change : changes())
    {
        LogStream stream;
        std::ostringstream plain;
        plain.imbue(std::locale::classic());
        change.apply(stream);
        change.apply(plain);
        in_write(stream);
        in_write(static_cast<std::ostream&>(plain));
        EXPECT_EQ(stream.text(), plain.str()) << change.szName;
        EXPECT_EQ(stream.rdstate(), plain.rdstate()) << change.szName;
        EXPECT_EQ(stream.width(), plain.width()) << change.szName;
        EXPECT_EQ(stream.flags(), plain.flags()) << change.szName;
    }
}

/// Expects the same for one value. Another text follows, as a width applies to one value only.
template <class T>
void expectSame(const T& in_value)
{
    expectSameText([&in_value](auto& out_stream) { out_stream << in_value << "|" << 7 << '.'; });
}

template <class Number>
void expectSameNumbers()
{
    for (const Number number : {std::numeric_limits<Number>::min(),
                                std::numeric_limits<Number>::max(), static_cast<Number>(-1)})
        expectSame(number);
    constexpr long long iLargest = std::numeric_limits<Number>::max() < 100000
                                       ? static_cast<long long>(std::numeric_limits<Number>::max())
                                       : 1000000000;
    for (long long iPower = 1; iPower <= iLargest; iPower *= 10)
    {
        expectSame(static_cast<Number>(iPower - 1));
        expectSame(static_cast<Number>(iPower));
        expectSame(static_cast<Number>(iPower + 1));
        expectSame(static_cast<Number>(-iPower));
    }
}

TEST(LogStream, WritesStringsAsAnyStream)
{
    expectSame(std::string());
    expectSame(std::string("call"));
    expectSame(std::string("a\0b", 3));
    expectSame(std::string(255, 'x'));
    expectSame(std::string(256, 'x'));
    expectSame(std::string(257, 'x'));
    expectSame(std::string(10000, 'x'));
    expectSame(std::string_view("call"));
    expectSame(std::string_view());
}

TEST(LogStream, WritesPointersToTextAsAnyStream)
{
    char text[] = "in an array\0 and behind";
    char* const pText = text;
    const char* const szText = text;
    const signed char signedText[] = "signed";
    const unsigned char unsignedText[] = "unsigned";
    expectSameText(
        [](auto& out_stream)
        {
            out_stream << "a literal"
                       << ""
                       << "another";
        });
    expectSameText([&text](auto& out_stream) { out_stream << text << '|'; });
    expectSame(pText);
    expectSame(szText);
    expectSame(signedText);
    expectSame(unsignedText);
}

TEST(LogStream, WritesNothingAfterANullPointerToText)
{
    const char* const szNull = nullptr;
    char* const pNull = nullptr;
    expectSameText([szNull](auto& out_stream) { out_stream << "a" << szNull << "b"; });
    expectSameText([pNull](auto& out_stream) { out_stream << "a" << pNull << "b"; });
}

TEST(LogStream, WritesCharactersAsAnyStream)
{
    for (int iCharacter = CHAR_MIN; iCharacter <= CHAR_MAX; ++iCharacter)
    {
        expectSame(static_cast<char>(iCharacter));
        expectSame(static_cast<signed char>(iCharacter));
        expectSame(static_cast<unsigned char>(iCharacter));
    }
}

TEST(LogStream, WritesIntegersAsAnyStream)
{
    expectSameNumbers<short>();
    expectSameNumbers<unsigned short>();
    expectSameNumbers<int>();
    expectSameNumbers<unsigned int>();
    expectSameNumbers<long>();
    expectSameNumbers<unsigned long>();
    expectSameNumbers<long long>();
    expectSameNumbers<unsigned long long>();
}

TEST(LogStream, WritesEachNumberOfUpToFiveDigitsAsAnyStream)
{
    for (int iNumber = -11000; iNumber <= 11000; ++iNumber)
    {
        LogStream stream;
        stream << iNumber;
        ASSERT_EQ(stream.text(), std::to_string(iNumber));
    }
}

TEST(LogStream, WritesOtherNumbersAsAnyStream)
{
    expectSame(true);
    expectSame(false);
    for (const double dNumber :
         {0.0, -0.0, 1.0, -2.5, 3.14159265358979, 1e20, 1e-20, 123456789.0,
          std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()})
    {
        expectSame(dNumber);
        expectSame(static_cast<float>(dNumber));
        expectSame(static_cast<long double>(dNumber));
    }
}

int s_iTarget = 0;
void doNothing() {}

TEST(LogStream, WritesPointersAsAnyStream)
{
    void* const pTarget = &s_iTarget;
    const void* const pConst = &s_iTarget;
    volatile char* const pVolatile = nullptr;
    expectSame(pTarget);
    expectSame(pConst);
    expectSame(&s_iTarget);
    expectSame(static_cast<void*>(nullptr));
    expectSame(nullptr);
    expectSame(pVolatile);
    expectSame(std::shared_ptr<int>());
}

TEST(LogStream, WritesAFunctionAsAnyStream)
{
    void (*const pFunction)() = &doNothing;
    expectSame(pFunction);
}

TEST(LogStream, WritesVolatileValuesAsAnyStream)
{
    volatile int iNumber = 42;
    volatile char cCharacter = 'c';
    volatile bool bFlag = true;
    expectSameText([&](auto& out_stream) { out_stream << iNumber << cCharacter << bFlag << 7; });
}

struct Fields
{
    unsigned int uiThree : 3;
    int iFive : 5;
    bool bFlag : 1;
    unsigned long ulForty : 40;
};

TEST(LogStream, WritesBitFieldsAsAnyStream)
{
    Fields fields{5, -3, true, 1UL << 39};
    expectSameText(
        [&fields](auto& out_stream)
        {
            out_stream << fields.uiThree << ' ' << fields.iFive << ' ' << fields.bFlag << ' '
                       << fields.ulForty;
        });
}

/// A constant without a definition, of which no operator may take the address.
struct Constants
{
    static const int s_iUndefined = 42;
    static const char s_cUndefined = 'c';
};

TEST(LogStream, NeedsNoDefinitionOfAConstant)
{
    expectSameText([](auto& out_stream)
                   { out_stream << Constants::s_iUndefined << Constants::s_cUndefined; });
}

// Types of a program.

enum Plain
{
    PLAIN_ZERO,
    PLAIN_SEVEN = 7
};

enum Small : unsigned char
{
    SMALL_A = 'a'
};

enum WithOperator
{
    WITH_OPERATOR
};
std::ostream& operator<<(std::ostream& out_stream, WithOperator)
{
    return out_stream << "its own operator";
}

enum class Scoped
{
    one = 1
};
std::ostream& operator<<(std::ostream& out_stream, Scoped in_scoped)
{
    return out_stream << "Scoped " << static_cast<int>(in_scoped);
}

TEST(LogStream, WritesEnumeratorsAsAnyStream)
{
    expectSame(PLAIN_SEVEN);
    expectSame(SMALL_A);
    expectSame(WITH_OPERATOR);
    expectSame(Scoped::one);
}

struct Point
{
    int iX;
    int iY;
};
std::ostream& operator<<(std::ostream& out_stream, const Point& in_point)
{
    return out_stream << '(' << std::setw(3) << in_point.iX << ", " << in_point.iY << ')';
}

/// Its operator takes any kind of stream.
struct Generic
{
};
template <class Stream>
Stream& operator<<(Stream& out_stream, const Generic&)
{
    out_stream << "generic " << 7;
    return out_stream;
}

/// Its operator takes it by an lvalue.
struct Changing
{
    int iCount = 0;
};
std::ostream& operator<<(std::ostream& out_stream, Changing& inout_changing)
{
    return out_stream << ++inout_changing.iCount;
}

class Abstract
{
  public:
    virtual ~Abstract() = default;
    [[nodiscard]] virtual int number() const = 0;
};
class Concrete : public Abstract
{
  public:
    Concrete() = default;
    Concrete(const Concrete&) = delete;
    [[nodiscard]] int number() const override { return 7; }
};
std::ostream& operator<<(std::ostream& out_stream, const Abstract& in_object)
{
    return out_stream << "abstract " << in_object.number();
}

/// Streams its parts through the stream that it gets, with a format that stays.
class PrintsItself
{
    friend std::ostream& operator<<(std::ostream& out_stream, const PrintsItself&)
    {
        return out_stream << std::hex << std::showbase << 255;
    }
};

TEST(LogStream, WritesObjectsByTheOperatorsOfTheirClasses)
{
    const Concrete concrete;
    const Abstract& abstract = concrete;
    Changing changing;
    Changing changingToo;
    expectSame(Point{1, 22});
    expectSame(Generic());
    expectSame(PrintsItself());
    expectSameText([&abstract](auto& out_stream) { out_stream << abstract << 7; });
    expectSameText([&concrete](auto& out_stream) { out_stream << concrete << 7; });
    LogStream stream;
    std::ostringstream plain;
    stream << changing << changing;
    plain << changingToo << changingToo;
    EXPECT_EQ(stream.text(), plain.str());
}

struct ToInt
{
    operator int() const { return 42; }
};
struct ToText
{
    operator const char*() const { return "text"; }
};
struct ToBool
{
    operator bool() const { return true; }
};
struct ToPointer
{
    operator void*() const { return nullptr; }
};
struct OwnString : std::string
{
    using std::string::string;
};
struct OwnStringWithOperator : std::string
{
    using std::string::string;
};
std::ostream& operator<<(std::ostream& out_stream, const OwnStringWithOperator& in_strText)
{
    return out_stream << '"' << static_cast<const std::string&>(in_strText) << '"';
}

TEST(LogStream, WritesWhatConvertsAsAnyStream)
{
    expectSame(ToInt());
    expectSame(ToText());
    expectSame(ToBool());
    expectSame(ToPointer());
    expectSame(OwnString("its own"));
    expectSame(OwnStringWithOperator("its own"));
    const std::atomic<int> iAtomic{42};
    expectSameText([&iAtomic](auto& out_stream) { out_stream << iAtomic << 7; });
    int iNumber = 42;
    expectSame(std::ref(iNumber));
    expectSame(std::true_type());
}

TEST(LogStream, WritesTypesOfTheStandardLibraryAsAnyStream)
{
    expectSame(std::complex<double>(1, 2));
    expectSame(std::filesystem::path("/var/log"));
    expectSame(std::error_code());
    expectSame(std::quoted("quo\"ted"));
    expectSame(std::setw(9));
    expectSame(std::put_money("123"));
}

TEST(LogStream, TakesManipulatorsInALine)
{
    expectSameText(
        [](auto& out_stream)
        {
            out_stream << 255 << ' ' << std::hex << 255 << ' ' << std::showbase << 255 << std::dec
                       << std::setw(7) << 255 << std::left << std::setfill('.') << std::setw(7)
                       << "x" << std::setw(3) << 'c' << std::boolalpha << true << std::endl
                       << std::flush << std::ends;
        });
}

TEST(LogStream, TakesTheContentsOfAStreamBuffer)
{
    expectSameText(
        [](auto& out_stream)
        {
            std::istringstream source("from a buffer");
            out_stream << "text " << source.rdbuf() << 7;
        });
}

TEST(LogStream, TakesUnformattedOutput)
{
    expectSameText(
        [](auto& out_stream)
        {
            out_stream.put('a').write("bcd", 3).put('\n').flush();
            out_stream << "e";
        });
}

TEST(LogStream, KeepsTheOrderOfPiecesOfAllKinds)
{
    std::string strExpected;
    LogStream stream;
    for (int iPiece = 0; iPiece < 200; ++iPiece)
    {
        stream << "piece " << iPiece << ' ' << std::string(3, 'x') << 2.5;
        stream.put('.');
        strExpected += "piece " + std::to_string(iPiece) + " xxx2.5.";
        if (iPiece % 50 == 0)
        {
            EXPECT_EQ(stream.text(), strExpected);
        }
    }
    EXPECT_EQ(stream.text(), strExpected);
}

TEST(LogStream, FlushesATiedStream)
{
    class CountsFlushes : public std::stringbuf
    {
      public:
        int m_iFlushes = 0;

      protected:
        int sync() override { return ++m_iFlushes, 0; }
    };
    CountsFlushes buffer;
    std::ostream tied(&buffer);
    LogStream stream;
    stream.tie(&tied);

    stream << "text" << 7;

    EXPECT_EQ(stream.text(), "text7");
    EXPECT_EQ(buffer.m_iFlushes, 2);
}

TEST(LogStream, WritesToAnotherBufferThatItIsGiven)
{
    std::ostringstream other;
    LogStream stream;
    stream << "here";
    std::streambuf* const pOwn = stream.rdbuf(other.rdbuf());

    stream << "there " << 7 << 'c';
    stream.rdbuf(pOwn);
    stream << " again";

    EXPECT_EQ(stream.text(), "here again");
    EXPECT_EQ(other.str(), "there 7c");
}

TEST(LogStream, ThrowsByItsExceptionMaskAsAnyStream)
{
    LogStream stream;
    stream.exceptions(std::ios_base::badbit);

    EXPECT_THROW(stream << static_cast<const char*>(nullptr), std::ios_base::failure);
}

// What compiles.

template <class T>
concept GoesIntoLogStream = requires(LogStream& out_stream, const T& in_value)
{
    {
        out_stream << in_value
        } -> std::convertible_to<std::ostream&>;
};
template <class T>
concept GoesIntoAnyStream = requires(std::ostream& out_stream, const T& in_value)
{
    {
        out_stream << in_value
        } -> std::convertible_to<std::ostream&>;
};

struct WithoutOperator
{
};
enum class ScopedWithoutOperator
{
};

template <class T>
constexpr bool s_bIsSame = GoesIntoLogStream<T> == GoesIntoAnyStream<T>;

static_assert(GoesIntoLogStream<Point> && GoesIntoLogStream<int> && GoesIntoLogStream<std::string>);
static_assert(s_bIsSame<WithoutOperator> && s_bIsSame<ScopedWithoutOperator>);
static_assert(s_bIsSame<wchar_t> && s_bIsSame<char8_t> && s_bIsSame<char16_t>);
static_assert(s_bIsSame<const wchar_t*> && s_bIsSame<std::wstring>);
static_assert(s_bIsSame<std::vector<int>> && s_bIsSame<std::byte>);
static_assert(!GoesIntoLogStream<wchar_t> && !GoesIntoLogStream<WithoutOperator>);

static_assert(std::is_same_v<decltype(std::declval<LogStream&>() << "text" << 7), LogStream&>);
static_assert(std::is_same_v<decltype(std::declval<LogStream&>() << Point()), std::ostream&>);

} // namespace
