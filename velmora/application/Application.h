#pragma once

#include "velmora/Export.h"
#include "velmora/application/Handle.h"
#include "velmora/application/Object.h"

namespace Velmora
{

class Logger;
class ROConfiguration;

/// A program, as the code around `main` sees it:
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
/// Thread-safety: the main thread's, but for `getConfig`.
class VELMORA_API Application : public virtual Object
{
  public:
    Application() = default;
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    ~Application() override;

    /// The configuration of the process.
    [[nodiscard]] virtual TSHandle<ROConfiguration> getConfig() const = 0;

    /// Prepares the program to run, as its command line says.
    /// Failure: false, and what is wrong in the log. The program decides what to do about it.
    [[nodiscard]] virtual bool initialize(int in_argc, char** in_argv) = 0;

    /// What the program is for. To be called after `initialize` has given true.
    virtual void run() = 0;

    [[nodiscard]] virtual const Logger& getAppLogger() const = 0;
};

} // namespace Velmora
