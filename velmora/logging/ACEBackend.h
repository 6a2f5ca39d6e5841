#pragma once

#include "velmora/Export.h"

#include <ace/Cleanup.h>

#include <memory>

namespace Velmora
{

class Log4cplusBackend;

/// The bridge from ACE's log to log4cplus, and the oldest entry of the exit list: it brings
/// log4cplus up before the first line is logged, and stands until everything else on the list has
/// gone.
///
/// Ownership: the exit list's.
/// Failure: when ACE's log cannot be opened, the process ends with exit code 1.
class VELMORA_API ACEBackend : public ACE_Cleanup
{
  public:
    ACEBackend();
    ~ACEBackend() override;
    ACEBackend(const ACEBackend&) = delete;
    ACEBackend& operator=(const ACEBackend&) = delete;

  private:
    std::unique_ptr<Log4cplusBackend> m_pLog4cplusBackend;
};

/// The one of this process, made on the first call in its first copy of the library. Null once the
/// exit list has run.
/// Thread-safety: may be called on any thread.
VELMORA_API ACEBackend* getACEBackend();

} // namespace Velmora
