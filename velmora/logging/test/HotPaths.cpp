// SPDX-License-Identifier: BSD-2-Clause

// Small functions whose machine code `GeneratedCodeTest` reads. They are never called.

#include "velmora/application/Assertion.h"
#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/ObjectWithLogger.h"

VELMORA_FILE_SCOPE_LOGGER("test.HotPaths")

namespace
{

using Velmora::Assertion;
using Velmora::CachedLLLogger;
using Velmora::Logger;
using Velmora::ObjectWithLogger;
using Velmora::TraceScope;

/// Keeps the compiler from merging the code before it with the code after it.
inline void doWork(int& out_iCount)
{
    asm volatile("incl %0" : "+m"(out_iCount) : : "memory", "cc");
}

template <class T>
class Call : public ObjectWithLogger<T>
{
  public:
    using ObjectWithLogger<T>::ObjectWithLogger;

    void logLine(int in_iNumber) const { VELMORA_LOG_DEBUG("number " << in_iNumber); }

    void traceScope(int& out_iCount) const
    {
        VELMORA_TRACE_SCOPE(Call::traceScope);
        doWork(out_iCount);
    }

    void assertCondition(bool in_bCondition) const { VELMORA_ASSERT(in_bCondition); }
};

} // namespace

// The test finds the functions by their names, which C linkage leaves as they are.
extern "C"
{
    void lineOfCachedLogger(const CachedLLLogger& in_logger, int in_iNumber)
    {
        VELMORA_LOG(in_logger, Velmora::DEBUG_LOG_LEVEL,
                    "number " << in_iNumber << " of " << in_logger.getName());
    }

    void lineOfObject(const void* in_pObject, int in_iNumber)
    {
        static_cast<const Call<CachedLLLogger>*>(in_pObject)->logLine(in_iNumber);
    }

    void traceScopeWithLevel(const Logger& in_logger, Velmora::LogLevel in_level, int& out_iCount)
    {
        const TraceScope scope(in_logger, "scope", in_level);
        doWork(out_iCount);
    }

    void traceScopeOfObject(const void* in_pObject, int& out_iCount)
    {
        static_cast<const Call<Logger>*>(in_pObject)->traceScope(out_iCount);
    }

    void traceScopeOfObjectWithCachedLogger(const void* in_pObject, int& out_iCount)
    {
        static_cast<const Call<CachedLLLogger>*>(in_pObject)->traceScope(out_iCount);
    }

    void plainAssertion(bool in_bCondition) { VELMORA_PLAIN_ASSERT(in_bCondition); }

    void fileAssertion(bool in_bCondition) { VELMORA_FILE_ASSERT(in_bCondition); }

    void objectAssertion(const void* in_pObject, bool in_bCondition)
    {
        static_cast<const Call<Logger>*>(in_pObject)->assertCondition(in_bCondition);
    }

    void constructedAssertion(bool in_bCondition)
    {
        Assertion(in_bCondition, "in_bCondition", __FILE__, __LINE__);
    }

    void constructedAssertionWithLogger(bool in_bCondition, const Logger& in_logger)
    {
        Assertion(in_bCondition, "in_bCondition", in_logger, __FILE__, __LINE__);
    }
}
