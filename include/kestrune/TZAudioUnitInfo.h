// Version information of the library.
#pragma once

#include <string>

class TZAudioUnitInfo {
 public:
  // "1.1.0"
  static std::string sdkVersion();
};

extern "C" {
// 1.0
extern const double KestruneVersionNumber;
// "@(#)PROGRAM:Kestrune  PROJECT:Kestrune-1\n", NUL-terminated.
extern const unsigned char KestruneVersionString[];
}
