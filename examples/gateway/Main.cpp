// SPDX-License-Identifier: BSD-2-Clause

#include "Gateway.h"

#include <exception>
#include <iostream>
#include <optional>

namespace
{

int run(int argc, char** argv)
{
    // First, so that a gateway that is stopped while it starts ends as it would later.
    const GatewayExample::OperatorSignals signals;
    GatewayExample::StartWatch startWatch(signals);
    GatewayExample::Gateway gateway(signals, startWatch);
    if (const std::optional<int> exitCode = gateway.answer(argc, argv))
        return *exitCode;
    if (!gateway.initialize(argc, argv))
    {
        gateway.reportFailedStart();
        return 1;
    }
    gateway.run();
    return gateway.hasFailed() ? 1 : 0;
}

} // namespace

int main(int argc, char** argv)
{
    try
    {
        return run(argc, argv);
    }
    catch (const std::exception& error)
    {
        // Written to standard error, because the failure may be in the log.
        std::cerr << "gateway: " << error.what() << '\n';
        return 1;
    }
}
