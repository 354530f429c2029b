#include "kestrune/TZSpeexDecoder.h"

#include <speex/speex.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <utility>

#include "core/TZCodecEngine.h"
#include "core/TZFiles.h"
#include "kestrune/TZLogManager.h"
#include "kestrune/TZPlatform.h"
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

struct TZSpeexDecoder::Impl {
  TZSpeexDecoder& self;
  TZCodecEngine engine;  // worker, queue of Speex frames, stop flag, output file
  // libspeex wideband decoder; used by the worker only, destroyed once the worker is joined.
  void* decoder = nullptr;
  std::atomic<bool> isDecodeFile{false};

  // Received bytes not yet cut into frames. The lock only keeps release from racing a
  // caller that is still feeding bytes.
  std::mutex inputMutex;
  TZSpeexBlockCutter spxData;

  std::mutex jobMutex;  // guards convertBlock and outputPath
  TZCompletion convertBlock;
  std::string outputPath;

  mutable std::mutex delegateMutex;
  std::weak_ptr<TZSpeexDelegate> delegate;

  // The worker's bit reader, set up by hand over its own buffer: each frame is copied in and
  // the reader rewound, so decoding allocates nothing but its output.
  char bitBuffer[kBitBufferSize] = {};
  SpeexBits bits{};

  explicit Impl(TZSpeexDecoder& owner) : self(owner) {
    bits.chars = bitBuffer;
    bits.buf_size = kBitBufferDeclaredSize;
  }
  void decode(const TZBytes& frame);
  void onIdle();
  TZCompletion takeCompletion();
  void release();
};

TZSpeexDecoder::TZSpeexDecoder() : impl_(std::make_unique<Impl>(*this)) {}

TZSpeexDecoder::~TZSpeexDecoder() {
  impl_->release();
}

std::shared_ptr<TZSpeexDecoder> TZSpeexDecoder::initWithDelegate(
    std::weak_ptr<TZSpeexDelegate> delegate) {
  void* speexState = speex_decoder_init(speex_lib_get_mode(kWidebandModeId));
  if (speexState == nullptr) return nullptr;

  std::shared_ptr<TZSpeexDecoder> decoder(new TZSpeexDecoder());
  Impl& impl = *decoder->impl_;
  impl.delegate = std::move(delegate);
  impl.decoder = speexState;
  int value = 1;
  speex_decoder_ctl(speexState, SPEEX_SET_ENH, &value);
  speex_decoder_ctl(speexState, SPEEX_SET_HIGHPASS, &value);
  speex_decoder_ctl(speexState, SPEEX_GET_LOOKAHEAD, &value);
  impl.outputPath = TZPlatform::documentsPath("speex.pcm");
  impl.engine.start(
      decoder, [&impl](const TZBytes& frame) { impl.decode(frame); }, [&impl] { impl.onIdle(); });
  TZLogManager::logLevel(1, "-[TZSpeexDecoder initWithDelegate:]", 80, "TZSpeexDecoder init:%s",
                         TZDescribe("TZSpeexDecoder", decoder.get()).c_str());
  return decoder;
}

void TZSpeexDecoder::speexInputData(const TZBytes& data) {
  Impl& impl = *impl_;
  std::lock_guard<std::mutex> guard(impl.inputMutex);
  if (impl.engine.stopped()) return;
  const bool cut = impl.spxData.append(data, [&impl](std::span<const uint8_t> frame) {
    impl.engine.push(std::make_shared<TZBytes>(frame.begin(), frame.end()));
  });
  if (!cut || impl.engine.isEmpty()) return;
  TZLogManager::logLevel(1, "-[TZSpeexDecoder speexInputData:]", 197, "---> stream is weakup.");
  impl.engine.signal();
}

void TZSpeexDecoder::speexConvertToPcm(const std::string& path, const std::string* outPutFilePath,
                                       TZCompletion Result) {
  Impl& impl = *impl_;
  std::string output;
  {
    std::lock_guard<std::mutex> guard(impl.jobMutex);
    impl.convertBlock = std::move(Result);
    if (outPutFilePath != nullptr) impl.outputPath = *outPutFilePath;
    output = impl.outputPath;
  }
  impl.engine.outputFile().restart(output);

  if (TZFileExists(path)) {
    // An unreadable input feeds nothing, like an empty one.
    if (const auto bytes = TZReadWholeFile(path)) speexInputData(*bytes);
    // The flag goes up only after the feed: a worker that is already awake may decode the
    // first frames before it does, and those reach the delegate but not the file.
    impl.isDecodeFile = true;
    return;
  }

  TZLogManager::logLevel(3, "-[TZSpeexDecoder speexConvertToPcm:outPutFilePath:Result:]", 217, "%s",
                         kMissingFileText);
  if (const TZCompletion completion = impl.takeCompletion()) {
    const TZError error{kMissingFileText, 0, {{"error", kMissingFileText}}};
    completion(nullptr, &error);
  }
}

void TZSpeexDecoder::speexOnRelease() {
  impl_->release();
  TZLogManager::logLevel(1, "-[TZSpeexDecoder speexOnRelease]", 143, "TZSpeexDecoder release:%s",
                         TZDescribe("TZSpeexDecoder", this).c_str());
}

void TZSpeexDecoder::Impl::release() {
  engine.release([this] {
    {
      std::lock_guard<std::mutex> guard(inputMutex);
      spxData.reset();
    }
    speex_decoder_destroy(decoder);
    decoder = nullptr;
  });
}

std::weak_ptr<TZSpeexDelegate> TZSpeexDecoder::delegate() const {
  std::lock_guard<std::mutex> guard(impl_->delegateMutex);
  return impl_->delegate;
}

void TZSpeexDecoder::setDelegate(std::weak_ptr<TZSpeexDelegate> delegate) {
  std::lock_guard<std::mutex> guard(impl_->delegateMutex);
  impl_->delegate = std::move(delegate);
}

bool TZSpeexDecoder::waitUntilIdle(std::chrono::milliseconds timeout) {
  return impl_->engine.waitUntilIdle(timeout);
}

std::optional<std::string> TZSpeexDecoder::outputFileError() const {
  return impl_->engine.outputFile().error();
}

void TZSpeexDecoder::Impl::decode(const TZBytes& frame) {
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
  if (!self.delegate().expired()) {
    // The delegate is read again when the task runs: a delegate that is gone receives nothing.
    engine.post([this, data] {
      if (const auto target = self.delegate().lock())
        target->speexDecoder(self, data.get(), nullptr);
    });
  }
  if (isDecodeFile) engine.outputFile().append(data->data(), data->size());
}

void TZSpeexDecoder::Impl::onIdle() {
  TZLogManager::logLevel(1, "-[TZSpeexDecoder start]", 96, "---> stream is empty");
  if (!isDecodeFile.exchange(false)) return;
  // The file is complete and closed before anyone is told about it.
  engine.outputFile().close();
  std::string path;
  {
    std::lock_guard<std::mutex> guard(jobMutex);
    path = outputPath;
  }
  if (TZCompletion completion = takeCompletion())
    engine.post([completion = std::move(completion), path] { completion(&path, nullptr); });
}

TZCompletion TZSpeexDecoder::Impl::takeCompletion() {
  std::lock_guard<std::mutex> guard(jobMutex);
  return std::exchange(convertBlock, nullptr);
}
