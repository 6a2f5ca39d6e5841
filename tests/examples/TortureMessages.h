// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/Files.h"

#include <filesystem>
#include <map>
#include <string>

namespace Velmora::Test
{

/// Returns the messages of RFC 4475 by their names, which are those of the RFC.
inline std::map<std::string, std::string> tortureMessages()
{
    std::map<std::string, std::string> messages;
    for (const auto& entry :
         std::filesystem::directory_iterator(VELMORA_SOURCE_DIRECTORY "/tests/examples/torture"))
        if (entry.path().extension() == ".sip")
            messages[entry.path().stem()] = readFile(entry.path());
    return messages;
}

} // namespace Velmora::Test
