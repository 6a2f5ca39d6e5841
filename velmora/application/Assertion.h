#pragma once

#include "velmora/Export.h"

namespace Velmora
{

class Logger;

/// The parameter that makes a failed assertion end the process: a bool, read at each failure. While
/// another thread changes the configuration, and once the exit list has destroyed it, the value
/// counts that the last finished change left.
inline constexpr const char* s_szINFRA_ABORTONASSERT_PARAM = "keswardin.infra.abortOnAssert";

/// The reaction to a broken condition in the program. A failed assertion logs one line at ERROR
/// and the code after it goes on; when the parameter `keswardin.infra.abortOnAssert` reads true
/// at the moment of the failure, it logs at FATAL and the process aborts.
///
/// Code writes one of the macros below, which costs one test of a bool while the condition holds.
///
/// Thread-safety: all operations may be called on any thread; an assertion takes no lock of its
/// own.
class VELMORA_API Assertion
{
  public:
    /// Reports through the logger `keswardin.infra.Assertion` when the condition is false.
    Assertion(bool in_bCondition, const char* in_szExpression, const char* in_szFile, int in_iLine)
    {
        if (!in_bCondition) [[unlikely]]
            assert_i(false, in_szExpression, nullptr, in_szFile, in_iLine);
    }

    /// Reports through the given logger when the condition is false.
    Assertion(bool in_bCondition, const char* in_szExpression, const Logger& in_logger,
              const char* in_szFile, int in_iLine)
    {
        if (!in_bCondition) [[unlikely]]
            assert_i(false, in_szExpression, &in_logger, in_szFile, in_iLine);
    }

    /// The reaction itself; does nothing when the condition is true. A null logger means
    /// `keswardin.infra.Assertion`. A null file and a negative line are left out of the text.
    static void assert_i(bool in_bCondition, const char* in_szExpression, const Logger* in_pLogger,
                         const char* in_szFile, int in_iLine);

    /// Sets `keswardin.infra.abortOnAssert` in the global configuration at run time. The
    /// parameter is the only state.
    /// Failure: false when the configuration refuses or there is none.
    static bool setAbortOnAssert(bool in_bAbort);
};

} // namespace Velmora

/// Asserts in a member function of a class that has a logger (`ObjectWithLogger`), through it.
#define VELMORA_ASSERT(condition) VELMORA_ASSERT_TEXT(condition, #condition)

/// As VELMORA_ASSERT, with the text that the line shows for the condition.
#define VELMORA_ASSERT_TEXT(condition, text) \
    ((condition) ? static_cast<void>(0)      \
                 : static_cast<void>(        \
                       ::Velmora::Assertion(false, text, this->getLogger(), __FILE__, __LINE__)))

/// Asserts in code outside such classes, through the logger of the source file.
#define VELMORA_FILE_ASSERT(condition) VELMORA_FILE_ASSERT_TEXT(condition, #condition)

/// As VELMORA_FILE_ASSERT, with the text that the line shows for the condition.
#define VELMORA_FILE_ASSERT_TEXT(condition, text)                                                 \
    ((condition) ? static_cast<void>(0)                                                           \
                 : ::Velmora::Assertion::assert_i(false, text, ::liveFileScopeLogger(), __FILE__, \
                                                  __LINE__))

/// Asserts where there is no logger to take, as in headers.
#define VELMORA_PLAIN_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) \
                 : static_cast<void>(::Velmora::Assertion(false, #condition, __FILE__, __LINE__)))
