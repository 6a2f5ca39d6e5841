// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <unordered_map>

namespace Velmora
{

/// The state of a memory account at one moment.
class VELMORA_API MemAccountInfo
{
  public:
    /// The account's index in its allocator.
    std::uint64_t uiAccountId = 0;
    /// Bytes that callers hold now, without headers. Wraps as a 32-bit value does.
    std::int32_t iBalance = 0;
    /// The highest balance so far, in bytes.
    std::int32_t iMaximum = 0;

    bool operator==(const MemAccountInfo&) const = default;

    std::ostream& write(std::ostream& out_stream) const;

    /// Returns whether the first account has the larger maximum.
    class LargerMaxBytes
    {
      public:
        bool operator()(const MemAccountInfo& in_first, const MemAccountInfo& in_second) const
        {
            return in_first.iMaximum > in_second.iMaximum;
        }
    };
};

/// The state of an account, with its name.
class VELMORA_API MemAccountInfoWithName : public MemAccountInfo
{
  public:
    MemAccountInfoWithName(const std::string& in_strName, const MemAccountInfo& in_info);

    std::string strName;

    std::ostream& write(std::ostream& out_stream) const;
};

/// The states of accounts by name.
class VELMORA_API MemAccountInfoHash : public std::unordered_map<std::string, MemAccountInfo>
{
  public:
    /// Writes one line for each account, the largest maximum first, without a line end after the
    /// last. Accounts with the same maximum are in no particular order.
    std::ostream& write(std::ostream& out_stream) const;
};

VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const MemAccountInfo& in_info);
VELMORA_API std::ostream& operator<<(std::ostream& out_stream,
                                     const MemAccountInfoWithName& in_info);
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const MemAccountInfoHash& in_hash);

} // namespace Velmora
