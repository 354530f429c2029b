// The subcommands of the kestrune tool. Each returns the process exit status.
#pragma once

#include <string>
#include <vector>

using ToolArgs = std::vector<std::string>;

struct ToolCommand {
  const char* name;
  const char* usage;  // the arguments after the name
  int (*run)(const ToolArgs& args);
};

int runDemo(const ToolArgs& args);
