// SPDX-License-Identifier: BSD-2-Clause

#include "Browser.h"

int main(int argc, char** argv)
{
    constexpr int iNotInitialized = 1;
    constexpr int iFailed = 2;
    Browser browser;
    if (!browser.initialize(argc, argv))
        return iNotInitialized;
    browser.run();
    return browser.hasPassed() ? 0 : iFailed;
}
