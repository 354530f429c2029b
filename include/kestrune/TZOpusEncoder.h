// Turns 16-bit PCM into Opus packets on the encoder's own worker thread.
//
// Stream mode: opusEncodeData appends PCM to the encoder's buffer and queues every complete
// chunk of frameSize bytes in it; the buffer is never trimmed, so each call queues the chunks
// of earlier calls again. Each packet goes to the delegate on TZMainQueue.
// File mode: opusEncodeFile encodes a whole PCM file through the same path and appends the
// packets back to back, without lengths, to an output file.
//
// Threads and lifetime:
// - Every call may come from any thread, concurrently with the others, also from a delegate
//   callback or the completion. Release and destruction may come at any time, from several
//   threads at once and any number of times; each waits for the worker to end.
// - After opusOnRelease input is ignored and nothing more is delivered, not even packets or a
//   completion already posted to TZMainQueue.
// - A file job's completion comes once, on TZMainQueue, when the worker has drained the job.
//   It never comes when the file queued no chunk (shorter than one frame), nor when the
//   encoder is released or destroyed first.
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

class TZOpusEncoder;

class KESTRUNE_API TZOpusEncoderDelegate {
 public:
  virtual ~TZOpusEncoderDelegate() = default;
  // One packet (Data) or one failure (error); exactly one of them is non-null. Called on
  // TZMainQueue.
  virtual void opusEncoder(TZOpusEncoder& /*encoder*/, const TZBytes* /*Data*/,
                           const TZError* /*error*/) {}
};

class KESTRUNE_API TZOpusEncoder {
 public:
  // Creates the Opus coder (application 2049) with the format's rate and channel count and
  // starts the worker. The delegate argument is not kept: packets reach a delegate only after
  // setDelegate. Null (and an error log line) when Opus refuses the format.
  static std::shared_ptr<TZOpusEncoder> initFormat(std::shared_ptr<TZOpusFormat> format,
                                                   std::weak_ptr<TZOpusEncoderDelegate> delegate);
  // Stops and joins the worker, then frees the coder.
  ~TZOpusEncoder();
  TZOpusEncoder(const TZOpusEncoder&) = delete;
  TZOpusEncoder& operator=(const TZOpusEncoder&) = delete;

  // Interleaved signed 16-bit PCM in machine byte order.
  void opusEncodeData(std::span<const uint8_t> data);
  // Encodes the PCM file at path into outPut (or, when null, the last output path used,
  // initially "pcmToOpus.opus" in the Documents directory). Resoult receives the output path
  // on TZMainQueue when the worker has drained the job; a missing input file is reported at
  // once on the calling thread.
  void opusEncodeFile(const std::string& path, const std::string* outPut, TZCompletion Resoult);
  // Stops the worker, frees the coder and drops all buffered input; nothing is delivered
  // afterwards and later input is ignored.
  void opusOnRelease();

  std::shared_ptr<TZOpusFormat> opusFormat() const;
  // A null format is ignored.
  void setOpusFormat(std::shared_ptr<TZOpusFormat> format);
  std::weak_ptr<TZOpusEncoderDelegate> delegate() const;
  void setDelegate(std::weak_ptr<TZOpusEncoderDelegate> delegate);

  // Waits until the worker has drained everything queued so far and parked (or has ended).
  // False when the timeout passes first. Lets a host end a job that queued nothing.
  bool waitUntilIdle(std::chrono::milliseconds timeout);

  // Why the last file job's output is incomplete (it could not be created, written or
  // closed), or nothing when it is whole so far.
  std::optional<std::string> outputFileError() const;

 private:
  struct KESTRUNE_LOCAL Impl;
  TZOpusEncoder();

  std::unique_ptr<Impl> impl_;
};
