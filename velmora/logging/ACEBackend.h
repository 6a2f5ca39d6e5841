// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <ace/Cleanup.h>

#include <memory>

namespace Velmora
{

class Log4cplusBackend;

/// Routes the log of ACE to log4cplus. Initializes log4cplus before the first line is logged. It is
/// the oldest entry of the exit list, so it is deleted after all others.
///
/// Ownership: owned by the exit list.
/// Failure: if the log of ACE cannot be opened, the process exits with code 1.
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

/// Returns the bridge of this process, which the first call in the first copy of the library makes.
/// Returns null once the exit list has run.
/// Thread-safety: may be called from any thread.
VELMORA_API ACEBackend* getACEBackend();

} // namespace Velmora
