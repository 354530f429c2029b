// kestrune: the command-line face of the library. Every subcommand goes through the
// library's public classes and routines, the same path an application takes.
#include <cstring>
#include <iostream>
#include <span>

#include "kestrune/TZAudioUnitInfo.h"
#include "tools/commands.h"

namespace {

const ToolCommand kCommands[] = {
    {"demo", "[DIR]", runDemo},
    {"pcm2wtg", "IN OUT | IN... DIR/", runPcm2Wtg},
    {"wtg2pcm", "IN OUT", runWtg2Pcm},
    {"opus-encode", "IN OUT [--rate N] [--channels N] [--frame-ms N] [--framed]", runOpusEncode},
    {"opus-decode", "IN OUT [--rate N] [--channels N] [--frame-ms N] [--no-header --data-size N]",
     runOpusDecode},
    {"speex-decode", "IN OUT", runSpeexDecode},
};

int usage() {
  std::cerr << "usage: kestrune --version\n";
  for (const auto& command : kCommands)
    std::cerr << "       kestrune " << command.name << " " << command.usage << "\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  const std::string name = argv[1];
  if (name == "--version" && argc == 2) {
    std::cout << "Kestrune " << TZAudioUnitInfo::sdkVersion() << "\n";
    return 0;
  }
  for (const auto& command : kCommands) {
    if (name == command.name) return command.run(ToolArgs(argv + 2, argv + argc));
  }
  return usage();
}
