// Small file helpers shared by the codec objects.
#pragma once

#include <optional>
#include <string>

#include "kestrune/TZTypes.h"

bool TZFileExists(const std::string& path);
// The whole file, or nothing when it cannot be read.
std::optional<TZBytes> TZReadWholeFile(const std::string& path);
// "<ClassName: 0x...>", the description of an object in log lines.
std::string TZDescribe(const char* className, const void* object);
