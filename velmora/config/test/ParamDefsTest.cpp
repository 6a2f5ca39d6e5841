// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParamDefs.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/config/ParamDefsTable.h"
#include "velmora/config/test/ParamDefsSupport.h"
#include "velmora/system/BoostRegex.h"
#include "velmora/system/DottedName.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

} // namespace

// Retrieving by name

TEST(ParamDefs, ResetsTheOutputForAnUnknownName)
{
    const ParamDefs defs = tableOf({{"a.b", STRING_TYPE, "text", true, true, "A text."}});
    ParameterInfo info;
    ASSERT_TRUE(defs.retrieve("a.b", info));
    EXPECT_FALSE(defs.retrieve("a.c", info));
    EXPECT_EQ(written(ParameterInfo()), written(info));
}

TEST(ParamDefs, DoesNotKnowANameThatIsOnlyOnTheWayToOthers)
{
    const ParamDefs defs;
    EXPECT_FALSE(isKnown(defs, "keswardin.infra.coreDump"));
    EXPECT_TRUE(isKnown(defs, "keswardin.infra.coreDump.writeOnCrash"));
    EXPECT_TRUE(isKnown(defs, "keswardin.infra.coreDump.writeOnCrash.path"));
    EXPECT_FALSE(isKnown(defs, "keswardin"));
    EXPECT_FALSE(isKnown(defs, "keswardin.infra.coreDump.writeOnCrash.path.more"));
}

TEST(ParamDefs, ResetsTheOutputForANameThatIsOnlyOnTheWayToOthers)
{
    const ParamDefs defs;
    ParameterInfo info;
    ASSERT_TRUE(defs.retrieve("keswardin.run.mode", info));
    EXPECT_FALSE(defs.retrieve("keswardin.infra.coreDump", info));
    EXPECT_EQ(written(ParameterInfo()), written(info));
}

TEST(ParamDefs, SplitsNamesAsAllOfTheLibraryDoes)
{
    const ParamDefs defs = tableOf({row("a.b"), row("a..c"), row(".d")});
    EXPECT_TRUE(isKnown(defs, "a.b"));
    EXPECT_TRUE(isKnown(defs, "a.b."));
    EXPECT_TRUE(isKnown(defs, "a..c"));
    EXPECT_TRUE(isKnown(defs, ".d"));
    for (const char* const szName : {"", ".", "a", "a.", "a..", "b", "ab", "a.b..", ".a.b", "a.b.b",
                                     "a.c", "d", "A.b", " a.b"})
        EXPECT_FALSE(isKnown(defs, szName)) << szName;
}

TEST(ParamDefs, KnowsTheNamesWithTheComponentsOfARowAndNoOthers)
{
    const std::vector<ParameterRow> rows{row("a"),    row("a.b"),   row(".a"),  row("b..a"),
                                         row("b.b."), row("a.b.b"), row("..b"), row("b.a..")};
    const ParamDefs defs = tableOf(rows);
    const auto componentsOf = [](const std::string& in_strName)
    {
        std::vector<std::string> components;
        dottedStringToVector(in_strName.c_str(), components);
        return components;
    };
    int iKnown = 0;
    // All texts of up to seven characters out of three.
    std::vector<std::string> names{""};
    for (std::size_t uiName = 0; uiName < names.size(); ++uiName)
    {
        const std::string strName = names[uiName];
        if (strName.size() < 7)
            for (const char character : {'a', 'b', '.'})
                names.push_back(strName + character);
        const bool bKnown =
            std::any_of(rows.begin(), rows.end(),
                        [&](const ParameterRow& in_row)
                        { return componentsOf(in_row.szName) == componentsOf(strName); });
        EXPECT_EQ(bKnown, isKnown(defs, strName.c_str())) << '"' << strName << '"';
        iKnown += bKnown ? 1 : 0;
    }
    EXPECT_EQ(15, iKnown) << "each with and without a dot at its end, except the last row";
}

TEST(ParamDefs, LooksUpShortNamesAfterLongOnes)
{
    const ParamDefs defs = tableOf({row("a.b.c.d.e"), row("a.b")});
    for (int iRound = 0; iRound < 2; ++iRound)
    {
        EXPECT_TRUE(isKnown(defs, "a.b.c.d.e"));
        EXPECT_TRUE(isKnown(defs, "a.b"));
        EXPECT_FALSE(isKnown(defs, "a"));
    }
}

// Listing by expression

TEST(ParamDefs, ListsAllNamesInWhichAnExpressionMatchesSomewhere)
{
    const ParamDefs defs;
    EXPECT_THAT(namesMatching(defs, "mem.leak"),
                UnorderedElementsAre("keswardin.mem.leak.detecting.aggregateDuplicates",
                                     "keswardin.mem.leak.detecting.showUselessFrames",
                                     "keswardin.mem.leak.detecting.maxFrames"));
}

TEST(ParamDefs, ListsByAnchoredExpressionsToo)
{
    const ParamDefs defs;
    EXPECT_THAT(namesMatching(defs, "^keswardin\\.run\\.mode$"), ElementsAre("keswardin.run.mode"));
    EXPECT_THAT(namesMatching(defs, "^run"), IsEmpty());
}

TEST(ParamDefs, ListsEachNameWithWhatIsKnownOfIt)
{
    const ParamDefs defs;
    std::vector<ParameterInfoWithName> infos;
    ASSERT_TRUE(defs.retrieve("traceShutdown", infos));
    ASSERT_EQ(1U, infos.size());
    EXPECT_EQ("keswardin.traceShutdown", infos[0].m_strName);
    EXPECT_EQ(described(defs, "keswardin.traceShutdown"), written(infos[0]));
}

TEST(ParamDefs, LeavesOutNamesThatAreOnlyOnTheWayToOthers)
{
    const ParamDefs defs;
    EXPECT_THAT(namesMatching(defs, "infra.coreDump"),
                UnorderedElementsAre("keswardin.infra.coreDump.writeOnCrash",
                                     "keswardin.infra.coreDump.writeOnCrash.path"));
}

TEST(ParamDefs, DropsWhatTheListHeldBefore)
{
    const ParamDefs defs = tableOf({row("a")});
    std::vector<ParameterInfoWithName> infos(3);
    EXPECT_TRUE(defs.retrieve("a", infos));
    EXPECT_EQ(1U, infos.size());
}

TEST(ParamDefs, GivesAnEmptyListForNoMatch)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a")});
    std::vector<ParameterInfoWithName> infos(3);
    EXPECT_TRUE(defs.retrieve("b", infos));
    EXPECT_THAT(infos, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, LogsWhatIsWrongWithAnExpression)
{
    std::string strReason;
    try
    {
        const BoostRegex regex("a(b");
    }
    catch (const std::exception& exception)
    {
        strReason = exception.what();
    }
    ASSERT_NE("", strReason);

    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a")});
    std::vector<ParameterInfoWithName> infos(3);
    EXPECT_FALSE(defs.retrieve("a(b", infos));
    EXPECT_THAT(infos, IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, strReason)));
}

TEST(ParamDefs, KeepsWhatWasFoundBeforeTheSearchGotTooCostly)
{
    const char* const szCostly = "(a+)+c";
    const std::string strLong(200, 'a');
    std::string strReason;
    try
    {
        static_cast<void>(BoostRegex::regex_search(strLong, BoostRegex(szCostly)));
    }
    catch (const std::exception& exception)
    {
        strReason = exception.what();
    }
    ASSERT_NE("", strReason);

    const CapturedLog log;
    const ParamDefs defs = tableOf({row("aac"), row(strLong.c_str()), row("ac")});
    std::vector<ParameterInfoWithName> infos;
    EXPECT_FALSE(defs.retrieve(szCostly, infos));
    ASSERT_EQ(1U, infos.size());
    EXPECT_EQ("aac", infos[0].m_strName);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, strReason)));
}

TEST(ParamDefs, ListsInTheOrderOfTheTriesIteration)
{
    Trie<std::string, std::string> trie;
    for (const ParameterRow& knownRow : s_paramDefsTable)
    {
        std::vector<std::string> components;
        dottedStringToVector(knownRow.szName, components);
        trie.fastInsert(components.begin(), components.end(), std::string()).first->data() =
            knownRow.szName;
    }
    std::vector<std::string> expected;
    for (auto node = trie.begin(); node != trie.end(); ++node)
        if (!node.data().empty())
            expected.push_back(node.data());
    ASSERT_EQ(std::size(s_paramDefsTable), expected.size());
    EXPECT_EQ(expected, namesMatching(ParamDefs(), "."));
}

} // namespace Velmora::Test
