#pragma once

namespace fetra::test {

/// Instrumented programs are slow and look for other mistakes: they see one place in so many.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr int stride = 12;
#else
inline constexpr int stride = 1;
#endif

} // namespace fetra::test
