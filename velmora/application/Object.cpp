#include "velmora/application/Object.h"

#include "velmora/application/Cloneable.h"
#include "velmora/application/InputStreamable.h"
#include "velmora/application/OutputStreamable.h"

namespace Velmora
{

Object::~Object() = default;

Cloneable::~Cloneable() = default;

OutputStreamable::~OutputStreamable() = default;

InputStreamable::~InputStreamable() = default;

std::ostream& operator<<(std::ostream& out_stream, const OutputStreamable& in_object)
{
    return in_object.write(out_stream);
}

std::istream& operator>>(std::istream& in_stream, InputStreamable& out_object)
{
    return out_object.read(in_stream);
}

} // namespace Velmora
