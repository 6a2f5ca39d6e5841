// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>

namespace Velmora
{

/// A hash map from strings to strings, whose code exists once, in this library.
///
/// Thread-safety: as a map of the standard library.
class VELMORA_API StringStringHashMap
{
  public:
    using Map = std::unordered_map<std::string, std::string>;
    using value_type = Map::value_type;
    using size_type = std::size_t;
    using iterator = Map::iterator;
    using const_iterator = Map::const_iterator;

    StringStringHashMap();
    StringStringHashMap(const StringStringHashMap& in_map);
    StringStringHashMap(StringStringHashMap&& in_map) noexcept;
    ~StringStringHashMap();
    StringStringHashMap& operator=(const StringStringHashMap& in_map);
    StringStringHashMap& operator=(StringStringHashMap&& in_map) noexcept;

    /// Inserts an entry if its key is not in the map. Returns the entry with that key, and whether
    /// it was inserted.
    std::pair<iterator, bool> insert(const value_type& in_entry);

    /// Removes the entry of a key. Returns the number of removed entries, 0 or 1.
    std::size_t erase(const std::string& in_strKey);
    /// Removes an entry. Returns the next one.
    iterator erase(iterator in_entry);

    /// Returns the value of a key. Inserts an empty string if the key is not in the map.
    std::string& operator[](const std::string& in_strKey);

    [[nodiscard]] iterator find(const std::string& in_strKey);
    [[nodiscard]] const_iterator find(const std::string& in_strKey) const;

    void clear();

    /// Sets the number of buckets to at least the given number.
    void resize(std::size_t in_uiNumBuckets);

    [[nodiscard]] std::size_t size() const { return m_map.size(); }
    [[nodiscard]] bool empty() const { return m_map.empty(); }
    [[nodiscard]] std::size_t bucket_count() const { return m_map.bucket_count(); }

    iterator begin() { return m_map.begin(); }
    iterator end() { return m_map.end(); }
    [[nodiscard]] const_iterator begin() const { return m_map.begin(); }
    [[nodiscard]] const_iterator end() const { return m_map.end(); }

  private:
    Map m_map;
};

} // namespace Velmora
