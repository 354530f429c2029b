// Decoding of the device's framed Speex wideband stream into 16 kHz 16-bit PCM.
//
// The stream is a sequence of blocks: the marker AA EA BD AC, a 16-bit little-endian frame
// length L (129 or more is read as 42), then five Speex frames of L bytes. Each frame
// decodes to 320 samples (640 bytes, little-endian). Bytes between blocks are skipped.
//
// Threads and lifetime:
// - speexInputData must not be called from two threads at once (it keeps the partial block
//   between calls); every other call may come from any thread, concurrently, also from a
//   delegate callback or the completion. Release and destruction may come at any time, from
//   several threads at once and any number of times; each waits for the worker to end.
// - After speexOnRelease input is ignored and nothing more is delivered, not even frames or a
//   completion already posted to TZMainQueue.
// - A file job's completion comes once, on TZMainQueue, when the worker runs out of frames
//   after the job's flag went up. It never comes when the input holds no complete block, nor
//   when the worker decoded every frame before the flag went up (the feed comes first).
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "kestrune/TZTypes.h"
#include "kestrune/kestrune_export.h"

class TZSpeexDecoder;

// Receives decoded frames on the main queue. The operation is optional.
class KESTRUNE_API TZSpeexDelegate {
 public:
  virtual ~TZSpeexDelegate() = default;
  // One decoded frame of 640 bytes; error is always null.
  virtual void speexDecoder(TZSpeexDecoder& /*decoder*/, const TZBytes* /*Data*/,
                            const TZError* /*error*/) {}
};

class KESTRUNE_API TZSpeexDecoder {
 public:
  // A decoder with its worker running, or null when libspeex cannot create its state.
  static std::shared_ptr<TZSpeexDecoder> initWithDelegate(std::weak_ptr<TZSpeexDelegate> delegate);
  // Stops and joins the worker if speexOnRelease has not done so.
  ~TZSpeexDecoder();
  TZSpeexDecoder(const TZSpeexDecoder&) = delete;
  TZSpeexDecoder& operator=(const TZSpeexDecoder&) = delete;

  // Appends received bytes, queues the frames of every complete block and wakes the worker.
  // Incomplete blocks are kept for the next call. Must not be called from two threads at
  // once; nothing happens after release.
  void speexInputData(const TZBytes& data);

  // Decodes a whole framed file. The output file (outPutFilePath, or else the previous
  // output path, "speex.pcm" in the Documents directory at first) is created empty at once;
  // frames decoded once the job is under way are appended to it and Result gets the output
  // path on the main queue when the worker runs out of frames. A missing input file calls
  // Result at once, on this thread, with the error "Speex file is not exist.".
  void speexConvertToPcm(const std::string& path, const std::string* outPutFilePath,
                         TZCompletion Result);

  // Stops for good: frames still queued are dropped, the worker is joined and nothing more
  // is delivered, not even calls already posted to the main queue.
  void speexOnRelease();

  std::weak_ptr<TZSpeexDelegate> delegate() const;
  void setDelegate(std::weak_ptr<TZSpeexDelegate> delegate);

  // Waits until the worker has nothing left to do (parked with no wake-up pending, or
  // ended). False when the timeout passes first. Deliveries may still wait on the main queue.
  bool waitUntilIdle(std::chrono::milliseconds timeout);

  // Why the last file job's output is incomplete (it could not be created, written or
  // closed), or nothing when it is whole so far.
  std::optional<std::string> outputFileError() const;

 private:
  struct KESTRUNE_LOCAL Impl;
  TZSpeexDecoder();

  std::unique_ptr<Impl> impl_;
};
