#include "kestrune/TZSpeexDecoder.h"

#include <speex/speex.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <utility>

#include "core/TZFiles.h"
#include "core/TZOutputFile.h"
#include "core/TZWorker.h"
#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "kestrune/TZPlatform.h"
#include "kestrune/TZThreadSafeStack.h"
#include "speex/TZSpeexBlocks.h"

namespace {

constexpr int kWidebandModeId = 1;
constexpr size_t kFrameSamples = 320;  // 20 ms at 16 kHz
constexpr size_t kBitBufferSize = 1048;
constexpr int kBitBufferDeclaredSize = 400;
constexpr const char* kMissingFileText = "Speex file is not exist.";

// One frame through libspeex's wideband decoder, with the result speex_decode_int gives on
// every frame libspeex decodes in full. speex_decode_int itself decodes into a float frame on
// its own stack that it never clears, and for some corrupt frames libspeex returns 0 without
// writing every sample, so the PCM would depend on leftover stack contents. Here the float
// frame starts zeroed and is converted with speex_decode_int's own clipping and rounding
// (floor(0.5 + x) in double). On an error pcm is left as it is, as speex_decode_int leaves it.
int decodeFrame(void* decoder, SpeexBits& bits, spx_int16_t (&pcm)[kFrameSamples]) {
  // As large as speex_decode_int's own frame (libspeex's MAX_IN_SAMPLES, 640).
  float samples[2 * kFrameSamples] = {};
  const int result = speex_decode(decoder, &bits, samples);
  if (result != 0) return result;
  for (size_t i = 0; i < kFrameSamples; ++i) {
    const float x = samples[i];
    if (x > 32767.f)
      pcm[i] = 32767;
    else if (x < -32768.f)
      pcm[i] = -32768;
    else if (std::isnan(x))
      pcm[i] = 0;  // what x86 makes of a NaN cast to 16 bits; a cast would be undefined here
    else
      pcm[i] = static_cast<spx_int16_t>(std::floor(0.5 + static_cast<double>(x)));
  }
  return 0;
}

}  // namespace

struct TZSpeexDecoder::State {
  // libspeex wideband decoder; used by the worker only, destroyed once the worker is joined.
  void* decoder = nullptr;
  TZWorker worker;
  TZThreadSafeStack stack;  // frames waiting for the worker, oldest first

  // Received bytes not yet cut into frames. The lock only keeps release from racing a
  // caller that is still feeding bytes.
  std::mutex inputMutex;
  TZSpeexBlockCutter spxData;

  std::atomic<bool> isStop{false};
  std::atomic<bool> isDecodeFile{false};

  std::mutex jobMutex;  // guards convertBlock and outputPath
  TZCompletion convertBlock;
  std::string outputPath;
  TZOutputFile fileHandle;

  mutable std::mutex delegateMutex;
  std::weak_ptr<TZSpeexDelegate> delegate;

  void start(const std::weak_ptr<TZSpeexDecoder>& self);
  void decode(const std::weak_ptr<TZSpeexDecoder>& self, const TZBytes& frame, SpeexBits& bits,
              char* bitBuffer);
  void finishFileJob(const std::weak_ptr<TZSpeexDecoder>& self);
  TZCompletion takeCompletion();
  void shutDown();
};

TZSpeexDecoder::TZSpeexDecoder() : _state(std::make_unique<State>()) {}

TZSpeexDecoder::~TZSpeexDecoder() {
  _state->shutDown();
}

std::shared_ptr<TZSpeexDecoder> TZSpeexDecoder::initWithDelegate(
    std::weak_ptr<TZSpeexDelegate> delegate) {
  void* speexState = speex_decoder_init(speex_lib_get_mode(kWidebandModeId));
  if (speexState == nullptr) return nullptr;

  std::shared_ptr<TZSpeexDecoder> decoder(new TZSpeexDecoder());
  State& state = *decoder->_state;
  state.delegate = std::move(delegate);
  state.decoder = speexState;
  int value = 1;
  speex_decoder_ctl(speexState, SPEEX_SET_ENH, &value);
  speex_decoder_ctl(speexState, SPEEX_SET_HIGHPASS, &value);
  speex_decoder_ctl(speexState, SPEEX_GET_LOOKAHEAD, &value);
  state.outputPath = TZPlatform::documentsPath("speex.pcm");

  // The worker holds the object only weakly: dropping the last strong reference stops it.
  std::weak_ptr<TZSpeexDecoder> self = decoder;
  state.worker.start([&state, self] { state.start(self); });
  TZLogManager::logLevel(1, "-[TZSpeexDecoder initWithDelegate:]", 80, "TZSpeexDecoder init:%s",
                         TZDescribe("TZSpeexDecoder", decoder.get()).c_str());
  return decoder;
}

void TZSpeexDecoder::speexInputData(const TZBytes& data) {
  State& state = *_state;
  std::lock_guard<std::mutex> guard(state.inputMutex);
  if (state.isStop) return;
  const bool cut = state.spxData.append(data, [&state](std::span<const uint8_t> frame) {
    state.stack.push(std::make_shared<TZBytes>(frame.begin(), frame.end()));
  });
  if (!cut || state.stack.isEmpty()) return;
  TZLogManager::logLevel(1, "-[TZSpeexDecoder speexInputData:]", 197, "---> stream is weakup.");
  state.worker.signal();
}

void TZSpeexDecoder::speexConvertToPcm(const std::string& path, const std::string* outPutFilePath,
                                       TZCompletion Result) {
  State& state = *_state;
  std::string output;
  {
    std::lock_guard<std::mutex> guard(state.jobMutex);
    state.convertBlock = std::move(Result);
    if (outPutFilePath != nullptr) state.outputPath = *outPutFilePath;
    output = state.outputPath;
  }
  state.fileHandle.restart(output);

  if (TZFileExists(path)) {
    // An unreadable input feeds nothing, like an empty one.
    if (const auto bytes = TZReadWholeFile(path)) speexInputData(*bytes);
    // The flag goes up only after the feed: a worker that is already awake may decode the
    // first frames before it does, and those reach the delegate but not the file.
    state.isDecodeFile = true;
    return;
  }

  TZLogManager::logLevel(3, "-[TZSpeexDecoder speexConvertToPcm:outPutFilePath:Result:]", 217, "%s",
                         kMissingFileText);
  if (const TZCompletion completion = state.takeCompletion()) {
    const TZError error{kMissingFileText, 0, {{"error", kMissingFileText}}};
    completion(nullptr, &error);
  }
}

void TZSpeexDecoder::speexOnRelease() {
  _state->shutDown();
  TZLogManager::logLevel(1, "-[TZSpeexDecoder speexOnRelease]", 143, "TZSpeexDecoder release:%s",
                         TZDescribe("TZSpeexDecoder", this).c_str());
}

std::weak_ptr<TZSpeexDelegate> TZSpeexDecoder::delegate() const {
  std::lock_guard<std::mutex> guard(_state->delegateMutex);
  return _state->delegate;
}

void TZSpeexDecoder::setDelegate(std::weak_ptr<TZSpeexDelegate> delegate) {
  std::lock_guard<std::mutex> guard(_state->delegateMutex);
  _state->delegate = std::move(delegate);
}

bool TZSpeexDecoder::waitUntilIdle(std::chrono::milliseconds timeout) {
  return _state->worker.waitUntilIdle(timeout);
}

void TZSpeexDecoder::State::start(const std::weak_ptr<TZSpeexDecoder>& self) {
  // The bit reader is set up by hand over a buffer on this thread's stack: each frame is
  // copied in and the reader rewound, so decoding allocates nothing but its output.
  char bitBuffer[kBitBufferSize] = {};
  SpeexBits bits{};
  bits.chars = bitBuffer;
  bits.buf_size = kBitBufferDeclaredSize;

  if (isStop) return;
  do {
    if (stack.isEmpty()) {
      TZLogManager::logLevel(1, "-[TZSpeexDecoder start]", 96, "---> stream is empty");
      if (isDecodeFile.exchange(false)) finishFileJob(self);
      worker.wait();
    }
    // The wake-up count may run ahead of the queue, so an empty pop is a pass with nothing
    // to do. A frame popped while release is under way is dropped undecoded.
    const auto frame = stack.pop();
    if (frame && !isStop) decode(self, *frame, bits, bitBuffer);
  } while (!isStop);
}

void TZSpeexDecoder::State::decode(const std::weak_ptr<TZSpeexDecoder>& self, const TZBytes& frame,
                                   SpeexBits& bits, char* bitBuffer) {
  // Frames are at most 128 bytes long, well inside the buffer.
  const size_t length = std::min(frame.size(), kBitBufferSize);
  speex_bits_rewind(&bits);
  std::copy_n(frame.begin(), length, bitBuffer);
  bits.nbBits = static_cast<int>(8 * length);

  // A frame libspeex reports as an error goes out all the same, as silence.
  spx_int16_t pcm[kFrameSamples] = {};
  const int result = decodeFrame(decoder, bits, pcm);
  if (result != 0)
    TZLogManager::logLevel(3, "-[TZSpeexDecoder start]", 118, "speex decode error:%d", result);

  const auto* bytes = reinterpret_cast<const uint8_t*>(pcm);
  const auto data = std::make_shared<const TZBytes>(bytes, bytes + sizeof pcm);
  bool hasDelegate = false;
  {
    std::lock_guard<std::mutex> guard(delegateMutex);
    hasDelegate = !delegate.expired();
  }
  if (hasDelegate) {
    TZMainQueue::post([self, data] {
      // Both references are read again on the main thread: a decoder that is gone or
      // released, or a delegate that is gone, receives nothing.
      const auto decoder = self.lock();
      if (!decoder || decoder->_state->isStop) return;
      if (const auto target = decoder->delegate().lock())
        target->speexDecoder(*decoder, data.get(), nullptr);
    });
  }
  if (isDecodeFile) fileHandle.append(data->data(), data->size());
}

void TZSpeexDecoder::State::finishFileJob(const std::weak_ptr<TZSpeexDecoder>& self) {
  std::string path;
  {
    std::lock_guard<std::mutex> guard(jobMutex);
    path = outputPath;
  }
  // The file is complete and closed before anyone is told about it.
  fileHandle.close();
  if (TZCompletion completion = takeCompletion()) {
    TZMainQueue::post([self, completion = std::move(completion), path] {
      const auto decoder = self.lock();
      if (decoder && !decoder->_state->isStop) completion(&path, nullptr);
    });
  }
}

TZCompletion TZSpeexDecoder::State::takeCompletion() {
  std::lock_guard<std::mutex> guard(jobMutex);
  return std::exchange(convertBlock, nullptr);
}

void TZSpeexDecoder::State::shutDown() {
  isStop = true;
  {
    std::lock_guard<std::mutex> guard(inputMutex);
    spxData.reset();
  }
  stack.clear();
  // Joining before the libspeex state goes guarantees that no frame is decoded with it, or
  // after release returns.
  worker.wakeAndJoin();
  if (decoder != nullptr) {
    speex_decoder_destroy(decoder);
    decoder = nullptr;
  }
}
