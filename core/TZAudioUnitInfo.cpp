#include "kestrune/TZAudioUnitInfo.h"

extern "C" {
const double KestruneVersionNumber = 1.0;
const unsigned char KestruneVersionString[] = "@(#)PROGRAM:Kestrune  PROJECT:Kestrune-1\n";
}

std::string TZAudioUnitInfo::sdkVersion() {
  return "1.1.0";
}
