#pragma once

// Whether the address sanitizer watches this build.

#if defined(__SANITIZE_ADDRESS__)
#define MIRL_WATCHED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MIRL_WATCHED 1
#endif
#endif
#if !defined(MIRL_WATCHED)
#define MIRL_WATCHED 0
#endif
