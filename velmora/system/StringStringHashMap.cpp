// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/StringStringHashMap.h"

namespace Velmora
{

StringStringHashMap::StringStringHashMap() = default;
StringStringHashMap::StringStringHashMap(const StringStringHashMap& in_map) = default;
StringStringHashMap::StringStringHashMap(StringStringHashMap&& in_map) noexcept = default;
StringStringHashMap::~StringStringHashMap() = default;
StringStringHashMap& StringStringHashMap::operator=(const StringStringHashMap& in_map) = default;
StringStringHashMap&
StringStringHashMap::operator=(StringStringHashMap&& in_map) noexcept = default;

std::pair<StringStringHashMap::iterator, bool>
StringStringHashMap::insert(const value_type& in_entry)
{
    return m_map.insert(in_entry);
}

std::size_t StringStringHashMap::erase(const std::string& in_strKey)
{
    return m_map.erase(in_strKey);
}

StringStringHashMap::iterator StringStringHashMap::erase(iterator in_entry)
{
    return m_map.erase(in_entry);
}

std::string& StringStringHashMap::operator[](const std::string& in_strKey)
{
    return m_map[in_strKey];
}

StringStringHashMap::iterator StringStringHashMap::find(const std::string& in_strKey)
{
    return m_map.find(in_strKey);
}

StringStringHashMap::const_iterator StringStringHashMap::find(const std::string& in_strKey) const
{
    return m_map.find(in_strKey);
}

void StringStringHashMap::clear() { m_map.clear(); }

void StringStringHashMap::resize(std::size_t in_uiNumBuckets) { m_map.rehash(in_uiNumBuckets); }

} // namespace Velmora
