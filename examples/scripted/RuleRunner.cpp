// SPDX-License-Identifier: BSD-2-Clause

#include "examples/scripted/RuleRunner.h"

#include "velmora/logging/FileScopeLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

VELMORA_FILE_SCOPE_LOGGER("keswardin.scripted.RuleRunner")

using Velmora::Python::EmbeddedInterpreter;
using Velmora::Python::InterpreterLock;

namespace ScriptedExample
{

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// A call of the script that takes longer logs a WARN.
constexpr milliseconds s_longCall(500);
/// How long the end of the program waits for the script.
constexpr std::chrono::seconds s_waitAtEnd(2);

} // namespace

/// Keeps the last number that has not been processed, and calls the script for it on a thread.
class RuleRunner::Worker
{
  public:
    explicit Worker(const Velmora::TSPyObjPtr& in_rules) : m_rules(in_rules) {}

    /// Calls the script for each number until `end`. The function of the thread.
    void work()
    {
        EmbeddedInterpreter::getInstance().initializeThread();
        while (const std::optional<unsigned int> calls = next())
            callScript(*calls);
        const std::lock_guard guard(m_mutex);
        m_bDone = true;
        m_changed.notify_all();
    }

    /// Replaces a number that the thread has not taken yet.
    void activeCalls(unsigned int in_uiCalls)
    {
        const std::lock_guard guard(m_mutex);
        m_calls = in_uiCalls;
        m_changed.notify_all();
    }

    /// Asks the thread to end and waits for it. Returns false if the script has not returned within
    /// the limit.
    bool end()
    {
        std::unique_lock lock(m_mutex);
        m_bEnd = true;
        m_changed.notify_all();
        return m_changed.wait_for(lock, s_waitAtEnd, [&] { return m_bDone; });
    }

  private:
    /// Waits for a number and returns it. Returns nothing at the end.
    std::optional<unsigned int> next()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_bEnd || m_calls; });
        return std::exchange(m_calls, std::nullopt);
    }

    void callScript(unsigned int in_uiCalls)
    {
        const Clock::time_point start = Clock::now();
        {
            // The scope releases the lock before the line below is logged.
            const InterpreterLock lock;
            if (!lock)
                return;
            try
            {
                m_rules.attr("onActiveCalls")(in_uiCalls);
            }
            catch (const boost::python::error_already_set&)
            {
                EmbeddedInterpreter::getInstance().logLastPyException();
            }
        }
        const auto took = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
        if (took > s_longCall)
            VELMORA_FILE_LOG_WARN("onActiveCalls("
                                  << in_uiCalls << ") took " << took.count()
                                  << " ms; numbers that came in that time were left out except the "
                                     "last. A rule should take less than "
                                  << s_longCall.count() << " ms");
    }

    const Velmora::TSPyObjPtr m_rules;
    /// Guards `m_calls`, `m_bEnd` and `m_bDone`. No foreign code runs while it is held.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<unsigned int> m_calls;
    bool m_bEnd = false;
    bool m_bDone = false;
};

RuleRunner::RuleRunner(const Velmora::TSPyObjPtr& in_rules)
    : m_pWorker(std::make_shared<Worker>(in_rules))
{
    std::thread([pWorker = m_pWorker] { pWorker->work(); }).detach();
}

RuleRunner::~RuleRunner()
{
    if (!m_pWorker->end())
        VELMORA_FILE_LOG_WARN("onActiveCalls does not return; the program ends without it");
}

void RuleRunner::activeCalls(unsigned int in_uiCalls) { m_pWorker->activeCalls(in_uiCalls); }

} // namespace ScriptedExample
