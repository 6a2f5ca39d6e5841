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

/// A version number of any depth, such as 2.1 or 1.10.0.3. One without components is no revision.
///
/// Thread-safety: as a vector.
class VELMORA_API DottedRevision
{
  public:
    /// Reads numbers with single dots between them, as streams read them: blanks before a number
    /// or a dot and at the end are skipped, and "-1" is the largest number there is.
    /// Failure: false for any other text, also for an empty one; there are no components then.
    bool initFrom(const char* in_szText);

    /// Writes the components in decimal with a dot between them; nothing when there are none.
    std::ostream& write(std::ostream& out_stream) const;

    /// The numbers from left to right.
    [[nodiscard]] const std::vector<unsigned long>& getComponents() const { return m_components; }

    /// Compares component by component: 1.9 comes before 1.10, and 1.2 before 1.2.0.
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
