#include "tools/decoded_sink.h"

std::shared_ptr<DecodedSink> DecodedSink::open(const std::string& path, PcmFormat format) {
  auto writer = PcmWriter::open(path, format);
  if (!writer) return nullptr;
  return std::shared_ptr<DecodedSink>(new DecodedSink(std::move(writer)));
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
  writer_->write(*Data);
}
