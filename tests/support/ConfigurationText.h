// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/GlobalConfig.h"
#include "velmora/config/ParameterTrie.h"

#include <sstream>
#include <stdexcept>
#include <string>

namespace Velmora::Test
{

/// Returns the configuration that a text contains.
///
/// Failure: throws `std::invalid_argument` if a line of the text is no parameter.
inline ParameterTrie trieOf(const std::string& in_strText)
{
    ParameterTrie trie;
    std::istringstream text(in_strText);
    trie.read(text, nullptr, '\n', false, nullptr, nullptr);
    if (text.fail())
        throw std::invalid_argument(in_strText);
    return trie;
}

/// Loads a text into the configuration of the process. Returns whether that succeeded.
inline bool loadGlobal(const std::string& in_strText)
{
    std::istringstream text(in_strText);
    return GlobalConfig::getInstance()->load(text);
}

} // namespace Velmora::Test
