// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/vfs/VfsFileBuf.h"
#include "velmora/vfs/test/MemoryFileSystem.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <ios>
#include <string>

namespace Velmora::Test
{

inline constexpr int s_iIn = std::ios_base::in | std::ios_base::binary;
inline constexpr int s_iOut = std::ios_base::out | std::ios_base::binary;
inline constexpr int s_iBoth = std::ios_base::in | std::ios_base::out | std::ios_base::binary;

/// A buffer that has the file "file" of a file system in memory open.
class OpenBuffer : public VfsFileBuf<char>
{
  public:
    OpenBuffer(const MemoryFiles& in_files, int in_iMode) : VfsFileBuf(in_files.handle())
    {
        EXPECT_NE(open("file", in_iMode), nullptr);
    }

    std::string get(long in_iCount)
    {
        std::string strText(static_cast<std::size_t>(in_iCount), '\0');
        strText.resize(static_cast<std::size_t>(sgetn(strText.data(), in_iCount)));
        return strText;
    }

    long put(const std::string& in_strText)
    {
        return sputn(in_strText.data(), static_cast<long>(in_strText.size()));
    }

    long seek(long in_iOffset, std::ios_base::seekdir in_direction = std::ios_base::beg)
    {
        return static_cast<long>(pubseekoff(in_iOffset, in_direction));
    }

    long tell() { return seek(0, std::ios_base::cur); }
};

/// Returns the digits from 0 to 9, repeated up to a length.
inline std::string digits(std::size_t in_uiCount)
{
    std::string strText;
    while (strText.size() < in_uiCount)
        strText += static_cast<char>('0' + strText.size() % 10);
    return strText;
}

} // namespace Velmora::Test
