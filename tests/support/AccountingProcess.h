#pragma once

#include <functional>

namespace Velmora::Test
{

/// Runs the body of a test in a process that accounts its memory: accounting is settled when a
/// process starts, so the test starts itself once more, in a program of its own.
void inAccountingProcess(const std::function<void()>& in_body);

/// The bytes that an account holds now, headers included; 0 for an account that does not exist.
int bytesHeldBy(const char* in_szAccountName);

} // namespace Velmora::Test
