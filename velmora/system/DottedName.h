// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora
{

/// Functions that split dotted names into components and join them. The whole library uses these.
///
/// Each '.' ends a component, which may be empty. The text after the last '.' is a component unless
/// it is empty. So "a.b" has the components a and b, ".a" an empty one and a, "a..b" three, "a."
/// one, and the empty text none.
///
/// Thread-safety: may be called on any thread; a vector belongs to one thread at a time.

/// Splits a name without ever shrinking the vector, so that similar names in succession need no new
/// memory. Returns the number of components. The elements behind them keep their old content: the
/// result counts, not the size of the vector. The name must not be null or part of the vector.
VELMORA_API unsigned long dottedStringToVectorNoResize(const char* in_szName,
                                                       std::vector<std::string>& out_components);

/// Splits a name and resizes the vector to the number of its components.
VELMORA_API void dottedStringToVector(const char* in_szName,
                                      std::vector<std::string>& out_components);

/// Joins components with '.' between them. `out_strName` must not be one of the components.
VELMORA_API void vectorToDottedString(const std::vector<std::string>& in_components,
                                      std::string& out_strName);

/// The components of a name, as views of the name, for code that only iterates over them:
///
///     for (const std::string_view component : DottedComponents("a.b"))
///
/// Ownership: the name must outlive this object and its iterators.
class DottedComponents
{
  public:
    class Iterator
    {
      public:
        Iterator(std::string_view in_name, std::size_t in_uiBegin)
            : m_name(in_name), m_uiBegin(in_uiBegin), m_uiEnd(in_name.find('.', in_uiBegin))
        {
        }
        std::string_view operator*() const { return m_name.substr(m_uiBegin, m_uiEnd - m_uiBegin); }
        Iterator& operator++()
        {
            m_uiBegin = m_uiEnd == std::string_view::npos ? m_name.size() : m_uiEnd + 1;
            m_uiEnd = m_name.find('.', m_uiBegin);
            return *this;
        }
        /// Compares two iterators of the same name.
        bool operator==(const Iterator& in_other) const { return m_uiBegin == in_other.m_uiBegin; }

      private:
        std::string_view m_name;
        std::size_t m_uiBegin;
        /// The position of the dot that ends the component; npos for the last one.
        std::size_t m_uiEnd;
    };

    explicit DottedComponents(std::string_view in_name) : m_name(in_name) {}

    [[nodiscard]] Iterator begin() const { return {m_name, 0}; }
    [[nodiscard]] Iterator end() const { return {m_name, m_name.size()}; }

  private:
    std::string_view m_name;
};

} // namespace Velmora
