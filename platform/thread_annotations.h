// Clang's thread-safety analysis, as macros that vanish elsewhere. It needs a
// standard library whose mutexes are annotated, which is libc++ alone.
#pragma once

#include <version>

#if defined(__clang__) && defined(_LIBCPP_VERSION)
#define ORVO_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ORVO_THREAD_ANNOTATION(x)
#endif

#define ORVO_GUARDED_BY(mutex) ORVO_THREAD_ANNOTATION(guarded_by(mutex))
#define ORVO_NO_THREAD_SAFETY_ANALYSIS ORVO_THREAD_ANNOTATION(no_thread_safety_analysis)
