// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <filesystem>
#include <string>

namespace Velmora::Test
{

/// Returns a listing of a directory tree, in the order of the system.
inline std::string listingOf(const std::filesystem::path& in_directory,
                             const std::string& in_strIndentation = "")
{
    std::string strListing = in_strIndentation + "+ Directory " + in_directory.string() + "\n";
    const std::string strDeeper = in_strIndentation + "  ";
    for (const std::filesystem::directory_entry& entry :
         std::filesystem::directory_iterator(in_directory))
        strListing += entry.is_directory() ? listingOf(entry.path(), strDeeper)
                                           : strDeeper + "+ File " + entry.path().string() + "\n";
    return strListing;
}

} // namespace Velmora::Test
