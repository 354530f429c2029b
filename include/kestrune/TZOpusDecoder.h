// Turns a framed stream of Opus packets back into 16-bit PCM on the decoder's own worker
// thread. The framing (data header or fixed dataSize) is described with TZOpusFormat.
//
// Stream mode: opusDecoderInputData buffers bytes and cuts records while at least dataSize
// bytes are buffered, in both framings; callers hand over whole records. Each packet's PCM
// goes to the delegate on TZMainQueue. File mode: opusDecodeFile decodes a whole file of
// records into a PCM file; its completion is never called, the job ends when the worker has
// drained it and closed the output.
//
// Threads and lifetime:
// - Every call may come from any thread, concurrently with the others, also from a delegate
//   callback. Release and destruction may come at any time, from several threads at once and
//   any number of times; each waits for the worker to end.
// - After opusOnRelease input is ignored and nothing more is delivered, not even PCM already
//   posted to TZMainQueue.
// - A file job never calls its completion (only a missing input is reported, at once): its
//   end shows as the deliveries stopping, or through waitUntilIdle.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "kestrune/TZOpusFormat.h"
#include "kestrune/TZTypes.h"
#include "kestrune/kestrune_export.h"

class TZOpusDecoder;

class KESTRUNE_API TZOpusDecoderDelegate {
 public:
  virtual ~TZOpusDecoderDelegate() = default;
  // Interleaved 16-bit PCM of one packet (Data) or one failure (error); exactly one of them
  // is non-null. Called on TZMainQueue.
  virtual void opusDecoder(TZOpusDecoder& /*decoder*/, const TZBytes* /*Data*/,
                           const TZError* /*error*/) {}
};

class KESTRUNE_API TZOpusDecoder {
 public:
  // Creates the Opus coder with the format's rate and channel count, keeps the delegate
  // weakly and starts the worker. Null (and an error log line) when Opus refuses the format.
  static std::shared_ptr<TZOpusDecoder> initDecoder(std::shared_ptr<TZOpusFormat> format,
                                                    std::weak_ptr<TZOpusDecoderDelegate> delegate);
  // Logs the dealloc line, stops and joins the worker, then frees the coder.
  ~TZOpusDecoder();
  TZOpusDecoder(const TZOpusDecoder&) = delete;
  TZOpusDecoder& operator=(const TZOpusDecoder&) = delete;

  // Framed Opus bytes; whole records per call.
  void opusDecoderInputData(std::span<const uint8_t> data);
  // Decodes the file of records at path into outPut (or, when null, the last output path
  // used, initially "opusToPcm.pcm" in the Documents directory). Resoult is called only for a
  // missing input file, at once on the calling thread.
  void opusDecodeFile(const std::string& path, const std::string* outPut, TZCompletion Resoult);
  // Moves to a new format: drops queued packets, ends a file job (its file stays open) and
  // recreates the Opus coder. Buffered bytes are cut under the new format. When Opus refuses
  // the format the decoder has no coder and reports each packet as a decode error.
  void resetOpusFramet(std::shared_ptr<TZOpusFormat> format);
  // Stops the worker, frees the coder and drops all buffered input; nothing is delivered
  // afterwards and later input is ignored.
  void opusOnRelease();

  std::shared_ptr<TZOpusFormat> opusFormat() const;
  // A null format is ignored.
  void setOpusFormat(std::shared_ptr<TZOpusFormat> format);
  std::weak_ptr<TZOpusDecoderDelegate> delegate() const;
  void setDelegate(std::weak_ptr<TZOpusDecoderDelegate> delegate);

  // Waits until the worker has drained everything queued so far and parked (or has ended).
  // False when the timeout passes first. Lets a host learn that a file job has ended.
  bool waitUntilIdle(std::chrono::milliseconds timeout);

  // Why the last file job's output is incomplete (it could not be created, written or
  // closed), or nothing when it is whole so far.
  std::optional<std::string> outputFileError() const;

  // Byte utilities of the record framing; they use no decoder state.
  //
  // L bytes of D from offset R: empty when R < 0 or L < 1; null when R is at or past the end;
  // shortened to what D holds past R.
  static std::optional<TZBytes> data(std::span<const uint8_t> D, int64_t R, int64_t L);
  // The bytes read as one unsigned big-endian number (0 for null or empty); four header
  // bytes give the record's 32-bit length. Values beyond the 64-bit range saturate.
  static int64_t dataToInt(const TZBytes* data);
  // Two lower-case hexadecimal digits per byte.
  static std::string dataChangeToString(std::span<const uint8_t> data);
  // The value of one hexadecimal digit: the leading decimal number of the text, or 10 to 15
  // for "a" to "f" in either case; 0 for anything else.
  static int32_t StringToInt(const std::string& text);

 private:
  struct KESTRUNE_LOCAL Impl;
  TZOpusDecoder();

  std::unique_ptr<Impl> impl_;
};
