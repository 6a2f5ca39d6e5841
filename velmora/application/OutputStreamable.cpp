// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/OutputStreamable.h"

namespace Velmora
{

OutputStreamable::~OutputStreamable() = default;

std::ostream& operator<<(std::ostream& out_stream, const OutputStreamable& in_object)
{
    return in_object.write(out_stream);
}

} // namespace Velmora
