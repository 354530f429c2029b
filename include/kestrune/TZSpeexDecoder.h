// Decoding of the device's framed Speex wideband stream into 16 kHz 16-bit PCM.
//
// The stream is a sequence of blocks: the marker AA EA BD AC, a 16-bit little-endian frame
// length L (129 or more is read as 42), then five Speex frames of L bytes. Each frame
// decodes to 320 samples (640 bytes, little-endian). Bytes between blocks are skipped.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "kestrune/TZTypes.h"

class TZSpeexDecoder;

// Receives decoded frames on the main queue. The operation is optional.
class TZSpeexDelegate {
 public:
  virtual ~TZSpeexDelegate() = default;
  // One decoded frame of 640 bytes; error is always null.
  virtual void speexDecoder(TZSpeexDecoder& /*decoder*/, const TZBytes* /*Data*/,
                            const TZError* /*error*/) {}
};

class TZSpeexDecoder : public std::enable_shared_from_this<TZSpeexDecoder> {
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

 private:
  // Everything the worker shares with the caller's threads.
  struct State;

  TZSpeexDecoder();

  std::unique_ptr<State> _state;
};
