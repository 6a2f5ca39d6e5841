// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <functional>

namespace Velmora::Test
{

/// Runs the body of a test in a process that accounts its memory. A process decides this when it
/// starts, so the test starts itself once more. A failure of the body fails the test.
void inAccountingProcess(const std::function<void()>& in_body);

/// Return the bytes that an account holds now, and the maximum that it has held, without the memory
/// that the library itself held when the body began; 0 for an unused account.
int bytesHeld(const char* in_szAccountName);
int mostBytesHeld(const char* in_szAccountName);

} // namespace Velmora::Test
