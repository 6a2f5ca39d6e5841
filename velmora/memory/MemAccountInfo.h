#pragma once

#include "velmora/Export.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <unordered_map>

namespace Velmora
{

/// What a memory account holds at one moment.
class VELMORA_API MemAccountInfo
{
  public:
    /// The account's index in its allocator.
    std::uint64_t uiAccountId = 0;
    /// Bytes of caller memory now held, headers not counted. Wraps as a 32-bit value does.
    std::int32_t iBalance = 0;
    /// The highest balance ever reached, in bytes.
    std::int32_t iMaximum = 0;

    bool operator==(const MemAccountInfo&) const = default;

    std::ostream& write(std::ostream& out_stream) const;

    /// Whether the first of two has the larger maximum.
    class LargerMaxBytes
    {
      public:
        bool operator()(const MemAccountInfo& in_first, const MemAccountInfo& in_second) const
        {
            return in_first.iMaximum > in_second.iMaximum;
        }
    };
};

/// An account with its name.
class VELMORA_API MemAccountInfoWithName : public MemAccountInfo
{
  public:
    MemAccountInfoWithName(const std::string& in_strName, const MemAccountInfo& in_info);

    std::string strName;

    std::ostream& write(std::ostream& out_stream) const;
};

/// Accounts by their names.
class VELMORA_API MemAccountInfoHash : public std::unordered_map<std::string, MemAccountInfo>
{
  public:
    /// Writes a line for each account, that with the largest maximum first, with no line end after
    /// the last. Accounts with the same maximum come in any order.
    std::ostream& write(std::ostream& out_stream) const;
};

VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const MemAccountInfo& in_info);
VELMORA_API std::ostream& operator<<(std::ostream& out_stream,
                                     const MemAccountInfoWithName& in_info);
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const MemAccountInfoHash& in_hash);

} // namespace Velmora
