// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <string>

namespace Velmora
{

/// Holds what a failed assertion needs from higher floors of the library: the unit test record and
/// the configuration. They set their pointers when they become available and reset them before they
/// are destroyed. While a pointer is null, an assertion does without that part.
///
/// Thread-safety: the getters may be called on any thread. The setters are called by the code that
/// starts and ends the library. An object must stay valid while it is set, and its operations may
/// be called on any thread.
class VELMORA_API AssertionSeam
{
  public:
    /// Records the results of a running unit test.
    class VELMORA_API UnitTestRecord
    {
      public:
        /// Returns whether a unit test is running. Is called at each failed assertion.
        virtual bool isRunning() = 0;

        /// Records a failed check.
        virtual void recordFailedCheck(const std::string& in_strText, const char* in_szFile,
                                       int in_iLine) = 0;

        /// Makes the object that records, and the calling thread's pointer to it, if that is
        /// possible at the moment. Is called at each failed assertion, before the other operations.
        virtual void make() {}

      protected:
        ~UnitTestRecord() = default;
    };

    /// Reads and sets bool parameters of the global configuration.
    class VELMORA_API BoolParameters
    {
      public:
        /// Returns whether the parameter is defined as a bool, and stores its value in
        /// `out_bValue`. Returns false if there is no configuration, and does not create one.
        /// Returns false while another thread changes the configuration, and does not wait.
        virtual bool getBoolParameter(const char* in_szName, bool& out_bValue) = 0;

        /// Sets the parameter at run time. Returns false if the change is refused.
        virtual bool setBoolParameter(const char* in_szName, bool in_bValue) = 0;

      protected:
        ~BoolParameters() = default;
    };

    static void setUnitTestRecord(UnitTestRecord* in_pRecord);
    static UnitTestRecord* getUnitTestRecord();

    static void setBoolParameters(BoolParameters* in_pParameters);
    static BoolParameters* getBoolParameters();

    /// Publish and return the value of `keswardin.infra.abortOnAssert` after the last finished
    /// change of the configuration. An assertion uses it when it cannot read the parameter itself:
    /// while another thread changes the configuration, and after the configuration has been
    /// destroyed. The value is false at first.
    static void publishAbortOnAssert(bool in_bAbort);
    static bool isAbortOnAssertPublished();
};

} // namespace Velmora
