// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ApplicationImpl.h"

struct Minimal : Velmora::ApplicationImpl
{
    Minimal() : ApplicationImpl(Velmora::Logger("keswardin.minimal"), "minimal") {}
    void run() override
    {
        bool bHandled = false;
        processHelpParamInfoOptions(bHandled);
        int iPort = 0;
        if (!bHandled && getConfig()->getIntParameter("keswardin.oam.webServicePort", iPort))
            VELMORA_LOG_INFO("serving on port " << iPort);
    }
};

int main(int argc, char** argv)
{
    Minimal program;
    if (!program.initialize(argc, argv))
        return 1;
    program.run();
}
