// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <iosfwd>
#include <vector>

namespace Velmora
{

namespace Test
{
class DottedRevisionPeer;
}

/// A version number of any depth, such as 2.1 or 1.10.0.3. Without components it is not a revision.
///
/// Thread-safety: as a vector.
class VELMORA_API DottedRevision
{
  public:
    /// Parses numbers that are separated by single dots, as streams read them: blanks before a
    /// number, before a dot and at the end are skipped, and "-1" is the largest value of the type.
    /// Failure: returns false for any other text, including an empty one. There are no components
    /// then.
    bool initFrom(const char* in_szText);

    /// Writes the components in decimal with dots between them, or nothing if there are none.
    std::ostream& write(std::ostream& out_stream) const;

    /// Returns the numbers from left to right.
    [[nodiscard]] const std::vector<unsigned long>& getComponents() const { return m_components; }

    /// Compares component by component: 1.9 is less than 1.10, and 1.2 is less than 1.2.0.
    friend bool operator<(const DottedRevision& in_first, const DottedRevision& in_second)
    {
        return in_first.m_components < in_second.m_components;
    }

  private:
    friend class Test::DottedRevisionPeer;

    bool readComponents(std::istream& in_stream);

    std::vector<unsigned long> m_components;
};

} // namespace Velmora
