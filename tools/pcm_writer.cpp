#include "tools/pcm_writer.h"

#include <cerrno>
#include <cstring>

#include "tools/tool_io.h"

namespace {

constexpr size_t kRawWriteBuffer = 1 << 20;  // a few hundred decoded frames per write call

}  // namespace

std::unique_ptr<PcmWriter> PcmWriter::open(const std::string& path, PcmFormat format) {
  const PcmContainer container = pcmContainerOf(path);
  if (container == PcmContainer::Wav || container == PcmContainer::Flac) {
    SF_INFO info{};
    info.samplerate = format.rate;
    info.channels = format.channels;
    info.format =
        (container == PcmContainer::Wav ? SF_FORMAT_WAV : SF_FORMAT_FLAC) | SF_FORMAT_PCM_16;
    SNDFILE* sound = sf_open(path.c_str(), SFM_WRITE, &info);
    if (sound == nullptr) {
      toolFail(path + ": cannot be written: " + sf_strerror(nullptr));
      return nullptr;
    }
    return std::unique_ptr<PcmWriter>(new PcmWriter(nullptr, sound));
  }
  std::FILE* raw = std::fopen(path.c_str(), "wb");
  if (raw == nullptr) {
    toolFail(path + ": cannot be written: " + std::strerror(errno));
    return nullptr;
  }
  std::setvbuf(raw, nullptr, _IOFBF, kRawWriteBuffer);
  return std::unique_ptr<PcmWriter>(new PcmWriter(raw, nullptr));
}

PcmWriter::~PcmWriter() {
  close();
}

bool PcmWriter::write(std::span<const uint8_t> pcm) {
  if (raw_ == nullptr) {
    // The library's PCM is little-endian, like this machine's samples.
    samples_.resize(pcm.size() / 2);
    std::memcpy(samples_.data(), pcm.data(), samples_.size() * 2);
    return write(std::span<const int16_t>(samples_));
  }
  if (!pcm.empty() && std::fwrite(pcm.data(), 1, pcm.size(), raw_) != pcm.size()) failed_ = true;
  return !failed_;
}

bool PcmWriter::write(std::span<const int16_t> samples) {
  if (raw_ != nullptr) {
    if (!samples.empty() && std::fwrite(samples.data(), 2, samples.size(), raw_) != samples.size())
      failed_ = true;
  } else if (sound_ != nullptr) {
    const auto count = static_cast<sf_count_t>(samples.size());
    if (sf_write_short(sound_, samples.data(), count) != count) failed_ = true;
  }
  return !failed_;
}

bool PcmWriter::close() {
  if (raw_ != nullptr && std::fclose(raw_) != 0) failed_ = true;
  if (sound_ != nullptr && sf_close(sound_) != 0) failed_ = true;
  raw_ = nullptr;
  sound_ = nullptr;
  return !failed_;
}

bool writePcmFile(const std::string& path, PcmFormat format, std::span<const int16_t> samples) {
  const auto writer = PcmWriter::open(path, format);
  if (!writer) return false;
  if (!writer->write(samples) || !writer->close()) {
    failAndRemove(path, path + ": write error");
    return false;
  }
  return true;
}
