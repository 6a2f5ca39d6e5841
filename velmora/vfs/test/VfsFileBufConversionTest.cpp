// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VfsFileBuf.h"

#include "velmora/vfs/test/Codecvts.h"
#include "velmora/vfs/test/MemoryFileSystem.h"
#include "velmora/vfs/test/OpenBuffer.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <ios>
#include <locale>
#include <string>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using std::ios_base;

namespace
{

/// The characters A, é, B, ü, and their bytes in the encodings.
const std::string s_strText = "A\xE9"
                              "B\xFC";
const std::string s_strVariable = "A\xC3\xA9"
                                  "B\xC3\xBC";
const std::string s_strShift = "A\xE\x69\xF"
                               "B\xE\x7C\xF";
const std::string s_strTwoBytes("A\0\xE9\0B\0\xFC\0", 8);

struct Conversion
{
    std::locale locale;
    std::string strBytes;
};

std::array<Conversion, 3> conversions()
{
    return {{{VariableWidthCodecvt::locale(), s_strVariable},
             {ShiftCodecvt::locale(), s_strShift},
             {TwoByteCodecvt::locale(), s_strTwoBytes}}};
}

TEST(VfsFileBuf, TextIsConvertedBothWaysWithBuffersOfAnySize)
{
    for (const Conversion& conversion : conversions())
        for (const long iSize : {0, 1, 2, 3, 100})
        {
            const MemoryFiles files("");
            std::array<char, 100> own{};
            {
                OpenBuffer writer(files, s_iOut);
                writer.pubsetbuf(iSize == 0 ? nullptr : own.data(), iSize);
                writer.pubimbue(conversion.locale);
                EXPECT_EQ(writer.put(s_strText), 4);
                EXPECT_EQ(writer.sputc('\xE9'), 0xE9);
                EXPECT_EQ(writer.seek(0), 0);
                EXPECT_EQ(writer.put(s_strText), 4);
                EXPECT_EQ(writer.close(), &writer);
            }
            EXPECT_EQ(files.content().substr(0, conversion.strBytes.size()), conversion.strBytes);

            files.content() = conversion.strBytes;
            OpenBuffer reader(files, s_iIn);
            reader.pubsetbuf(iSize == 0 ? nullptr : own.data(), iSize);
            reader.pubimbue(conversion.locale);
            EXPECT_EQ(reader.get(100), s_strText);
            EXPECT_EQ(reader.sgetc(), EOF);
            EXPECT_EQ(reader.pubsync(), 0) << "no failure";
        }
}

TEST(VfsFileBuf, APositionOfConvertedTextCanBeGoneBackTo)
{
    for (const Conversion& conversion : conversions())
        for (const long iSize : {0, 2, 100})
        {
            const MemoryFiles files(conversion.strBytes);
            std::array<char, 100> own{};
            OpenBuffer buffer(files, s_iIn);
            buffer.pubsetbuf(iSize == 0 ? nullptr : own.data(), iSize);
            buffer.pubimbue(conversion.locale);
            std::vector<std::streampos> positions;
            for (int iPlace = 0; iPlace != 4; ++iPlace)
            {
                positions.push_back(buffer.pubseekoff(0, ios_base::cur));
                EXPECT_EQ(buffer.sbumpc(),
                          static_cast<unsigned char>(s_strText[static_cast<std::size_t>(iPlace)]));
            }
            for (int iPlace = 3; iPlace >= 0; --iPlace)
            {
                EXPECT_EQ(buffer.pubseekpos(positions[static_cast<std::size_t>(iPlace)]),
                          positions[static_cast<std::size_t>(iPlace)]);
                EXPECT_EQ(buffer.get(10), s_strText.substr(static_cast<std::size_t>(iPlace)));
            }
        }
}

TEST(VfsFileBuf, AWidthThatVariesAllowsNoOffset)
{
    const MemoryFiles files(s_strVariable);
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.get(2), "A\xE9");
    EXPECT_EQ(buffer.seek(1), -1);
    EXPECT_EQ(buffer.seek(-1, ios_base::cur), -1);
    EXPECT_EQ(buffer.tell(), 3);
    EXPECT_EQ(static_cast<long>(buffer.pubseekpos(3)), 3);
    EXPECT_EQ(buffer.get(1), "B");
    EXPECT_EQ(buffer.seek(0, ios_base::end), 6);
    EXPECT_EQ(buffer.seek(0), 0);
    EXPECT_EQ(buffer.get(1), "A");
}

TEST(VfsFileBuf, OffsetsCountCharactersOfAConstantWidth)
{
    const MemoryFiles files(s_strTwoBytes);
    OpenBuffer buffer(files, s_iBoth);
    buffer.pubimbue(TwoByteCodecvt::locale());
    EXPECT_EQ(buffer.seek(2), 4);
    EXPECT_EQ(buffer.get(1), "B");
    EXPECT_EQ(buffer.seek(-2, ios_base::cur), 2);
    EXPECT_EQ(buffer.put("x"), 1);
    EXPECT_EQ(buffer.sungetc(), 'x');
    EXPECT_EQ(buffer.seek(-1, ios_base::end), 6);
    EXPECT_EQ(buffer.get(5), "\xFC");
}

TEST(VfsFileBuf, AWriteAfterAReadOfConvertedTextGoesToWhereTheProgramIs)
{
    const MemoryFiles files(s_strVariable);
    OpenBuffer buffer(files, s_iBoth);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.get(2), "A\xE9");
    EXPECT_EQ(buffer.put("C"), 1);
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_EQ(files.content(), "A\xC3\xA9"
                               "C\xC3\xBC");
}

TEST(VfsFileBuf, CharactersAreTakenBackWhereTheWidthVaries)
{
    const MemoryFiles files(s_strVariable);
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.get(10), s_strText);
    EXPECT_EQ(buffer.sgetc(), EOF);
    EXPECT_EQ(buffer.sungetc(), 0xFC);
    EXPECT_EQ(buffer.sungetc(), 'B');
    EXPECT_EQ(buffer.tell(), 3);
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    EXPECT_EQ(buffer.tell(), 1);
    EXPECT_EQ(buffer.get(2), "xB");
}

TEST(VfsFileBuf, WhereTheWidthVariesThePositionInFrontOfTheBufferIsNotKnown)
{
    const MemoryFiles files(s_strVariable);
    OpenBuffer buffer(files, s_iBoth);
    buffer.pubsetbuf(nullptr, 0);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.sputbackc('x'), EOF) << "at the beginning of the file";
    EXPECT_EQ(buffer.get(2), "A\xE9");
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    EXPECT_EQ(buffer.tell(), 1);
    EXPECT_EQ(buffer.sputbackc('y'), 'y');
    EXPECT_EQ(buffer.tell(), -1);
    EXPECT_EQ(buffer.sputc('z'), EOF);
    EXPECT_EQ(buffer.get(3), "yxB");
    EXPECT_EQ(buffer.tell(), 4);
}

TEST(VfsFileBuf, AnotherLocaleConvertsWhatIsReadNext)
{
    const MemoryFiles files(s_strVariable + s_strTwoBytes + s_strVariable);
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(1), "A");
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.tell(), 1);
    EXPECT_EQ(buffer.get(3), s_strText.substr(1));
    buffer.pubimbue(TwoByteCodecvt::locale());
    EXPECT_EQ(buffer.tell(), 6);
    EXPECT_EQ(buffer.get(3), s_strText.substr(0, 3));
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    buffer.pubimbue(std::locale::classic());
    EXPECT_EQ(buffer.tell(), 10);
    EXPECT_EQ(buffer.get(4), std::string("B\0\xFC\0", 4));
    EXPECT_EQ(buffer.get(100), s_strVariable);
    EXPECT_EQ(files->noted("read").front(), "read 4096");
}

TEST(VfsFileBuf, BytesReadBeforeAnotherLocaleCameAreNotLost)
{
    const MemoryFiles files(digits(9000));
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(TwoByteCodecvt::locale());
    EXPECT_EQ(buffer.get(2), "02");
    files->m_fault = faultOf("lseek", -1, ESPIPE);
    buffer.pubimbue(std::locale::classic());
    EXPECT_EQ(buffer.get(9000), digits(9004).substr(4, 8996));
}

TEST(VfsFileBuf, TheSameLocaleChangesNothing)
{
    const MemoryFiles files(s_strShift);
    const std::locale locale = ShiftCodecvt::locale();
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(locale);
    EXPECT_EQ(buffer.get(2), "A\xE9");
    buffer.pubimbue(locale);
    EXPECT_EQ(buffer.get(2), "B\xFC");
    EXPECT_EQ(files->noted("read").size(), 1U);
}

TEST(VfsFileBuf, AnotherLocaleWritesWhatIsPendingAndGoesBackToTheInitialState)
{
    const MemoryFiles files("");
    OpenBuffer buffer(files, s_iOut);
    buffer.pubimbue(ShiftCodecvt::locale());
    buffer.put("\xE9");
    buffer.pubimbue(std::locale::classic());
    EXPECT_EQ(files.content(), "\xE\x69\xF");
    buffer.put("\xE9");
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_EQ(files.content(), "\xE\x69\xF\xE9");
}

TEST(VfsFileBuf, OnlyASeekAndACloseGoBackToTheInitialState)
{
    const MemoryFiles files("");
    OpenBuffer buffer(files, s_iOut);
    buffer.pubimbue(ShiftCodecvt::locale());
    buffer.put("\xE9");
    EXPECT_EQ(buffer.pubsync(), 0);
    EXPECT_EQ(files.content(), "\xE\x69");
    EXPECT_EQ(buffer.tell(), 2);
    EXPECT_EQ(files.content(), "\xE\x69");
    buffer.put("\xE9");
    EXPECT_EQ(buffer.seek(0, ios_base::end), 4);
    EXPECT_EQ(files.content(), "\xE\x69\x69\xF");
}

TEST(VfsFileBuf, BytesThatCannotBeConvertedStopTheBufferThere)
{
    const MemoryFiles files("AB\xFF"
                            "CD");
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.get(10), "AB");
    files.content() = "ABxCD";
    EXPECT_EQ(buffer.sgetc(), EOF);
    EXPECT_EQ(buffer.sungetc(), EOF);
    EXPECT_EQ(buffer.pubsync(), -1);
    EXPECT_EQ(buffer.tell(), 2);
    EXPECT_EQ(buffer.get(10), "xCD");
}

TEST(VfsFileBuf, AFileThatEndsInTheMidstOfACharacterIsAFailure)
{
    const MemoryFiles files("AB\xC3");
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.get(10), "AB");
    EXPECT_EQ(buffer.pubsync(), -1);
    EXPECT_EQ(buffer.tell(), 2);
}

TEST(VfsFileBuf, ACharacterThatCannotBeWrittenIsAFailure)
{
    const MemoryFiles files("");
    OpenBuffer buffer(files, s_iOut);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.put("A\xFF"), 2);
    EXPECT_EQ(buffer.pubsync(), -1);
    EXPECT_EQ(buffer.sputc('B'), EOF);
    EXPECT_EQ(files.content(), "");
    EXPECT_EQ(buffer.close(), &buffer);
}

} // namespace
