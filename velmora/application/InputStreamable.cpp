// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/InputStreamable.h"

namespace Velmora
{

InputStreamable::~InputStreamable() = default;

std::istream& operator>>(std::istream& in_stream, InputStreamable& out_object)
{
    return out_object.read(in_stream);
}

} // namespace Velmora
