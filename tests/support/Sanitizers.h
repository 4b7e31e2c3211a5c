#pragma once

/// What the build looks for beside what the tests check, for tests that would take minutes then.
namespace testing_support
{

#if defined(__SANITIZE_THREAD__)
inline constexpr bool isForThreadsOnly = true;
#else
inline constexpr bool isForThreadsOnly = false;
#endif

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool isSanitized = true;
#else
inline constexpr bool isSanitized = isForThreadsOnly;
#endif

} // namespace testing_support
