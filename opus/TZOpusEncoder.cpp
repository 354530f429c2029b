#include "kestrune/TZOpusEncoder.h"

#include <opus.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "core/TZFiles.h"
#include "core/TZOutputFile.h"
#include "core/TZWorker.h"
#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "kestrune/TZPlatform.h"
#include "kestrune/TZThreadSafeStack.h"

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

struct TZOpusEncoder::Fields {
  TZWorker worker;
  TZThreadSafeStack stack;  // PCM chunks of frameSize bytes waiting for the worker
  OpusEncoder* encoder = nullptr;
  int32_t coderChannels = 0;  // the channel count the coder was created with
  std::atomic<bool> isStop{false};
  std::atomic<bool> isEncodeFile{false};
  TZOutputFile fileHandle;
  std::mutex lifecycle;  // serialises release and destruction

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
};

TZOpusEncoder::TZOpusEncoder(std::unique_ptr<Fields> fields) : fields_(std::move(fields)) {}

TZOpusEncoder::~TZOpusEncoder() {
  stopWorker();
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
  auto fields = std::make_unique<Fields>();
  fields->encoder = coder;
  fields->coderChannels = format->channels();
  fields->opusFormat = std::move(format);
  fields->outputPath = TZPlatform::documentsPath("pcmToOpus.opus");
  std::shared_ptr<TZOpusEncoder> encoder(new TZOpusEncoder(std::move(fields)));
  // The worker refers to its encoder by a plain pointer, never owning it: destruction joins
  // the worker before anything it uses goes away.
  encoder->fields_->worker.start([raw = encoder.get()] { raw->encodeThread(); });
  return encoder;
}

void TZOpusEncoder::opusEncodeData(std::span<const uint8_t> data) {
  std::unique_lock<std::mutex> lock(fields_->mutex);
  if (fields_->isStop) return;  // a released encoder has no worker left to drain the queue
  queueChunks(std::move(lock), data);
}

void TZOpusEncoder::queueChunks(std::unique_lock<std::mutex> lock, std::span<const uint8_t> data) {
  Fields& f = *fields_;
  f.pcmData.insert(f.pcmData.end(), data.begin(), data.end());
  const int32_t frameSize = f.opusFormat->frameSize();
  // Every call walks the whole buffer from its start, so the chunks of earlier calls are
  // queued once more; bytes past the last complete chunk wait for more input. A chunk of 0
  // bytes or less would never advance the walk and cuts nothing.
  const auto chunkBytes = static_cast<size_t>(std::max(frameSize, 0));
  for (size_t offset = 0; chunkBytes > 0 && offset + chunkBytes <= f.pcmData.size();
       offset += chunkBytes) {
    const auto first = f.pcmData.begin() + static_cast<std::ptrdiff_t>(offset);
    f.stack.push(std::make_shared<TZBytes>(first, first + frameSize));
  }
  const bool queued = !f.stack.isEmpty();
  lock.unlock();
  if (!queued) return;
  TZLogManager::logLevel(2, "-[TZOpusEncoder opusEncodeData:]", 126, "opus encode stack weakup");
  f.worker.signal();
}

void TZOpusEncoder::opusEncodeFile(const std::string& path, const std::string* outPut,
                                   TZCompletion Resoult) {
  Fields& f = *fields_;
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
  const int32_t frameSize = opusFormat()->frameSize();
  const uint64_t length = pcm->size();
  const auto divisor = static_cast<uint64_t>(static_cast<int64_t>(frameSize));
  const uint64_t remainder = divisor == 0 ? length : length % divisor;
  const auto padding = static_cast<int32_t>(static_cast<uint32_t>(remainder));
  if (padding >= 1) pcm->resize(pcm->size() + static_cast<size_t>(padding), 0);

  std::unique_lock<std::mutex> lock(f.mutex);
  if (f.isStop) return;
  if (outPut != nullptr) f.outputPath = *outPut;
  f.fileHandle.restart(f.outputPath);
  f.isEncodeFile = true;
  f.convertBlock = std::move(Resoult);
  // Queued under the lock in which the worker decides that a job has ended, so a worker that
  // is already awake cannot find the queue empty half-way through the file.
  queueChunks(std::move(lock), *pcm);
}

void TZOpusEncoder::opusOnRelease() {
  stopWorker();
  TZLogManager::logLevel(1, "-[TZOpusEncoder opusOnRelease]", 167, "TZOpusEncoder release:%s",
                         TZDescribe("TZOpusEncoder", this).c_str());
}

void TZOpusEncoder::stopWorker() {
  Fields& f = *fields_;
  std::lock_guard<std::mutex> lifecycle(f.lifecycle);
  f.isStop = true;
  {
    std::lock_guard<std::mutex> guard(f.mutex);
    f.pcmData = TZBytes();
    f.stack.clear();
  }
  // Joined before the coder is freed, so no pass can use a freed coder.
  f.worker.wakeAndJoin();
  if (f.encoder != nullptr) {
    opus_encoder_destroy(f.encoder);
    f.encoder = nullptr;
  }
  f.fileHandle.close();
}

void TZOpusEncoder::encodeThread() {
  Fields& f = *fields_;
  while (!f.isStop) {
    bool idle = false;
    {
      std::lock_guard<std::mutex> guard(f.mutex);
      if (f.stack.isEmpty()) {
        idle = true;
        if (f.isEncodeFile.exchange(false)) {
          // The file is complete and closed before anyone is told about it.
          f.fileHandle.close();
          // The job's own callback and path are taken now, so a job started from the callback
          // cannot be confused with this one.
          if (auto completion = std::exchange(f.convertBlock, nullptr)) {
            TZMainQueue::post(
                [weak = weak_from_this(), completion = std::move(completion), path = f.outputPath] {
                  const auto self = weak.lock();
                  if (self && !self->fields_->isStop) completion(&path, nullptr);
                });
          }
        }
      }
    }
    if (idle) {
      // Logged outside the lock: the log line may be appended to a file.
      TZLogManager::logLevel(1, "-[TZOpusEncoder encodeThread]", 65, "opus stream is empty");
      f.worker.wait();
      continue;
    }
    if (const auto chunk = f.stack.pop()) encodeChunk(*chunk);
  }
}

void TZOpusEncoder::encodeChunk(const TZBytes& chunk) {
  Fields& f = *fields_;
  const int32_t frameSize = opusFormat()->frameSize();
  int result = OPUS_BAD_ARG;
  if (frameSize > 0 && frameSize <= kMaxFrameSamples) {
    // Opus reads frameSize samples per channel, while the chunk holds frameSize bytes: the
    // chunk goes at the start of a zeroed frame, so the coder hears silence after it and
    // nothing past the chunk is read.
    f.samples.assign(static_cast<size_t>(frameSize) * static_cast<size_t>(f.coderChannels), 0);
    if (!chunk.empty())
      std::memcpy(f.samples.data(), chunk.data(),
                  std::min(chunk.size(), f.samples.size() * sizeof(opus_int16)));
    result = opus_encode(f.encoder, f.samples.data(), frameSize, f.packet.data(), kMaxPacketBytes);
  }
  if (result > 0) {
    auto packet = std::make_shared<const TZBytes>(f.packet.begin(), f.packet.begin() + result);
    if (f.isEncodeFile) f.fileHandle.append(packet->data(), packet->size());
    deliver(std::move(packet), nullptr);
    return;
  }
  // A library error code is reported like an empty result, with the code kept.
  TZLogManager::logLevel(4, "-[TZOpusEncoder encodeThread]", 99, "opus encode error:%d", result);
  deliver(nullptr, std::make_shared<const TZError>(TZError{"opus encode error", result, {}}));
}

void TZOpusEncoder::deliver(std::shared_ptr<const TZBytes> packet,
                            std::shared_ptr<const TZError> error) {
  if (delegate().expired()) return;
  // The task holds the encoder weakly and reads the delegate again when it runs: an encoder
  // that is gone or released, or a delegate that is gone, receives nothing.
  TZMainQueue::post(
      [weak = weak_from_this(), packet = std::move(packet), error = std::move(error)] {
        const auto self = weak.lock();
        if (!self || self->fields_->isStop) return;
        if (const auto target = self->delegate().lock())
          target->opusEncoder(*self, packet.get(), error.get());
      });
}

std::shared_ptr<TZOpusFormat> TZOpusEncoder::opusFormat() const {
  std::lock_guard<std::mutex> guard(fields_->mutex);
  return fields_->opusFormat;
}

void TZOpusEncoder::setOpusFormat(std::shared_ptr<TZOpusFormat> format) {
  if (!format) return;  // every chunk needs a format to read its frame size from
  std::lock_guard<std::mutex> guard(fields_->mutex);
  fields_->opusFormat = std::move(format);
}

std::weak_ptr<TZOpusEncoderDelegate> TZOpusEncoder::delegate() const {
  std::lock_guard<std::mutex> guard(fields_->mutex);
  return fields_->delegate;
}

void TZOpusEncoder::setDelegate(std::weak_ptr<TZOpusEncoderDelegate> delegate) {
  std::lock_guard<std::mutex> guard(fields_->mutex);
  fields_->delegate = std::move(delegate);
}

bool TZOpusEncoder::waitUntilIdle(std::chrono::milliseconds timeout) {
  return fields_->worker.waitUntilIdle(timeout);
}
