#include "kestrune/TZOpusEncoder.h"

#include <opus.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "core/TZCodecEngine.h"
#include "core/TZFiles.h"
#include "kestrune/TZLogManager.h"
#include "kestrune/TZPlatform.h"

namespace {

// The most bytes opus_encode may write for one packet.
constexpr opus_int32 kMaxPacketBytes = 96000;
// The application the device's stream is encoded with. libopus names 2049
// OPUS_APPLICATION_AUDIO (OPUS_APPLICATION_VOIP is 2048); the number is what matters here,
// since every packet's payload depends on it.
constexpr int kOpusApplication = 2049;
// The longest frame Opus encodes, per channel: 120 ms at 48 kHz.
constexpr int32_t kMaxFrameSamples = 5760;
constexpr const char* kMissingFile = "pcm file is not exist.";

}  // namespace

struct TZOpusEncoder::Impl {
  TZOpusEncoder& self;
  TZCodecEngine engine;  // worker, queue of PCM chunks, stop flag, output file
  OpusEncoder* encoder = nullptr;
  int32_t coderChannels = 0;  // the channel count the coder was created with
  std::atomic<bool> isEncodeFile{false};

  // Shared between the callers, the worker and the tasks on TZMainQueue. The worker decides
  // that a file job has ended under this lock, and a file job queues its chunks under it.
  mutable std::mutex mutex;
  TZCompletion convertBlock;
  std::string outputPath;
  TZBytes pcmData;  // every byte given since creation; never trimmed
  std::shared_ptr<TZOpusFormat> opusFormat;
  std::weak_ptr<TZOpusEncoderDelegate> delegate;

  // The worker's buffers, reused from packet to packet.
  std::vector<opus_int16> samples;
  std::vector<unsigned char> packet = std::vector<unsigned char>(kMaxPacketBytes);

  explicit Impl(TZOpusEncoder& owner) : self(owner) {}
  std::shared_ptr<TZOpusFormat> format() const {
    std::lock_guard<std::mutex> guard(mutex);
    return opusFormat;
  }
  // Queues the chunks of data, then releases the lock and wakes the worker.
  void queueChunks(std::unique_lock<std::mutex> lock, std::span<const uint8_t> data);
  void encodeChunk(const TZBytes& chunk);
  void onIdle();
  void deliver(std::shared_ptr<const TZBytes> packet, std::shared_ptr<const TZError> error);
  void release();
};

TZOpusEncoder::TZOpusEncoder() : impl_(std::make_unique<Impl>(*this)) {}

TZOpusEncoder::~TZOpusEncoder() {
  impl_->release();
}

std::shared_ptr<TZOpusEncoder> TZOpusEncoder::initFormat(
    std::shared_ptr<TZOpusFormat> format, std::weak_ptr<TZOpusEncoderDelegate> /*delegate*/) {
  // The delegate argument is not kept: an encoder delivers packets only to a delegate set
  // later with setDelegate.
  int error = OPUS_BAD_ARG;
  OpusEncoder* coder = nullptr;
  if (format)
    coder = opus_encoder_create(format->sampleRate(), format->channels(), kOpusApplication, &error);
  if (error != OPUS_OK || coder == nullptr) {
    TZLogManager::logLevel(4, "-[TZOpusEncoder initFormat:delegate:]", 46,
                           "opus_encoder_create error:%s", opus_strerror(error));
    return nullptr;
  }
  std::shared_ptr<TZOpusEncoder> encoder(new TZOpusEncoder());
  Impl& impl = *encoder->impl_;
  impl.encoder = coder;
  impl.coderChannels = format->channels();
  impl.opusFormat = std::move(format);
  impl.outputPath = TZPlatform::documentsPath("pcmToOpus.opus");
  impl.engine.start(
      encoder, [&impl](const TZBytes& chunk) { impl.encodeChunk(chunk); },
      [&impl] { impl.onIdle(); });
  return encoder;
}

void TZOpusEncoder::opusEncodeData(std::span<const uint8_t> data) {
  std::unique_lock<std::mutex> lock(impl_->mutex);
  if (impl_->engine.stopped()) return;  // a released encoder has no worker to drain the queue
  impl_->queueChunks(std::move(lock), data);
}

void TZOpusEncoder::Impl::queueChunks(std::unique_lock<std::mutex> lock,
                                      std::span<const uint8_t> data) {
  pcmData.insert(pcmData.end(), data.begin(), data.end());
  const int32_t frameSize = opusFormat->frameSize();
  // Every call walks the whole buffer from its start, so the chunks of earlier calls are
  // queued once more; bytes past the last complete chunk wait for more input. A chunk of 0
  // bytes or less would never advance the walk and cuts nothing.
  const auto chunkBytes = static_cast<size_t>(std::max(frameSize, 0));
  for (size_t offset = 0; chunkBytes > 0 && offset + chunkBytes <= pcmData.size();
       offset += chunkBytes) {
    const auto first = pcmData.begin() + static_cast<std::ptrdiff_t>(offset);
    engine.push(std::make_shared<TZBytes>(first, first + frameSize));
  }
  const bool queued = !engine.isEmpty();
  lock.unlock();
  if (!queued) return;
  TZLogManager::logLevel(2, "-[TZOpusEncoder opusEncodeData:]", 126, "opus encode stack weakup");
  engine.signal();
}

void TZOpusEncoder::opusEncodeFile(const std::string& path, const std::string* outPut,
                                   TZCompletion Resoult) {
  Impl& impl = *impl_;
  // A file that exists but cannot be read is reported like a missing one, rather than
  // starting a job over nothing that would never end.
  std::optional<TZBytes> pcm;
  if (TZFileExists(path)) pcm = TZReadWholeFile(path);
  if (!pcm) {
    TZLogManager::logLevel(4, "-[TZOpusEncoder opusEncodeFile:outPut:Resoult:]", 136,
                           "pcm file is not exist.");
    if (Resoult) {
      const TZError error{kMissingFile, 0, {{"error", kMissingFile}}};
      Resoult(nullptr, &error);
    }
    return;
  }

  // The file is padded with R = length mod frameSize zero bytes (R, not frameSize - R), so it
  // ends on a chunk boundary only when R is 0 or half a chunk; what is left over stays in the
  // buffer unencoded. A frame size of 0 or less divides nothing off: R is the whole length.
  const int32_t frameSize = impl.format()->frameSize();
  const uint64_t length = pcm->size();
  const auto divisor = static_cast<uint64_t>(static_cast<int64_t>(frameSize));
  const uint64_t remainder = divisor == 0 ? length : length % divisor;
  const auto padding = static_cast<int32_t>(static_cast<uint32_t>(remainder));
  if (padding >= 1) pcm->resize(pcm->size() + static_cast<size_t>(padding), 0);

  std::unique_lock<std::mutex> lock(impl.mutex);
  if (impl.engine.stopped()) return;
  if (outPut != nullptr) impl.outputPath = *outPut;
  impl.engine.outputFile().restart(impl.outputPath);
  impl.isEncodeFile = true;
  impl.convertBlock = std::move(Resoult);
  // Queued under the lock in which the worker decides that a job has ended, so a worker that
  // is already awake cannot find the queue empty half-way through the file.
  impl.queueChunks(std::move(lock), *pcm);
}

void TZOpusEncoder::opusOnRelease() {
  impl_->release();
  TZLogManager::logLevel(1, "-[TZOpusEncoder opusOnRelease]", 167, "TZOpusEncoder release:%s",
                         TZDescribe("TZOpusEncoder", this).c_str());
}

void TZOpusEncoder::Impl::release() {
  engine.release([this] {
    std::lock_guard<std::mutex> guard(mutex);
    pcmData = TZBytes();
    opus_encoder_destroy(encoder);
    encoder = nullptr;
  });
}

void TZOpusEncoder::Impl::onIdle() {
  {
    std::lock_guard<std::mutex> guard(mutex);
    // Chunks queued since the engine looked belong to a job still under way.
    if (engine.isEmpty() && isEncodeFile.exchange(false)) {
      // The file is complete and closed before anyone is told about it.
      engine.outputFile().close();
      // The job's own callback and path are taken now, so a job started from the callback
      // cannot be confused with this one.
      if (auto completion = std::exchange(convertBlock, nullptr))
        engine.post([completion = std::move(completion), path = outputPath] {
          completion(&path, nullptr);
        });
    }
  }
  // Logged outside the lock: the log line may be appended to a file.
  TZLogManager::logLevel(1, "-[TZOpusEncoder encodeThread]", 65, "opus stream is empty");
}

void TZOpusEncoder::Impl::encodeChunk(const TZBytes& chunk) {
  const int32_t frameSize = format()->frameSize();
  int result = OPUS_BAD_ARG;
  if (frameSize > 0 && frameSize <= kMaxFrameSamples) {
    // Opus reads frameSize samples per channel, while the chunk holds frameSize bytes: the
    // chunk goes at the start of a zeroed frame, so the coder hears silence after it and
    // nothing past the chunk is read.
    samples.assign(static_cast<size_t>(frameSize) * static_cast<size_t>(coderChannels), 0);
    if (!chunk.empty())
      std::memcpy(samples.data(), chunk.data(),
                  std::min(chunk.size(), samples.size() * sizeof(opus_int16)));
    result = opus_encode(encoder, samples.data(), frameSize, packet.data(), kMaxPacketBytes);
  }
  if (result > 0) {
    auto data = std::make_shared<const TZBytes>(packet.begin(), packet.begin() + result);
    if (isEncodeFile) engine.outputFile().append(data->data(), data->size());
    deliver(std::move(data), nullptr);
    return;
  }
  // A library error code is reported like an empty result, with the code kept.
  TZLogManager::logLevel(4, "-[TZOpusEncoder encodeThread]", 99, "opus encode error:%d", result);
  deliver(nullptr, std::make_shared<const TZError>(TZError{"opus encode error", result, {}}));
}

void TZOpusEncoder::Impl::deliver(std::shared_ptr<const TZBytes> data,
                                  std::shared_ptr<const TZError> error) {
  if (self.delegate().expired()) return;
  // The delegate is read again when the task runs: a delegate that is gone receives nothing.
  engine.post([this, data = std::move(data), error = std::move(error)] {
    if (const auto target = self.delegate().lock())
      target->opusEncoder(self, data.get(), error.get());
  });
}

std::shared_ptr<TZOpusFormat> TZOpusEncoder::opusFormat() const {
  return impl_->format();
}

void TZOpusEncoder::setOpusFormat(std::shared_ptr<TZOpusFormat> format) {
  if (!format) return;  // every chunk needs a format to read its frame size from
  std::lock_guard<std::mutex> guard(impl_->mutex);
  impl_->opusFormat = std::move(format);
}

std::weak_ptr<TZOpusEncoderDelegate> TZOpusEncoder::delegate() const {
  std::lock_guard<std::mutex> guard(impl_->mutex);
  return impl_->delegate;
}

void TZOpusEncoder::setDelegate(std::weak_ptr<TZOpusEncoderDelegate> delegate) {
  std::lock_guard<std::mutex> guard(impl_->mutex);
  impl_->delegate = std::move(delegate);
}

bool TZOpusEncoder::waitUntilIdle(std::chrono::milliseconds timeout) {
  return impl_->engine.waitUntilIdle(timeout);
}

std::optional<std::string> TZOpusEncoder::outputFileError() const {
  return impl_->engine.outputFile().error();
}
