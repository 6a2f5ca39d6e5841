// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/Version.h"

#include <gtest/gtest.h>

#include <string>

using namespace Velmora;

namespace
{

TEST(Version, IsOneNumberThatCanBeCompared)
{
    EXPECT_EQ(VELMORA_VERSION_MAJOR * 10000 + VELMORA_VERSION_MINOR * 100 + VELMORA_VERSION_PATCH,
              VELMORA_VERSION);
}

TEST(Version, OfTheLibraryIsThatOfTheHeadersItWasBuiltWith)
{
    EXPECT_EQ(VELMORA_VERSION, getInfraVersion());
}

TEST(Version, OfThePackagesIsThatOfTheHeaders)
{
    EXPECT_EQ(std::to_string(VELMORA_VERSION_MAJOR) + "." + std::to_string(VELMORA_VERSION_MINOR) +
                  "." + std::to_string(VELMORA_VERSION_PATCH),
              VELMORA_PROJECT_VERSION);
}

TEST(Version, NamesTheLibraryByMajorAndMinorUntilTheFirstMajorVersion)
{
    const std::string strName = VELMORA_LIBRARY_SONAME;
    const std::string strExpected = VELMORA_VERSION_MAJOR == 0
                                        ? ".0." + std::to_string(VELMORA_VERSION_MINOR)
                                        : "." + std::to_string(VELMORA_VERSION_MAJOR);

    EXPECT_EQ("libkeswardin-infra.so" + strExpected, strName);
}

} // namespace
