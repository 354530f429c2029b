#include "kestrune/TZOpusDecoder.h"

#include <opus.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "core/TZCodecEngine.h"
#include "core/TZFiles.h"
#include "kestrune/TZLogManager.h"
#include "kestrune/TZPlatform.h"
#include "opus/TZOpusFraming.h"

namespace {

// Samples per channel asked of every opus_decode call.
constexpr int kDecodeFrameSamples = 96000;
constexpr const char* kMissingFile = "opus file is not exist.";

}  // namespace

struct TZOpusDecoder::Impl {
  TZOpusDecoder& self;
  TZCodecEngine engine;  // worker, queue of Opus packets, stop flag, output file
  std::atomic<bool> isDecodeFile{false};

  // resetOpusFramet replaces the coder while the worker may be decoding with it.
  std::mutex coderMutex;
  OpusDecoder* decoder = nullptr;
  int32_t coderChannels = 0;  // the channel count the coder was created with

  // Shared between the callers, the worker and the tasks on TZMainQueue. The worker decides
  // that a file job has ended under this lock, and a file job queues its packets under it.
  mutable std::mutex mutex;
  std::string outputPath;
  TZBytes opusData;  // input not cut into packets yet
  std::shared_ptr<TZOpusFormat> opusFormat;
  std::weak_ptr<TZOpusDecoderDelegate> delegate;

  std::vector<opus_int16> samples;  // the worker's decode buffer, reused from packet to packet

  explicit Impl(TZOpusDecoder& owner) : self(owner) {}
  std::shared_ptr<TZOpusFormat> format() const {
    std::lock_guard<std::mutex> guard(mutex);
    return opusFormat;
  }
  // Cuts and queues the packets of data, then releases the lock and wakes the worker.
  void queuePackets(std::unique_lock<std::mutex> lock, std::span<const uint8_t> data);
  void decodePacket(const TZBytes& packet);
  void onIdle();
  void deliver(std::shared_ptr<const TZBytes> pcm, std::shared_ptr<const TZError> error);
  void release();
};

TZOpusDecoder::TZOpusDecoder() : impl_(std::make_unique<Impl>(*this)) {}

TZOpusDecoder::~TZOpusDecoder() {
  TZLogManager::logLevel(1, "-[TZOpusDecoder dealloc]", 194, "TZOpusDecoder dealloc:%s",
                         TZDescribe("TZOpusDecoder", this).c_str());
  impl_->release();
}

std::shared_ptr<TZOpusDecoder> TZOpusDecoder::initDecoder(
    std::shared_ptr<TZOpusFormat> format, std::weak_ptr<TZOpusDecoderDelegate> delegate) {
  int error = OPUS_BAD_ARG;
  OpusDecoder* coder = nullptr;
  if (format) coder = opus_decoder_create(format->sampleRate(), format->channels(), &error);
  if (error != OPUS_OK || coder == nullptr) {
    TZLogManager::logLevel(4, "-[TZOpusDecoder initDecoder:delegate:]", 49,
                           "opus_decoder_create error:%s", opus_strerror(error));
    return nullptr;
  }
  std::shared_ptr<TZOpusDecoder> decoder(new TZOpusDecoder());
  Impl& impl = *decoder->impl_;
  impl.decoder = coder;
  impl.coderChannels = format->channels();
  impl.opusFormat = std::move(format);
  impl.delegate = std::move(delegate);
  impl.outputPath = TZPlatform::documentsPath("opusToPcm.pcm");
  impl.engine.start(
      decoder, [&impl](const TZBytes& packet) { impl.decodePacket(packet); },
      [&impl] { impl.onIdle(); });
  return decoder;
}

void TZOpusDecoder::opusDecoderInputData(std::span<const uint8_t> data) {
  std::unique_lock<std::mutex> lock(impl_->mutex);
  if (impl_->engine.stopped()) return;  // a released decoder has no worker to drain the queue
  impl_->queuePackets(std::move(lock), data);
}

void TZOpusDecoder::Impl::queuePackets(std::unique_lock<std::mutex> lock,
                                       std::span<const uint8_t> data) {
  opusData.insert(opusData.end(), data.begin(), data.end());
  TZOpusCutRecords(opusData, *opusFormat, [this](TZBytes&& packet) {
    engine.push(std::make_shared<TZBytes>(std::move(packet)));
  });
  const bool queued = !engine.isEmpty();
  lock.unlock();
  if (queued) engine.signal();
}

void TZOpusDecoder::opusDecodeFile(const std::string& path, const std::string* outPut,
                                   TZCompletion Resoult) {
  Impl& impl = *impl_;
  // A file that exists but cannot be read is reported like a missing one.
  std::optional<TZBytes> records;
  if (TZFileExists(path)) records = TZReadWholeFile(path);
  if (!records) {
    TZLogManager::logLevel(4, "-[TZOpusDecoder opusDecodeFile:outPut:Resoult:]", 167,
                           "opus file is not exist.");
    if (Resoult) {
      const TZError error{kMissingFile, 0, {{"error", kMissingFile}}};
      Resoult(nullptr, &error);
    }
    return;
  }
  // The callback of a job that starts is not kept: a decoding job reports no end of its own.
  // The host learns of it from the deliveries stopping, or from waitUntilIdle.
  std::unique_lock<std::mutex> lock(impl.mutex);
  if (impl.engine.stopped()) return;
  if (outPut != nullptr) impl.outputPath = *outPut;
  impl.engine.outputFile().restart(impl.outputPath);
  impl.isDecodeFile = true;
  // Queued under the lock in which the worker decides that a job has ended, so a worker that
  // is already awake cannot find the queue empty half-way through the file.
  impl.queuePackets(std::move(lock), *records);
}

void TZOpusDecoder::resetOpusFramet(std::shared_ptr<TZOpusFormat> format) {
  Impl& impl = *impl_;
  if (!format) {  // nothing to create a coder from; the decoder stays as it is
    TZLogManager::logLevel(4, "-[TZOpusDecoder resetOpusFramet:]", 134,
                           "opus_decoder_create error:%s", opus_strerror(OPUS_BAD_ARG));
    return;
  }
  {
    std::lock_guard<std::mutex> guard(impl.mutex);
    impl.opusFormat = format;
    impl.engine.clear();
    impl.isDecodeFile = false;  // the job ends; its file stays open until the next job or release
  }
  std::lock_guard<std::mutex> coderGuard(impl.coderMutex);
  if (impl.engine.stopped()) return;  // released: the coder is gone for good
  if (impl.decoder != nullptr) opus_decoder_destroy(impl.decoder);
  int error = OPUS_OK;
  impl.decoder = opus_decoder_create(format->sampleRate(), format->channels(), &error);
  impl.coderChannels = format->channels();
  if (error != OPUS_OK) {
    TZLogManager::logLevel(4, "-[TZOpusDecoder resetOpusFramet:]", 134,
                           "opus_decoder_create error:%s", opus_strerror(error));
    impl.decoder = nullptr;
  }
}

void TZOpusDecoder::opusOnRelease() {
  impl_->release();
  TZLogManager::logLevel(1, "-[TZOpusDecoder opusOnRelease]", 190, "TZOpusDecoder release:%s",
                         TZDescribe("TZOpusDecoder", this).c_str());
}

void TZOpusDecoder::Impl::release() {
  engine.release([this] {
    {
      std::lock_guard<std::mutex> guard(mutex);
      opusData = TZBytes();
    }
    std::lock_guard<std::mutex> coderGuard(coderMutex);
    if (decoder != nullptr) opus_decoder_destroy(decoder);
    decoder = nullptr;
  });
}

void TZOpusDecoder::Impl::onIdle() {
  std::lock_guard<std::mutex> guard(mutex);
  // A decoding job has no completion to call: its end is its output file being closed.
  // Packets queued since the engine looked belong to a job still under way.
  if (engine.isEmpty() && isDecodeFile.exchange(false)) engine.outputFile().close();
}

void TZOpusDecoder::Impl::decodePacket(const TZBytes& packet) {
  const int32_t channels = format()->channels();
  int result = OPUS_INVALID_STATE;  // what a decoder left without a coder reports
  size_t decodedSamples = 0;
  {
    std::lock_guard<std::mutex> coderGuard(coderMutex);
    if (decoder != nullptr) {
      // Room for the largest result whatever the format says now: an empty packet is a lost
      // one, which Opus conceals over all 96000 samples per channel it is asked for.
      const auto width = static_cast<size_t>(std::max({channels, coderChannels, 1}));
      if (samples.size() < width * kDecodeFrameSamples) samples.resize(width * kDecodeFrameSamples);
      // The length goes to Opus truncated to 16 bits: a packet of 32768 bytes or more is
      // passed with a wrong length, which Opus refuses or reads short.
      const auto length = static_cast<int16_t>(packet.size());
      result = opus_decode(decoder, packet.data(), length, samples.data(), kDecodeFrameSamples, 0);
      if (result > 0)
        decodedSamples = static_cast<size_t>(result) * static_cast<size_t>(coderChannels);
    }
  }
  if (result < 1) {
    TZLogManager::logLevel(4, "-[TZOpusDecoder decodeThread]", 109, "opus decode error:%d", result);
    deliver(nullptr, std::make_shared<const TZError>(TZError{"opus decode error", result, {}}));
    return;
  }
  // result samples per channel, taken with the channel count the format gives now; samples
  // the coder did not write (a format with more channels than the coder) are silence.
  const size_t sampleCount =
      static_cast<size_t>(result) * static_cast<size_t>(std::max(channels, 0));
  if (sampleCount > decodedSamples)
    std::fill(samples.begin() + static_cast<std::ptrdiff_t>(decodedSamples),
              samples.begin() + static_cast<std::ptrdiff_t>(sampleCount), 0);
  const auto* bytes = reinterpret_cast<const uint8_t*>(samples.data());
  auto pcm = std::make_shared<const TZBytes>(bytes, bytes + sampleCount * sizeof(opus_int16));
  if (isDecodeFile) engine.outputFile().append(pcm->data(), pcm->size());
  deliver(std::move(pcm), nullptr);
}

void TZOpusDecoder::Impl::deliver(std::shared_ptr<const TZBytes> pcm,
                                  std::shared_ptr<const TZError> error) {
  if (self.delegate().expired()) return;
  // The delegate is read again when the task runs: a delegate that is gone receives nothing.
  engine.post([this, pcm = std::move(pcm), error = std::move(error)] {
    if (const auto target = self.delegate().lock())
      target->opusDecoder(self, pcm.get(), error.get());
  });
}

std::shared_ptr<TZOpusFormat> TZOpusDecoder::opusFormat() const {
  return impl_->format();
}

void TZOpusDecoder::setOpusFormat(std::shared_ptr<TZOpusFormat> format) {
  if (!format) return;  // every cut and every packet needs a format to read
  std::lock_guard<std::mutex> guard(impl_->mutex);
  impl_->opusFormat = std::move(format);
}

std::weak_ptr<TZOpusDecoderDelegate> TZOpusDecoder::delegate() const {
  std::lock_guard<std::mutex> guard(impl_->mutex);
  return impl_->delegate;
}

void TZOpusDecoder::setDelegate(std::weak_ptr<TZOpusDecoderDelegate> delegate) {
  std::lock_guard<std::mutex> guard(impl_->mutex);
  impl_->delegate = std::move(delegate);
}

bool TZOpusDecoder::waitUntilIdle(std::chrono::milliseconds timeout) {
  return impl_->engine.waitUntilIdle(timeout);
}

std::optional<std::string> TZOpusDecoder::outputFileError() const {
  return impl_->engine.outputFile().error();
}
