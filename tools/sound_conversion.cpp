#include "tools/sound_conversion.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "tools/resample.h"

namespace {

constexpr sf_count_t kBlockFrames = 1024;
constexpr float kFullScale = 32768.0f;  // 16-bit samples are [-32768, 32768) of this scale
constexpr int kLowestRate = 1000;       // rates outside these are no audio the codecs take
constexpr int kHighestRate = 768000;

// libsndfile's view of a file held in memory; the position always stays inside it.
struct MemoryFile {
  std::span<const uint8_t> bytes;
  sf_count_t at = 0;
  sf_count_t size() const { return static_cast<sf_count_t>(bytes.size()); }
};

MemoryFile& memoryOf(void* user) {
  return *static_cast<MemoryFile*>(user);
}

SF_VIRTUAL_IO memoryIo() {
  SF_VIRTUAL_IO io{};
  io.get_filelen = [](void* user) { return memoryOf(user).size(); };
  io.seek = [](sf_count_t offset, int whence, void* user) -> sf_count_t {
    MemoryFile& file = memoryOf(user);
    const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file.at : file.size();
    if (offset < -base || offset > file.size() - base) return -1;
    file.at = base + offset;
    return file.at;
  };
  io.read = [](void* ptr, sf_count_t count, void* user) -> sf_count_t {
    MemoryFile& file = memoryOf(user);
    const sf_count_t n = std::max<sf_count_t>(0, std::min(count, file.size() - file.at));
    if (n > 0) std::copy_n(file.bytes.begin() + file.at, n, static_cast<uint8_t*>(ptr));
    file.at += n;
    return n;
  };
  io.tell = [](void* user) { return memoryOf(user).at; };
  return io;
}

struct SndfileCloser {
  void operator()(SNDFILE* file) const { sf_close(file); }
};
using Sndfile = std::unique_ptr<SNDFILE, SndfileCloser>;

// Interleaved frames of `from` channels into `to` channels (1, or 2 from 1 or 2).
void mixChannels(std::span<const float> in, int from, int to, std::vector<float>& out) {
  const size_t frames = in.size() / static_cast<size_t>(from);
  out.resize(frames * static_cast<size_t>(to));
  for (size_t i = 0; i < frames; ++i) {
    const float* frame = in.data() + i * static_cast<size_t>(from);
    if (to == 1) {
      float sum = 0;
      for (int c = 0; c < from; ++c) sum += frame[c];
      out[i] = sum / static_cast<float>(from);
    } else {
      out[2 * i] = frame[0];
      out[2 * i + 1] = frame[from == 1 ? 0 : 1];
    }
  }
}

// Scales normalised samples to 16-bit full scale and counts those that do not fit; libsndfile
// holds them at its limits when it writes them. A NaN, which has no level, is made silence.
uint64_t toSixteenBitScale(std::span<float> samples) {
  uint64_t clipped = 0;
  for (float& v : samples) {
    v *= kFullScale;
    if (std::fabs(v) < kFullScale) continue;
    if (std::isnan(v)) {
      v = 0;
      ++clipped;
    } else if (v >= kFullScale || v < -kFullScale) {
      ++clipped;
    }
  }
  return clipped;
}

}  // namespace

std::optional<SoundConversion> convertSoundFile(std::span<const uint8_t> file, PcmFormat target,
                                                const std::string& rawOutput, std::string* why) {
  MemoryFile memory{file};
  SF_VIRTUAL_IO io = memoryIo();
  SF_INFO info{};
  const Sndfile in(sf_open_virtual(&io, SFM_READ, &info, &memory));
  if (!in) {
    *why = std::string("not a sound file libsndfile reads (") + sf_strerror(nullptr) +
           "); raw PCM is named .pcm or .raw, or has no extension";
    return std::nullopt;
  }
  if (info.samplerate < kLowestRate || info.samplerate > kHighestRate) {
    *why = "a sample rate of " + std::to_string(info.samplerate) + " Hz cannot be converted";
    return std::nullopt;
  }
  if (target.channels == 2 && info.channels > 2) {
    *why = "stereo is made from mono or stereo, not from " + std::to_string(info.channels) +
           " channels";
    return std::nullopt;
  }
  std::unique_ptr<Resampler> resampler;
  if (info.samplerate != target.rate) {
    resampler = Resampler::create(info.samplerate, target.rate,
                                  static_cast<unsigned>(target.channels), why);
    if (!resampler) return std::nullopt;
  }

  SF_INFO outInfo{};
  outInfo.samplerate = target.rate;
  outInfo.channels = target.channels;
  outInfo.format = SF_FORMAT_RAW | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE;
  const Sndfile out(sf_open(rawOutput.c_str(), SFM_WRITE, &outInfo));
  if (!out) {
    *why = rawOutput + ": cannot be written: " + sf_strerror(nullptr);
    return std::nullopt;
  }
  // Samples arrive at 16-bit scale: libsndfile only rounds them, and clips what does not fit.
  sf_command(out.get(), SFC_SET_NORM_FLOAT, nullptr, SF_FALSE);
  sf_command(out.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);

  std::vector<float> block(static_cast<size_t>(kBlockFrames * info.channels));
  std::vector<float> mixed;
  std::vector<float> resampled;
  SoundConversion result;
  const auto write = [&](std::span<float> samples) {
    result.clipped += toSixteenBitScale(samples);
    const sf_count_t frames = static_cast<sf_count_t>(samples.size()) / target.channels;
    if (sf_writef_float(out.get(), samples.data(), frames) != frames) {
      *why = rawOutput + ": write error";
      return false;
    }
    return true;
  };
  sf_count_t frames = 0;
  while ((frames = sf_readf_float(in.get(), block.data(), kBlockFrames)) > 0) {
    std::span<float> samples(block.data(), static_cast<size_t>(frames * info.channels));
    if (info.channels != target.channels) {
      mixChannels(samples, info.channels, target.channels, mixed);
      samples = mixed;
    }
    if (resampler) {
      if (!resampler->process(samples, resampled, why)) return std::nullopt;
      samples = resampled;
    }
    if (!write(samples)) return std::nullopt;
  }
  if (sf_error(in.get()) != SF_ERR_NO_ERROR) result.cutShort = sf_strerror(in.get());
  if (resampler && (!resampler->process({}, resampled, why) || !write(resampled)))
    return std::nullopt;
  return result;
}
