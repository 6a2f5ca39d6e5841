#pragma once

namespace Velmora::Test
{

/// The number of random operations of a property test; less where instrumentation makes each of
/// them several times as slow.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int s_iRandomOperations = 100'000;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr int s_iRandomOperations = 100'000;
#else
constexpr int s_iRandomOperations = 1'000'000;
#endif
#else
constexpr int s_iRandomOperations = 1'000'000;
#endif

} // namespace Velmora::Test
