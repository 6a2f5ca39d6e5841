// SPDX-License-Identifier: BSD-2-Clause

#include "ResidentMemory.h"

#include <array>
#include <charconv>
#include <string_view>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace GatewayExample
{

ResidentMemory::ResidentMemory() : m_file(open("/proc/self/statm", O_RDONLY | O_CLOEXEC)) {}

std::size_t ResidentMemory::bytes() const
{
    // All pages, then the resident ones.
    std::array<char, 256> text{};
    const ssize_t iRead = pread(m_file.number(), text.data(), text.size(), 0);
    if (iRead <= 0)
        return 0;
    const std::string_view strText(text.data(), static_cast<std::size_t>(iRead));
    const std::size_t uiBegin = strText.find(' ') + 1;
    std::size_t uiPages = 0;
    std::from_chars(text.data() + uiBegin, text.data() + iRead, uiPages);
    return uiPages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

bool ResidentMemory::exceeds(std::size_t in_uiLimitMB) const
{
    const std::size_t uiLimit = in_uiLimitMB * 1024 * 1024;
    if (bytes() <= uiLimit)
        return false;
    // What calls have freed may still be held for the next ones.
    malloc_trim(0);
    return bytes() > uiLimit;
}

} // namespace GatewayExample
