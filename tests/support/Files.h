// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace Velmora::Test
{

/// Returns the contents of a file, or an empty text if it does not exist.
inline std::string readFile(const std::filesystem::path& in_path)
{
    std::ostringstream text;
    text << std::ifstream(in_path, std::ios::binary).rdbuf();
    return text.str();
}

/// Creates or empties a file and writes a text to it.
///
/// Failure: throws `std::system_error`.
inline void writeFile(const std::filesystem::path& in_path, const std::string& in_strText)
{
    errno = 0;
    if (!(std::ofstream(in_path, std::ios::binary) << in_strText << std::flush))
        throw std::system_error(errno, std::generic_category(), in_path.string());
}

/// Returns the names of the entries of a directory, sorted.
inline std::vector<std::string> namesIn(const std::filesystem::path& in_directory)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(in_directory))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace Velmora::Test
