#pragma once

/// Marks what the shared library exports; everything else stays hidden.
#if defined(__GNUC__)
#define MIRL_API __attribute__((visibility("default")))
#else
#define MIRL_API
#endif
