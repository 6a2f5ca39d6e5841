#pragma once

#include "velmora/Export.h"

#include <iosfwd>
#include <vector>

namespace Velmora
{

/// The arguments of a program, in order.
///
/// Ownership: the texts are not copied and must outlive it, as those given to `main` do.
/// Thread-safety: as a vector.
class VELMORA_API CmdlineArgVector : public std::vector<const char*>
{
  public:
    using std::vector<const char*>::vector;
};

/// Writes the arguments with one blank between them.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const CmdlineArgVector& in_args);

} // namespace Velmora
