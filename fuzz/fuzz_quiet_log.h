// The fuzz targets keep the library's log off the console and out of the Documents folder:
// a run makes millions of error lines.
#pragma once

#include "kestrune/TZLogManager.h"

inline void quietLibraryLog() {
  static const bool done = [] {
    TZLogManager::setLog(false, false, 1);
    TZLogManager::saveLogAsFile(false);
    return true;
  }();
  (void)done;
}
