// Where the library keeps its files on a desktop or server system.
#pragma once

#include <string>

#include "kestrune/kestrune_export.h"

class KESTRUNE_API TZPlatform {
 public:
  // The application's Documents directory, created when missing. Resolution order: a path
  // set with setDocumentsDirectory(), else $KESTRUNE_DOCUMENTS_DIR, else $HOME/Documents,
  // else the current directory.
  static std::string documentsDirectory();
  // Overrides the Documents directory for the whole process; an empty path clears it.
  static void setDocumentsDirectory(const std::string& path);
  // The Documents directory joined with a file name.
  static std::string documentsPath(const std::string& fileName);
};
