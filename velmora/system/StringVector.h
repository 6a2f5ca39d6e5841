// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Velmora
{

/// A vector of strings, whose code exists once, in this library.
///
/// Thread-safety: as a vector.
class VELMORA_API StringVector
{
  public:
    using value_type = std::string;
    using size_type = std::size_t;
    using iterator = std::vector<std::string>::iterator;
    using const_iterator = std::vector<std::string>::const_iterator;

    StringVector();
    /// Constructs `in_uiCount` empty strings.
    explicit StringVector(std::size_t in_uiCount);
    /// Constructs `in_uiCount` copies of a string.
    StringVector(std::size_t in_uiCount, const std::string& in_strValue);
    /// Constructs one string.
    explicit StringVector(const std::string& in_strValue);
    StringVector(const StringVector& in_vector);
    StringVector(StringVector&& in_vector) noexcept;
    ~StringVector();
    StringVector& operator=(const StringVector& in_vector);
    StringVector& operator=(StringVector&& in_vector) noexcept;

    void reserve(std::size_t in_uiCount);
    void push_back(const std::string& in_strValue);
    void clear();

    [[nodiscard]] std::size_t size() const { return m_vector.size(); }
    [[nodiscard]] bool empty() const { return m_vector.empty(); }
    [[nodiscard]] std::size_t capacity() const { return m_vector.capacity(); }

    std::string& operator[](std::size_t in_uiIndex) { return m_vector[in_uiIndex]; }
    const std::string& operator[](std::size_t in_uiIndex) const { return m_vector[in_uiIndex]; }

    iterator begin() { return m_vector.begin(); }
    iterator end() { return m_vector.end(); }
    [[nodiscard]] const_iterator begin() const { return m_vector.begin(); }
    [[nodiscard]] const_iterator end() const { return m_vector.end(); }

  private:
    std::vector<std::string> m_vector;
};

} // namespace Velmora
