// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Handle.h"
#include "velmora/application/Object.h"

namespace Velmora
{

class Logger;
class ROConfiguration;

/// The interface of a program, for the code around `main`:
///
///     int main(int argc, char** argv)
///     {
///         Gateway gateway;
///         if (!gateway.initialize(argc, argv))
///             return 1;
///         gateway.run();
///     }
///
/// Programs derive from `ApplicationImpl`.
///
/// Thread-safety: for the main thread only, except `getConfig`, which may be called on any thread.
class VELMORA_API Application : public virtual Object
{
  public:
    Application() = default;
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    ~Application() override;

    /// Returns the configuration of the process.
    [[nodiscard]] virtual TSHandle<ROConfiguration> getConfig() const = 0;

    /// Prepares the program to run, as its command line asks.
    /// Failure: returns false and logs the reason. The program decides whether it ends.
    [[nodiscard]] virtual bool initialize(int in_argc, char** in_argv) = 0;

    /// Does the work of the program. Is called after `initialize` has returned true.
    virtual void run() = 0;

    /// Returns the logger that the program logs through.
    [[nodiscard]] virtual const Logger& getAppLogger() const = 0;
};

} // namespace Velmora
