#include "Gateway.h"

int main(int argc, char** argv)
{
    Gateway gateway;
    if (!gateway.initialize(argc, argv))
        return 1;
    gateway.run();
    return gateway.hasFailed() ? 1 : 0;
}
