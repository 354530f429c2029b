// Turns 16-bit PCM into Opus packets on the encoder's own worker thread.
//
// Stream mode: opusEncodeData appends PCM to the encoder's buffer and queues every complete
// chunk of frameSize bytes in it; the buffer is never trimmed, so each call queues the chunks
// of earlier calls again. Each packet goes to the delegate on TZMainQueue.
// File mode: opusEncodeFile encodes a whole PCM file through the same path and appends the
// packets back to back, without lengths, to an output file.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "kestrune/TZOpusFormat.h"
#include "kestrune/TZTypes.h"

class TZOpusEncoder;

class TZOpusEncoderDelegate {
 public:
  virtual ~TZOpusEncoderDelegate() = default;
  // One packet (Data) or one failure (error); exactly one of them is non-null. Called on
  // TZMainQueue.
  virtual void opusEncoder(TZOpusEncoder& /*encoder*/, const TZBytes* /*Data*/,
                           const TZError* /*error*/) {}
};

class TZOpusEncoder : public std::enable_shared_from_this<TZOpusEncoder> {
 public:
  // Creates the Opus coder (VoIP application) with the format's rate and channel count and
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

 private:
  struct Fields;
  explicit TZOpusEncoder(std::unique_ptr<Fields> fields);
  void stopWorker();
  void encodeThread();
  void encodeChunk(const TZBytes& chunk);
  // Queues the chunks of data, then releases the lock and wakes the worker.
  void queueChunks(std::unique_lock<std::mutex> lock, std::span<const uint8_t> data);
  void deliver(std::shared_ptr<const TZBytes> packet, std::shared_ptr<const TZError> error);

  std::unique_ptr<Fields> fields_;
};
