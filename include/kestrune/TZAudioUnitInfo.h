// Version information of the library.
#pragma once

#include <string>

#include "kestrune/kestrune_export.h"

class KESTRUNE_API TZAudioUnitInfo {
 public:
  // "1.1.0"
  static std::string sdkVersion();
};

extern "C" {
// 1.0
KESTRUNE_API extern const double KestruneVersionNumber;
// "@(#)PROGRAM:Kestrune  PROJECT:Kestrune-1\n", NUL-terminated.
KESTRUNE_API extern const unsigned char KestruneVersionString[];
}
