#include "tools/opus_jobs.h"

#include <span>

#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZOpusEncoder.h"
#include "tools/decoded_sink.h"
#include "tools/tool_io.h"

namespace {

// What the encoder delivers: counts and sizes of its packets and errors, and the packets
// themselves when asked to keep them.
struct PacketCollector : TZOpusEncoderDelegate {
  explicit PacketCollector(bool keep) : keep(keep) {}
  void opusEncoder(TZOpusEncoder&, const TZBytes* Data, const TZError* error) override {
    if (error != nullptr) {
      errors++;
      lastError = *error;
      return;
    }
    result.packets++;
    result.bytes += Data->size();
    if (keep) result.kept.push_back(*Data);
  }
  bool keep;
  OpusEncodeResult result;
  size_t errors = 0;
  TZError lastError;
};

}  // namespace

std::optional<OpusEncodeResult> encodeOpusFile(const std::string& input, const std::string& output,
                                               std::shared_ptr<TZOpusFormat> format,
                                               bool keepPackets) {
  auto encoder = TZOpusEncoder::initFormat(std::move(format), {});
  if (!encoder) {
    failAndRemove(output, "opus-encode: Opus refuses this format");
    return std::nullopt;
  }
  const auto collector = std::make_shared<PacketCollector>(keepPackets);
  encoder->setDelegate(collector);
  bool completed = false;
  std::optional<TZError> failure;
  encoder->opusEncodeFile(input, &output, [&](const std::string*, const TZError* error) {
    completed = true;
    if (error != nullptr) failure = *error;
  });
  if (failure) {
    failAndRemove(output, input + ": " + failure->domain);
    return std::nullopt;
  }
  drainWorker(*encoder, "encoding", "packets", [&] { return collector->result.packets; });
  const auto fileError = encoder->outputFileError();
  encoder.reset();

  if (collector->errors > 0) {
    failAndRemove(output, std::to_string(collector->errors) +
                              " frame(s) could not be encoded: " + collector->lastError.domain +
                              " " + std::to_string(collector->lastError.code));
    return std::nullopt;
  }
  if (fileError) {
    failAndRemove(output, *fileError);
    return std::nullopt;
  }
  // A job that queued nothing (input shorter than one frame) ends without a completion.
  if (collector->result.packets > 0 && !completed) {
    failAndRemove(output, "opus-encode: the encoder did not finish its job");
    return std::nullopt;
  }
  return std::move(collector->result);
}

std::optional<OpusDecodeResult> decodeOpusRecords(const TZBytes& stream, const std::string& input,
                                                  const std::string& output,
                                                  std::shared_ptr<TZOpusFormat> format) {
  OpusDecodeResult result;
  // Only the whole records are fed: a recording cut short decodes up to its last whole record.
  result.walk = TZOpusWalkRecords(stream, *format);
  if (result.walk.records == 0) {
    failAndRemove(output, input + ": no complete Opus record: " +
                              (stream.empty() ? "the file is empty" : result.walk.why));
    return std::nullopt;
  }
  const auto sink = DecodedSink::open(output, {format->sampleRate(), format->channels()});
  if (!sink) return std::nullopt;
  auto decoder = TZOpusDecoder::initDecoder(std::move(format), sink);
  if (!decoder) {
    failAndRemove(output, "opus-decode: Opus refuses this format");
    return std::nullopt;
  }
  decoder->opusDecoderInputData(std::span(stream).first(result.walk.wholeBytes));
  drainWorker(*decoder, "decoding", "packets", [&] { return sink->blocks(); });
  decoder.reset();

  if (!sink->close()) {
    failAndRemove(output, output + ": write error");
    return std::nullopt;
  }
  if (sink->errors() > 0) {
    failAndRemove(output, std::to_string(sink->errors()) +
                              " packet(s) could not be decoded: " + sink->lastError().domain + " " +
                              std::to_string(sink->lastError().code));
    return std::nullopt;
  }
  if (sink->blocks() != result.walk.records) {
    failAndRemove(output, "opus-decode: " + std::to_string(sink->blocks()) + " of " +
                              std::to_string(result.walk.records) + " packets were decoded");
    return std::nullopt;
  }
  result.packets = sink->blocks();
  result.bytes = sink->bytes();
  return result;
}
