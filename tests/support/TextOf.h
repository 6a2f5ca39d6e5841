// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace Velmora::Test
{

/// Returns the text of values and manipulators that are inserted into a new stream one after the
/// other.
template <class... Parts>
std::string textOf(const Parts&... in_parts)
{
    std::ostringstream text;
    (text << ... << in_parts);
    return text.str();
}

/// Returns what the operation `write` of an object writes. Expects it to return the stream.
template <class T>
std::string written(const T& in_object)
{
    std::ostringstream text;
    EXPECT_EQ(&text, &in_object.write(text));
    return text.str();
}

} // namespace Velmora::Test
