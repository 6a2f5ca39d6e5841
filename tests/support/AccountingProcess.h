#pragma once

#include <functional>

namespace Velmora::Test
{

/// Runs the body of a test in a process that accounts its memory: whether memory is accounted is
/// settled when a process starts, so the test starts itself once more. A failure of the body is a
/// failure of the test.
void inAccountingProcess(const std::function<void()>& in_body);

/// The bytes that an account holds now, and the most it ever held, without what the library itself
/// held when the body began; 0 for an account without use.
int bytesHeld(const char* in_szAccountName);
int mostBytesHeld(const char* in_szAccountName);

} // namespace Velmora::Test
