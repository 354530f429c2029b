// Marks what the library exports. The library is built with hidden visibility, so only
// declarations carrying KESTRUNE_API (classes, routines, data) are visible to applications;
// KESTRUNE_LOCAL keeps a class's private implementation hidden inside an exported class.
#pragma once

#if defined(_WIN32)
#define KESTRUNE_API
#define KESTRUNE_LOCAL
#else
#define KESTRUNE_API __attribute__((visibility("default")))
#define KESTRUNE_LOCAL __attribute__((visibility("hidden")))
#endif
