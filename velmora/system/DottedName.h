#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora
{

/// How a dotted name maps to its components; all of the library maps by these functions.
///
/// Each '.' ends a component, which may be empty, and what follows the last one is a component
/// unless it is empty: "a.b" has the components a and b, ".a" an empty one and a, "a..b" three,
/// "a." one, and the empty text has none.
///
/// Thread-safety: may be called on any thread; a vector belongs to one thread at a time.

/// Splits a name without ever making the vector smaller, so that components of a name like one
/// before it need no memory. Gives the number of components. The elements from there on hold what
/// they held before, so the result counts and not the size of the vector. The name must not be null
/// nor part of the vector.
VELMORA_API unsigned long dottedStringToVectorNoResize(const char* in_szName,
                                                       std::vector<std::string>& out_components);

/// Splits a name into exactly its components.
VELMORA_API void dottedStringToVector(const char* in_szName,
                                      std::vector<std::string>& out_components);

/// Joins components with a '.' between them. The output must not be one of them.
VELMORA_API void vectorToDottedString(const std::vector<std::string>& in_components,
                                      std::string& out_strName);

/// The components of a name, as parts of the name itself, for code that only walks along them:
///
///     for (const std::string_view component : DottedComponents("a.b"))
///
/// Ownership: the name must outlive it, and its iterators.
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
        /// Compares iterators of one name.
        bool operator==(const Iterator& in_other) const { return m_uiBegin == in_other.m_uiBegin; }

      private:
        std::string_view m_name;
        std::size_t m_uiBegin;
        /// Where the dot is that ends the component; no place for the last one.
        std::size_t m_uiEnd;
    };

    explicit DottedComponents(std::string_view in_name) : m_name(in_name) {}

    [[nodiscard]] Iterator begin() const { return {m_name, 0}; }
    [[nodiscard]] Iterator end() const { return {m_name, m_name.size()}; }

  private:
    std::string_view m_name;
};

} // namespace Velmora
