// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/MemAccountInfo.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace Velmora
{

std::ostream& MemAccountInfo::write(std::ostream& out_stream) const
{
    // Numbers are written as text, so that no locale groups their digits.
    return out_stream << "account-id=" << std::to_string(uiAccountId)
                      << " bytes-allocated=" << std::to_string(iBalance)
                      << " max-bytes-allocated=" << std::to_string(iMaximum);
}

MemAccountInfoWithName::MemAccountInfoWithName(const std::string& in_strName,
                                               const MemAccountInfo& in_info)
    : MemAccountInfo(in_info), strName(in_strName)
{
}

std::ostream& MemAccountInfoWithName::write(std::ostream& out_stream) const
{
    out_stream << strName << " : ";
    return MemAccountInfo::write(out_stream);
}

std::ostream& MemAccountInfoHash::write(std::ostream& out_stream) const
{
    std::vector<MemAccountInfoWithName> accounts;
    accounts.reserve(size());
    for (const auto& [strName, info] : *this)
        accounts.emplace_back(strName, info);
    std::sort(accounts.begin(), accounts.end(), MemAccountInfo::LargerMaxBytes());

    const char* szSeparator = "";
    for (const MemAccountInfoWithName& account : accounts)
    {
        out_stream << szSeparator << account;
        szSeparator = "\n";
    }
    return out_stream;
}

std::ostream& operator<<(std::ostream& out_stream, const MemAccountInfo& in_info)
{
    return in_info.write(out_stream);
}

std::ostream& operator<<(std::ostream& out_stream, const MemAccountInfoWithName& in_info)
{
    return in_info.write(out_stream);
}

std::ostream& operator<<(std::ostream& out_stream, const MemAccountInfoHash& in_hash)
{
    return in_hash.write(out_stream);
}

} // namespace Velmora
