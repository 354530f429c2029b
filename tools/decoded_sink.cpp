#include "tools/decoded_sink.h"

#include <cerrno>
#include <cstring>

#include "tools/tool_io.h"

namespace {

constexpr size_t kWriteBuffer = 1 << 20;  // a few hundred frames per write call

}  // namespace

std::shared_ptr<DecodedSink> DecodedSink::open(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    toolFail(path + ": cannot be written: " + std::strerror(errno));
    return nullptr;
  }
  std::setvbuf(file, nullptr, _IOFBF, kWriteBuffer);
  return std::shared_ptr<DecodedSink>(new DecodedSink(file, path));
}

DecodedSink::~DecodedSink() {
  if (file_ != nullptr) std::fclose(file_);
}

void DecodedSink::opusDecoder(TZOpusDecoder&, const TZBytes* Data, const TZError* error) {
  take(Data, error);
}

void DecodedSink::speexDecoder(TZSpeexDecoder&, const TZBytes* Data, const TZError* error) {
  take(Data, error);
}

void DecodedSink::take(const TZBytes* Data, const TZError* error) {
  if (error != nullptr) {
    ++errors_;
    lastError_ = *error;
    return;
  }
  if (Data == nullptr) return;
  ++blocks_;
  bytes_ += Data->size();
  if (file_ != nullptr && !Data->empty() &&
      std::fwrite(Data->data(), 1, Data->size(), file_) != Data->size())
    writeFailed_ = true;
}

bool DecodedSink::close() {
  if (file_ == nullptr) return !writeFailed_;
  const bool closed = std::fclose(file_) == 0;
  file_ = nullptr;
  return closed && !writeFailed_;
}
