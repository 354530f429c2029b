// kestrune: the command-line face of the library. Every subcommand goes through the
// library's public classes and routines, the same path an application takes.
#include <CLI/CLI.hpp>
#include <charconv>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include "kestrune/TZAudioUnitInfo.h"
#include "kestrune/TZLogManager.h"
#include "tools/commands.h"
#include "tools/tool_io.h"

namespace {

const char* const kPcmNote =
    "PCM files: .pcm, .raw or no extension is raw 16-bit little-endian PCM at the command's rate "
    "and channels. Inputs of any other name are read with libsndfile (WAV, AIFF, FLAC, Ogg "
    "Vorbis...) and converted; outputs named .wav or .flac get that container.";

// Checked first: the set and range validators would call any other text out of range.
const CLI::Validator kWholeNumber(
    [](const std::string& text) {
      int value = 0;
      const auto end = text.data() + text.size();
      const auto [at, error] = std::from_chars(text.data(), end, value);
      if (error == std::errc::result_out_of_range) return "'" + text + "' is out of range";
      return error == std::errc() && at == end ? std::string()
                                               : "'" + text + "' is not a whole number";
    },
    "");

const char* const kPcmIn = "PCM: raw, or a sound file converted to the command's format";
const char* const kPcmOut = "PCM: a .wav or .flac file, or raw";

// The files and the Opus stream's shape, shared by opus-encode and opus-decode.
void addOpusFormat(CLI::App& command, OpusOptions& options, const char* in, const char* out) {
  command.add_option("IN", options.input, in)->required();
  command.add_option("OUT", options.output, out)->required();
  command.add_option("--rate", options.rate, "sample rate in Hz")
      ->check(kWholeNumber)
      ->check(CLI::IsMember({8000, 12000, 16000, 24000, 48000}));
  command.add_option("--channels", options.channels, "1 (mono) or 2 (stereo)")
      ->check(kWholeNumber)
      ->check(CLI::IsMember({1, 2}));
  command.add_option("--frame-ms", options.frameMs, "frame duration in milliseconds")
      ->check(kWholeNumber)
      ->check(CLI::Range(1, 1000));
}

// The library's log lines on the console: --quiet turns the log manager off, --verbose shows
// every line with the method and source line it came from. Otherwise the demo keeps the
// library's defaults, and the commands leave the console to their own lines: every failure the
// library logs reaches them through a delegate or a callback and is reported there. Commands
// never write the log manager's "TZ_Log.txt" beside their outputs.
void setLibraryLog(bool quiet, bool verbose, bool demo) {
  if (quiet)
    TZLogManager::setLog(false, false, 1);
  else if (verbose)
    TZLogManager::setLog(true, true, 1);
  else if (!demo)
    TZLogManager::setLog(false, false, 1);
  if (!demo) TZLogManager::saveLogAsFile(false);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Kestrune " + TZAudioUnitInfo::sdkVersion() +
                   ": Opus, Speex and WTG speech coding through the Kestrune library",
               "kestrune");
  app.option_defaults()->always_capture_default();
  app.set_version_flag("--version", "Kestrune " + TZAudioUnitInfo::sdkVersion());
  app.require_subcommand(1);
  app.fallthrough();  // the options below may also follow the subcommand
  app.footer(kPcmNote);
  bool quiet = false;
  bool verbose = false;
  auto* quietFlag = app.add_flag("-q,--quiet", quiet, "no log lines from the library");
  app.add_flag("-v,--verbose", verbose,
               "every log line of the library, with the method and line it came from")
      ->excludes(quietFlag);

  std::string demoDir = "kestrune-demo";
  auto* demo = app.add_subcommand("demo", "tour of the library's services on bundled sample audio");
  demo->add_option("DIR", demoDir, "where the demo writes its outputs");

  std::vector<std::string> wtgPaths;
  auto* pcm2wtg = app.add_subcommand(
      "pcm2wtg", "8 kHz mono speech into WTG files through the conversion service");
  pcm2wtg
      ->add_option("PATHS", wtgPaths,
                   "IN OUT, or IN... DIR/ (each input gives DIR/<its name>.wtg); inputs are "
                   "converted to 8 kHz mono")
      ->required()
      ->expected(2, CLI::detail::expected_max_vector_size)
      ->default_str("");

  std::string wtgInput, pcmOutput;
  auto* wtg2pcm = app.add_subcommand(
      "wtg2pcm", "WTG files back into 8 kHz mono speech through the speech decoder");
  wtg2pcm->add_option("IN", wtgInput, "WTG file")->required();
  wtg2pcm->add_option("OUT", pcmOutput, kPcmOut)->required();

  OpusOptions encode;
  auto* opusEncode =
      app.add_subcommand("opus-encode", "PCM into Opus packets through the encoder's file job");
  addOpusFormat(*opusEncode, encode, kPcmIn, "Opus packets");
  opusEncode->add_flag("--framed", encode.framed,
                       "frame each packet with the 8-byte record header opus-decode reads");

  OpusOptions decode;
  auto* opusDecode =
      app.add_subcommand("opus-decode", "framed Opus records into PCM through the decoder");
  addOpusFormat(*opusDecode, decode, "framed Opus records", kPcmOut);
  auto* noHeader = opusDecode->add_flag("--no-header", decode.noHeader,
                                        "records are packets of --data-size bytes, no header");
  opusDecode->add_option("--data-size", decode.dataSize, "bytes per record with --no-header")
      ->check(kWholeNumber)
      ->check(CLI::Range(1, std::numeric_limits<int>::max()))
      ->needs(noHeader)
      ->default_str("");
  noHeader->needs("--data-size");

  std::string speexInput, speexOutput;
  auto* speexDecode = app.add_subcommand(
      "speex-decode", "the device's framed Speex wideband stream into 16 kHz mono PCM");
  speexDecode->add_option("IN", speexInput, "framed Speex file")->required();
  speexDecode->add_option("OUT", speexOutput, kPcmOut)->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help, --version
    std::string where = "kestrune";
    for (const auto* command : app.get_subcommands()) where += " " + command->get_name();
    std::string message = error.what();
    if (const auto words = app.remaining(); where == "kestrune" && !words.empty())
      message = (words[0].starts_with('-') ? "unknown option " : "unknown command ") + words[0];
    std::cerr << "kestrune: " << message << " (see " << where << " --help)\n";
    return kUsageStatus;
  }

  setLibraryLog(quiet, verbose, demo->parsed());
  if (demo->parsed()) return runDemo(demoDir);
  if (pcm2wtg->parsed()) return runPcm2Wtg(wtgPaths);
  if (wtg2pcm->parsed()) return runWtg2Pcm(wtgInput, pcmOutput);
  if (opusEncode->parsed()) return runOpusEncode(encode);
  if (opusDecode->parsed()) return runOpusDecode(decode);
  return runSpeexDecode(speexInput, speexOutput);
}
