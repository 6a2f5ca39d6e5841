// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallFileName.h"

#include "tests/support/PropertyTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <ctime>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <set>
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

// Kept files.

namespace
{

/// 2026-11-23 08:15:00 UTC.
constexpr std::time_t s_changed = 1795421700;
const std::string s_strEnd = ".2026-11-23T081500Z";

std::string keptNameOf(const CallFileName& in_names, const std::string& in_strId,
                       unsigned int in_uiNumber = 0)
{
    const CallFileName::Name name = in_names.keptPartsOf(in_strId, s_changed, in_uiNumber);
    return name.strDirectory.empty() ? name.strFile : name.strDirectory + '/' + name.strFile;
}

} // namespace

TEST(CallFileName, AKeptFileHasItsTimeInUtcBehindItsName)
{
    EXPECT_EQ("call-abc.log" + s_strEnd, keptNameOf(names(), "abc"));
    EXPECT_EQ("call-%a%2Fb.log" + s_strEnd, keptNameOf(names(), "a/b"));
    EXPECT_EQ("call-abc.log" + s_strEnd + "-12", keptNameOf(names(), "abc", 12));
}

TEST(CallFileName, ATimeWithoutAYearOfFourDigitsIsTheNextThatHasOne)
{
    EXPECT_EQ("call-abc.log.0000-01-01T000000Z",
              names().keptPartsOf("abc", std::numeric_limits<std::time_t>::min(), 0).strFile);
    EXPECT_EQ("call-abc.log.9999-12-31T235959Z",
              names().keptPartsOf("abc", std::numeric_limits<std::time_t>::max(), 0).strFile);
}

TEST(CallFileName, TheIdIsReadBackFromAKeptFile)
{
    for (const std::string& strId : {std::string("abc"), std::string("a/b"), std::string(),
                                     std::string(300, 'x'), "x" + s_strEnd})
        for (const unsigned int uiNumber : {0U, 1U, CallFileName::s_uiMostKept})
            EXPECT_THAT(names().callIdOf("/calls/" + keptNameOf(names(), strId, uiNumber)),
                        Optional(strId));
}

TEST(CallFileName, NoIdIsReadFromANameWithAnotherEnd)
{
    for (const char* const szEnd :
         {".2026-11-23T081500", ".2026-11-23T08150Z", ".2026-11-23T081500Z-",
          ".2026-11-23T081500Z-0", ".2026-11-23T081500Z-01", ".2026-11-23T081500Z-10000",
          ".2026-11-23T081500Z-1x", "-2026-11-23T081500Z", ".2026-11-23t081500Z"})
        EXPECT_THAT(names().callIdOf(std::string("call-abc.log") + szEnd), Eq(std::nullopt))
            << szEnd;
}

TEST(CallFileName, AnIdThatIsTooLongForTheTimeIsCutForItsKeptFile)
{
    // A name has at most 255 bytes, of which prefix, suffix and time take 28.
    const std::string strLongest(255 - 28, 'a');
    const std::string strLonger = strLongest + 'b';

    EXPECT_EQ("call-" + strLongest + ".log" + s_strEnd, keptNameOf(names(), strLongest));
    EXPECT_EQ("call-" + strLonger + ".log", nameOf(strLonger));
    EXPECT_EQ('%' + strLonger + "%/call-%.log" + s_strEnd, keptNameOf(names(), strLonger));
}

TEST(CallFileName, AnIdThatWouldEndItsFileLikeAKeptOneIsEncoded)
{
    const CallFileName bare("", "");
    const CallFileName zulu("", "Z");

    EXPECT_EQ("%x%2E2026-11-23T081500Z", bare.nameOf("x.2026-11-23T081500Z"));
    EXPECT_EQ("%x%2E2026-11-23T081500Z-3", bare.nameOf("x.2026-11-23T081500Z-3"));
    EXPECT_EQ("%a%2Fx%2E2026-11-23T081500Z", bare.nameOf("a/x.2026-11-23T081500Z"));
    EXPECT_EQ("%x%2E2026-11-23T081500Z", zulu.nameOf("x.2026-11-23T081500"));
    EXPECT_EQ("call-x.2026-11-23T081500Z.log", nameOf("x.2026-11-23T081500Z"));
    EXPECT_EQ("%%25x%252E2026-11-23T081500Z", bare.nameOf("%x%2E2026-11-23T081500Z"));
}

TEST(CallFileName, AnIdNamedAsTheDirectoryOfAKeptFileIsOutOfItsWay)
{
    const CallFileName bare("", "");
    const std::string strDirectory = componentsOf(keptNameOf(bare, std::string(240, 'a'))).front();
    ASSERT_EQ('%' + std::string(240, 'a') + '%', strDirectory);

    EXPECT_NE(strDirectory, bare.nameOf(strDirectory));
    EXPECT_THAT(bare.callIdOf(bare.nameOf(strDirectory)), Optional(strDirectory));
}

TEST(CallFileName, NoTwoIdsShareAFileAndEachIsReadBack)
{
    constexpr std::string_view s_strAlphabet = "a%./25F\x01";
    std::mt19937 random(20261121);
    for (const CallFileName& files :
         {CallFileName("", ""), CallFileName("", "0Z"), CallFileName("call-", ".log"),
          CallFileName(std::string(220, 'p'), ".log")})
    {
        std::map<std::string, std::string> idOfName;
        std::set<std::string> directories;
        const auto expectOfId = [&](const std::string& in_strName, const std::string& in_strId)
        {
            ASSERT_TRUE(isSafe(in_strName)) << in_strId;
            ASSERT_THAT(files.callIdOf(in_strName), Optional(in_strId));
            ASSERT_EQ(in_strId, idOfName.try_emplace(in_strName, in_strId).first->second);
            for (std::size_t ui = in_strName.find('/'); ui != std::string::npos;
                 ui = in_strName.find('/', ui + 1))
                directories.insert(in_strName.substr(0, ui));
        };
        for (int iId = 0; iId < s_iRandomOperations / 40; ++iId)
        {
            std::string strId(random() % 8, ' ');
            for (char& c : strId)
                c = s_strAlphabet[random() % s_strAlphabet.size()];
            // A quarter of the ids are about as long as a name can be, or longer.
            if (random() % 4 == 0)
                strId.insert(random() % (strId.size() + 1), std::string(210 + random() % 330, 'x'));
            // An eighth end like a kept file, or nearly so.
            if (random() % 8 == 0)
                strId += (s_strEnd + "-1").substr(0, s_strEnd.size() - 2 + random() % 5);
            // An eighth are named as one of the directories.
            if (random() % 8 == 0 && !directories.empty())
                strId = *directories.begin();
            ASSERT_NO_FATAL_FAILURE(expectOfId(files.nameOf(strId), strId));
            const auto uiNumber = static_cast<unsigned int>(random() % 3);
            ASSERT_NO_FATAL_FAILURE(expectOfId(keptNameOf(files, strId, uiNumber), strId));
        }
        for (const std::string& strDirectory : directories)
            EXPECT_FALSE(idOfName.contains(strDirectory)) << strDirectory;
    }
}

} // namespace Velmora::Test
