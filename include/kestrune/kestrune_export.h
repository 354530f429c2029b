// Marks what the library exports. The library is built with hidden visibility, so only
// declarations carrying KESTRUNE_API (classes, routines, data) are visible to applications.
#pragma once

#if defined(_WIN32)
#define KESTRUNE_API
#else
#define KESTRUNE_API __attribute__((visibility("default")))
#endif
