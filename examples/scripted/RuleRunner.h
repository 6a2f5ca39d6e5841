// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/ObjectWithLogger.h"
#include "velmora/python/TSPyObjPtr.h"

#include <memory>

namespace ScriptedExample
{

/// Calls the method `onActiveCalls` of a site's object for each number of active calls. The calls
/// run on a thread of their own, so the program continues whatever the script does. While the
/// script processes one number, only the last of the numbers that arrive is kept.
///
/// An exception, including `SystemExit`, is logged with its traceback, and the script is called for
/// the next number as usual. A call that takes longer than half a second logs a WARN.
class RuleRunner
{
  public:
    explicit RuleRunner(const Velmora::TSPyObjPtr& in_rules);

    /// Waits for the script, for two seconds at most. If it does not return, logs a WARN and leaves
    /// the thread running.
    ~RuleRunner();

    RuleRunner(const RuleRunner&) = delete;
    RuleRunner& operator=(const RuleRunner&) = delete;

    /// Passes a number to the script. Returns at once.
    void activeCalls(unsigned int in_uiCalls);

  private:
    class Worker;

    /// Shared with the thread, which may outlive this object.
    std::shared_ptr<Worker> m_pWorker;
};

} // namespace ScriptedExample
