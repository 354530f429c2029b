// Test fixture for the tool's sound-file input and output, on libsndfile.
//   sound_fixture write TYPE RATE CHANNELS REPEAT GAIN RAW_IN OUT
//     Writes the 16-bit mono samples of RAW_IN as a sound file of TYPE (wav16, wav24, wavfloat,
//     wavex, aiff, flac, ogg) labelled RATE Hz: each sample repeated REPEAT times, on every one
//     of CHANNELS channels, times GAIN.
//   sound_fixture read FILE RAW_OUT
//     Prints "RATE CHANNELS FRAMES" of FILE and writes its samples to RAW_OUT as 16-bit PCM.
#include <sndfile.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace {

int write(char** argv) {
  // Each type's format, and the scale of one 16-bit step in the floats libsndfile takes without
  // normalisation: integers at the file's own width, floats with full scale at 1.
  const std::map<std::string, std::pair<int, float>> types = {
      {"wav16", {SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1.0f}},
      {"wav24", {SF_FORMAT_WAV | SF_FORMAT_PCM_24, 256.0f}},
      {"wavfloat", {SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1 / 32768.0f}},
      {"wavex", {SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, 1.0f}},
      {"aiff", {SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 1.0f}},
      {"flac", {SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1.0f}},
      {"ogg", {SF_FORMAT_OGG | SF_FORMAT_VORBIS, 1 / 32768.0f}}};
  const auto type = types.find(argv[0]);
  if (type == types.end()) return 2;
  const auto [format, step] = type->second;
  SF_INFO info{};
  info.format = format;
  info.samplerate = std::atoi(argv[1]);
  info.channels = std::atoi(argv[2]);
  const int repeat = std::atoi(argv[3]);
  const float gain = std::strtof(argv[4], nullptr);
  std::ifstream in(argv[5], std::ios::binary);
  const std::vector<char> raw((std::istreambuf_iterator<char>(in)), {});
  std::vector<float> frames;
  for (size_t i = 0; i + 1 < raw.size(); i += 2) {
    const auto sample =
        static_cast<int16_t>(static_cast<uint8_t>(raw[i]) | static_cast<uint8_t>(raw[i + 1]) << 8);
    frames.insert(frames.end(), static_cast<size_t>(repeat * info.channels), sample * step * gain);
  }
  SNDFILE* out = sf_open(argv[6], SFM_WRITE, &info);
  if (out == nullptr) return 1;
  sf_command(out, SFC_SET_NORM_FLOAT, nullptr, SF_FALSE);
  const auto count = static_cast<sf_count_t>(frames.size()) / info.channels;
  const bool ok = sf_writef_float(out, frames.data(), count) == count;
  return sf_close(out) == 0 && ok ? 0 : 1;
}

int read(char** argv) {
  SF_INFO info{};
  SNDFILE* in = sf_open(argv[0], SFM_READ, &info);
  if (in == nullptr) return 1;
  std::vector<short> samples(static_cast<size_t>(info.frames * info.channels));
  const bool ok = sf_readf_short(in, samples.data(), info.frames) == info.frames;
  sf_close(in);
  std::ofstream(argv[1], std::ios::binary)
      .write(reinterpret_cast<const char*>(samples.data()),
             static_cast<std::streamsize>(samples.size() * 2));
  std::cout << info.samplerate << " " << info.channels << " " << info.frames << "\n";
  return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string verb = argc > 1 ? argv[1] : "";
  if (verb == "write" && argc == 9) return write(argv + 2);
  if (verb == "read" && argc == 4) return read(argv + 2);
  std::cerr << "usage: sound_fixture write TYPE RATE CHANNELS REPEAT GAIN RAW_IN OUT | read FILE "
               "RAW_OUT\n";
  return 2;
}
