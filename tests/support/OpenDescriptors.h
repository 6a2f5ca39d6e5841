// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

namespace Velmora::Test
{

/// Returns the number of descriptors that are open in this process. The one that the system needs
/// for the answer is counted too.
inline std::size_t countOpenDescriptors()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

/// Returns the descriptors of this process that are open on a path.
inline std::vector<int> descriptorsOpenOn(const std::filesystem::path& in_path)
{
    std::vector<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        // The descriptor of the listing itself is closed when the next one is looked at.
        std::error_code ignored;
        if (std::filesystem::read_symlink(entry.path(), ignored) == in_path)
            descriptors.push_back(std::stoi(entry.path().filename()));
    }
    return descriptors;
}

} // namespace Velmora::Test
