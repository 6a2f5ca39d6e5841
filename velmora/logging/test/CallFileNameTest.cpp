// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallFileName.h"

#include "tests/support/PropertyTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Eq;
using testing::Optional;

const CallFileName& names()
{
    static const CallFileName s_names("call-", ".log");
    return s_names;
}

std::string nameOf(const std::string& in_strId) { return names().nameOf(in_strId); }

/// Returns the names between the slashes of a path.
std::vector<std::string> componentsOf(const std::string& in_strPath)
{
    std::vector<std::string> components;
    std::istringstream path(in_strPath + '/');
    for (std::string strName; std::getline(path, strName, '/');)
        components.push_back(strName);
    return components;
}

/// Returns whether a relative path stays in its directory and can be made: no name in it is empty,
/// begins with a dot, has a control byte or is longer than 255 bytes.
bool isSafe(const std::string& in_strPath)
{
    for (const std::string& strName : componentsOf(in_strPath))
    {
        if (strName.empty() || strName.front() == '.' || strName.size() > 255)
            return false;
        for (const char c : strName)
            if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
                return false;
    }
    return true;
}

} // namespace

TEST(CallFileName, AnIdThatIsAPlainFileNameStaysAsItIs)
{
    EXPECT_EQ("call-a84b4c76@192.0.2.17.log", nameOf("a84b4c76@192.0.2.17"));
    EXPECT_EQ("call-with blank and\\.log", nameOf("with blank and\\"));
    EXPECT_EQ("call-\xc3\xa9t\xc3\xa9.log", nameOf("\xc3\xa9t\xc3\xa9"));
    EXPECT_EQ("call-a..log", nameOf("a."));
    EXPECT_EQ("call-a%2Fb.log", nameOf("a%2Fb"));
}

TEST(CallFileName, ASlashIsEncoded)
{
    EXPECT_EQ("call-%a%2Fb.log", nameOf("a/b"));
    EXPECT_EQ("call-%%2Fetc%2Fpasswd.log", nameOf("/etc/passwd"));
}

TEST(CallFileName, ALeadingDotIsEncoded)
{
    EXPECT_EQ("call-%.hidden.log", nameOf(".hidden"));
    EXPECT_EQ("call-%..%2F..%2Fx.log", nameOf("../../x"));
    EXPECT_EQ("%..", CallFileName("", "").nameOf(".."));
    EXPECT_EQ("%.", CallFileName("", "").nameOf("."));
}

TEST(CallFileName, ControlBytesAreEncoded)
{
    EXPECT_EQ("call-%a%0Ab%1Fc%7Fd%01.log", nameOf("a\nb\x1f"
                                                   "c\x7f"
                                                   "d\x01"));
}

TEST(CallFileName, AnEmptyIdIsEncoded)
{
    EXPECT_EQ("call-%.log", nameOf(""));
    EXPECT_EQ("%", CallFileName("", "").nameOf(""));
}

TEST(CallFileName, AnIdThatLooksLikeAnEncodedOneIsEncodedItself)
{
    EXPECT_EQ("call-%%25a%252Fb.log", nameOf("%a%2Fb"));
    EXPECT_EQ("call-%%25%2525a%25252Fb.log", nameOf("%%25a%252Fb"));
    EXPECT_EQ("call-%%25.log", nameOf("%"));
    EXPECT_EQ("call-%%25.x.log", nameOf("%.x"));
}

TEST(CallFileName, AnIdThatBeginsAsAnEncodedOneAndIsNoneStaysAsItIs)
{
    for (const char* const szId : {"%abc", "%a%2fb", "%a%2", "%a%", "%%41", "%%25x", "%a%2G"})
        EXPECT_EQ(std::string("call-") + szId + ".log", nameOf(szId));
}

TEST(CallFileName, TheLongestNameOfAFileIsPlain)
{
    // A name has at most 255 bytes, of which prefix and suffix take 9.
    const std::string strId(255 - 9, 'a');

    EXPECT_EQ("call-" + strId + ".log", nameOf(strId));
}

TEST(CallFileName, AnIdThatIsOneByteTooLongIsCutIntoADirectoryAndAFile)
{
    const std::string strId = std::string(255 - 9, 'a') + 'b';

    EXPECT_EQ('%' + strId + "%/call-%.log", nameOf(strId));
}

TEST(CallFileName, AVeryLongIdIsCutIntoDirectoriesOfFullLength)
{
    // The name of a directory has 253 bytes of the id between two marks.
    const std::string strId = std::string(253, 'a') + std::string(253, '.') + std::string(260, 'c');

    const std::string strName = nameOf(strId);

    EXPECT_EQ('%' + std::string(253, 'a') + "%/%" + std::string(253, '.') + "%/%" +
                  std::string(253, 'c') + "%/call-%" + std::string(7, 'c') + ".log",
              strName);
}

TEST(CallFileName, ADotAtTheBeginOfAPieceIsBehindAMark)
{
    EXPECT_EQ('%' + std::string(253, 'a') + "%/%...",
              CallFileName("", "").nameOf(std::string(253, 'a') + "..."));
}

TEST(CallFileName, AnIdNamedAsTheDirectoryOfALongOneIsOutOfItsWay)
{
    const CallFileName bare("", "");
    const std::string strLong = std::string(253, 'a') + "bcd";
    const std::string strDirectory = '%' + std::string(253, 'a') + '%';
    ASSERT_EQ(strDirectory, componentsOf(bare.nameOf(strLong)).front());

    const std::string strName = bare.nameOf(strDirectory);

    EXPECT_NE(strDirectory, strName);
    EXPECT_NE(strDirectory, componentsOf(strName).front());
    EXPECT_THAT(bare.callIdOf(strName), Optional(strDirectory));
}

TEST(CallFileName, TheIdIsReadBackFromAPathWithDirectories)
{
    EXPECT_THAT(names().callIdOf("/var/log/calls/2026/11November/21/call-%a%2Fb.log"),
                Optional(std::string("a/b")));
    EXPECT_THAT(names().callIdOf("/call-abc.log"), Optional(std::string("abc")));
    const std::string strLong(1000, '/');
    EXPECT_THAT(names().callIdOf("calls/" + nameOf(strLong)), Optional(strLong));
}

TEST(CallFileName, DirectoriesThatLookLikePiecesAreTakenForNoneWhereTheyAreNot)
{
    EXPECT_THAT(names().callIdOf("%calls%/call-%a%2Fb.log"), Optional(std::string("a/b")));
    EXPECT_THAT(names().callIdOf("%calls%/call-abc.log"), Optional(std::string("abc")));
    const std::string strLong(1000, 'x');
    EXPECT_THAT(names().callIdOf("%calls%/" + nameOf(strLong)), Optional(strLong));
}

TEST(CallFileName, NoIdIsReadFromANameThatIsNotGiven)
{
    for (const char* const szName :
         {"", "/", "call-", ".log", "call.log", "call-abc", "abc.log", "call-.log", "call-.x.log",
          "call-abc.log/", "%x%/call-%", "call-a\nb.log"})
        EXPECT_THAT(names().callIdOf(szName), Eq(std::nullopt)) << szName;
    EXPECT_THAT(names().callIdOf("call-" + std::string(250, 'a') + ".log"), Eq(std::nullopt));
    EXPECT_THAT(CallFileName("call-", "-x").callIdOf("call-x"), Eq(std::nullopt));
}

TEST(CallFileName, NoTwoIdsShareAFileAndEachIsReadBack)
{
    constexpr std::string_view s_strAlphabet = "a%./25F\x01";
    std::mt19937 random(20261121);
    for (const CallFileName& files : {CallFileName("", ""), CallFileName("call-", ".log"),
                                      CallFileName(std::string(240, 'p'), ".log")})
    {
        std::map<std::string, std::string> idOfName;
        for (int iId = 0; iId < s_iRandomOperations / 20; ++iId)
        {
            std::string strId(random() % 8, ' ');
            for (char& c : strId)
                c = s_strAlphabet[random() % s_strAlphabet.size()];
            // A quarter of the ids are about as long as a name can be, or longer.
            if (random() % 4 == 0)
                strId.insert(random() % (strId.size() + 1), std::string(240 + random() % 300, 'x'));
            const std::string strName = files.nameOf(strId);
            ASSERT_TRUE(isSafe(strName)) << strId;
            ASSERT_THAT(files.callIdOf(strName), Optional(strId));
            ASSERT_EQ(strId, idOfName.try_emplace(strName, strId).first->second);
        }
    }
}

} // namespace Velmora::Test
