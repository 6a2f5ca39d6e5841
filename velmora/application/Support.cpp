#include "velmora/application/Support.h"

namespace Velmora
{

Logger Support::getLogger() { return Logger("keswardin.support"); }

} // namespace Velmora
