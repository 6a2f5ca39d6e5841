#include "velmora/logging/TraceScope.h"

#include <string>

namespace Velmora
{

void TraceScope::ctorLog() const
{
    m_pLogger->forcedTrace((std::string("entering ") + m_szName).c_str());
}

void TraceScope::dtorLog() const
{
    m_pLogger->forcedTrace((std::string("exiting ") + m_szName).c_str());
}

} // namespace Velmora
