#pragma once

#include "velmora/Export.h"

#include <string>

namespace Velmora
{

/// What a failed assertion needs of parts of the library that stand above it. They fill these
/// places in when they come into being and empty them before they die; while a place is empty, an
/// assertion goes on without it.
///
/// Thread-safety: places may be read on any thread; they are filled and emptied by the code that
/// brings the library up and takes it down. What fills a place must stay valid while it is set and
/// must itself be callable on any thread.
class VELMORA_API AssertionSeam
{
  public:
    /// The record of a running unit test.
    class VELMORA_API UnitTestRecord
    {
      public:
        /// Whether a unit test runs; asked at each failed assertion.
        virtual bool isRunning() = 0;

        /// Takes a failed check into the record.
        virtual void recordFailedCheck(const std::string& in_strText, const char* in_szFile,
                                       int in_iLine) = 0;

      protected:
        ~UnitTestRecord() = default;
    };

    /// The global configuration, reduced to one kind of parameter.
    class VELMORA_API BoolParameters
    {
      public:
        /// True when the parameter is defined as a bool, with its value in `out_bValue`. Never
        /// brings a configuration into being and never waits for another thread's write: it gives
        /// false then.
        virtual bool getBoolParameter(const char* in_szName, bool& out_bValue) = 0;

        /// Sets the parameter at run time; false when that is refused.
        virtual bool setBoolParameter(const char* in_szName, bool in_bValue) = 0;

      protected:
        ~BoolParameters() = default;
    };

    static void setUnitTestRecord(UnitTestRecord* in_pRecord);
    static UnitTestRecord* getUnitTestRecord();

    static void setBoolParameters(BoolParameters* in_pParameters);
    static BoolParameters* getBoolParameters();

    /// What `keswardin.infra.abortOnAssert` read after the last finished change of the
    /// configuration. An assertion goes by it where it cannot read the parameter itself: while
    /// another thread changes the configuration, and once that has been destroyed. False at first.
    static void publishAbortOnAssert(bool in_bAbort);
    static bool isAbortOnAssertPublished();
};

} // namespace Velmora
