#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>

namespace Velmora
{

/// A hash map of strings by strings, whose code exists once, in this library.
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

    /// Puts an entry in unless its key is there already. Tells where that is, and whether it did.
    std::pair<iterator, bool> insert(const value_type& in_entry);

    /// Takes out the entry of a key. Gives the number of entries taken out, 0 or 1.
    std::size_t erase(const std::string& in_strKey);
    /// Takes out an entry. Gives the one behind it.
    iterator erase(iterator in_entry);

    /// The value of a key, which is made with the empty string if it is not there.
    std::string& operator[](const std::string& in_strKey);

    [[nodiscard]] iterator find(const std::string& in_strKey);
    [[nodiscard]] const_iterator find(const std::string& in_strKey) const;

    void clear();

    /// Makes the table have at least this number of buckets.
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
