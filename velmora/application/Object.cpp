#include "velmora/application/Object.h"

namespace Velmora
{

Object::~Object() = default;

} // namespace Velmora
