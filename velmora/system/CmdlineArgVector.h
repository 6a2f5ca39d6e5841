// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <iosfwd>
#include <vector>

namespace Velmora
{

/// The arguments of a program, in their order.
///
/// Ownership: the texts are not copied. They must outlive the vector, as the arguments of `main`
/// do.
/// Thread-safety: as a vector.
class VELMORA_API CmdlineArgVector : public std::vector<const char*>
{
  public:
    using std::vector<const char*>::vector;
};

/// Writes the arguments, separated by one blank.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const CmdlineArgVector& in_args);

} // namespace Velmora
