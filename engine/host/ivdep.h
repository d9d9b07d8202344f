#pragma once

// Before a loop whose turns don't depend on each other: the compiler needn't test for overlap before
// it uses vectors.
#if defined(__clang__)
#define MIRL_IVDEP _Pragma("clang loop vectorize(assume_safety)")
#else
#define MIRL_IVDEP _Pragma("GCC ivdep")
#endif
