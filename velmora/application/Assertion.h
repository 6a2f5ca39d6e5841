// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

class Logger;

/// The parameter that makes a failed assertion end the process: a bool, read at each failure. While
/// another thread changes the configuration, and after the exit list has destroyed it, the value
/// from the last finished change is used.
inline constexpr const char* s_szINFRA_ABORTONASSERT_PARAM = "keswardin.infra.abortOnAssert";

/// Checks a condition whose failure is a programming error. A failed assertion logs one line at
/// ERROR, and the code after it continues. If the parameter `keswardin.infra.abortOnAssert` is true
/// at the moment of the failure, it logs at FATAL and aborts the process.
///
/// Code uses one of the macros below. While the condition holds, each costs one test of a bool.
///
/// Thread-safety: all operations may be called on any thread. An assertion takes no lock of its
/// own.
class VELMORA_API Assertion
{
  public:
    /// Logs a failure through the logger `keswardin.infra.Assertion` if the condition is false.
    Assertion(bool in_bCondition, const char* in_szExpression, const char* in_szFile, int in_iLine)
    {
        if (!in_bCondition) [[unlikely]]
            assert_i(false, in_szExpression, nullptr, in_szFile, in_iLine);
    }

    /// Logs a failure through the given logger if the condition is false.
    Assertion(bool in_bCondition, const char* in_szExpression, const Logger& in_logger,
              const char* in_szFile, int in_iLine)
    {
        if (!in_bCondition) [[unlikely]]
            assert_i(false, in_szExpression, &in_logger, in_szFile, in_iLine);
    }

    /// Records and logs a failure, and aborts the process if the parameter asks for it. Does
    /// nothing if the condition is true. A null logger means `keswardin.infra.Assertion`. A null
    /// file and a negative line are left out of the text.
    static void assert_i(bool in_bCondition, const char* in_szExpression, const Logger* in_pLogger,
                         const char* in_szFile, int in_iLine);

    /// Sets `keswardin.infra.abortOnAssert` in the global configuration at run time. The value is
    /// stored nowhere else.
    /// Failure: returns false if the configuration refuses the change or does not exist.
    static bool setAbortOnAssert(bool in_bAbort);
};

} // namespace Velmora

/// Asserts through the logger of the object, in a member function of a class that has one
/// (`ObjectWithLogger`).
#define VELMORA_ASSERT(condition) VELMORA_ASSERT_TEXT(condition, #condition)

/// Does the same as VELMORA_ASSERT, with another text for the condition.
#define VELMORA_ASSERT_TEXT(condition, text) \
    ((condition) ? static_cast<void>(0)      \
                 : static_cast<void>(        \
                       ::Velmora::Assertion(false, text, this->getLogger(), __FILE__, __LINE__)))

/// Asserts through the logger of the source file, in code outside such classes.
#define VELMORA_FILE_ASSERT(condition) VELMORA_FILE_ASSERT_TEXT(condition, #condition)

/// Does the same as VELMORA_FILE_ASSERT, with another text for the condition.
#define VELMORA_FILE_ASSERT_TEXT(condition, text)                                                 \
    ((condition) ? static_cast<void>(0)                                                           \
                 : ::Velmora::Assertion::assert_i(false, text, ::liveFileScopeLogger(), __FILE__, \
                                                  __LINE__))

/// Asserts through the logger `keswardin.infra.Assertion`, in code that has no logger, such as a
/// header.
#define VELMORA_PLAIN_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) \
                 : static_cast<void>(::Velmora::Assertion(false, #condition, __FILE__, __LINE__)))
