#pragma once

#include "velmora/logging/ObjectWithLogger.h"
#include "velmora/python/TSPyObjPtr.h"

#include <memory>

/// Calls the method `onActiveCalls` of a site's object for each number of active calls, on a thread
/// of its own: the program goes on, whatever the script does. While the script works on one number,
/// only the last of those that come is kept.
///
/// An exception, `SystemExit` included, is in the log with its traceback; the next number is given
/// to the script all the same. A call that takes longer than half a second draws a WARN.
class RuleRunner
{
  public:
    explicit RuleRunner(const Velmora::TSPyObjPtr& in_rules);

    /// Waits for the script, for two seconds at most: one that does not return is left to itself.
    ~RuleRunner();

    RuleRunner(const RuleRunner&) = delete;
    RuleRunner& operator=(const RuleRunner&) = delete;

    /// Returns at once.
    void activeCalls(unsigned int in_uiCalls);

  private:
    class Worker;

    /// The thread has it too, and keeps it if it is left to itself.
    std::shared_ptr<Worker> m_pWorker;
};
