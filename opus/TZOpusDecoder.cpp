#include "kestrune/TZOpusDecoder.h"

#include <opus.h>

#include <algorithm>
#include <atomic>
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
#include "opus/TZOpusFraming.h"

namespace {

// Samples per channel asked of every opus_decode call.
constexpr int kDecodeFrameSamples = 96000;
constexpr const char* kMissingFile = "opus file is not exist.";

}  // namespace

struct TZOpusDecoder::Fields {
  TZWorker worker;
  TZThreadSafeStack stack;  // Opus packets waiting for the worker
  std::atomic<bool> isStop{false};
  std::atomic<bool> isDecodeFile{false};
  TZOutputFile fileHandle;
  std::mutex lifecycle;  // serialises release and destruction

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
};

TZOpusDecoder::TZOpusDecoder(std::unique_ptr<Fields> fields) : fields_(std::move(fields)) {}

TZOpusDecoder::~TZOpusDecoder() {
  TZLogManager::logLevel(1, "-[TZOpusDecoder dealloc]", 194, "TZOpusDecoder dealloc:%s",
                         TZDescribe("TZOpusDecoder", this).c_str());
  stopWorker();
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
  auto fields = std::make_unique<Fields>();
  fields->decoder = coder;
  fields->coderChannels = format->channels();
  fields->opusFormat = std::move(format);
  fields->delegate = std::move(delegate);
  fields->outputPath = TZPlatform::documentsPath("opusToPcm.pcm");
  std::shared_ptr<TZOpusDecoder> decoder(new TZOpusDecoder(std::move(fields)));
  // The worker refers to its decoder by a plain pointer, never owning it: destruction joins
  // the worker before anything it uses goes away.
  decoder->fields_->worker.start([raw = decoder.get()] { raw->decodeThread(); });
  return decoder;
}

void TZOpusDecoder::opusDecoderInputData(std::span<const uint8_t> data) {
  std::unique_lock<std::mutex> lock(fields_->mutex);
  if (fields_->isStop) return;  // a released decoder has no worker left to drain the queue
  queuePackets(std::move(lock), data);
}

void TZOpusDecoder::queuePackets(std::unique_lock<std::mutex> lock, std::span<const uint8_t> data) {
  Fields& f = *fields_;
  f.opusData.insert(f.opusData.end(), data.begin(), data.end());
  TZOpusCutRecords(f.opusData, *f.opusFormat, [&f](TZBytes&& packet) {
    f.stack.push(std::make_shared<TZBytes>(std::move(packet)));
  });
  const bool queued = !f.stack.isEmpty();
  lock.unlock();
  if (queued) f.worker.signal();
}

void TZOpusDecoder::opusDecodeFile(const std::string& path, const std::string* outPut,
                                   TZCompletion Resoult) {
  Fields& f = *fields_;
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
  std::unique_lock<std::mutex> lock(f.mutex);
  if (f.isStop) return;
  if (outPut != nullptr) f.outputPath = *outPut;
  f.fileHandle.restart(f.outputPath);
  f.isDecodeFile = true;
  // Queued under the lock in which the worker decides that a job has ended, so a worker that
  // is already awake cannot find the queue empty half-way through the file.
  queuePackets(std::move(lock), *records);
}

void TZOpusDecoder::resetOpusFramet(std::shared_ptr<TZOpusFormat> format) {
  Fields& f = *fields_;
  if (!format) {  // nothing to create a coder from; the decoder stays as it is
    TZLogManager::logLevel(4, "-[TZOpusDecoder resetOpusFramet:]", 134,
                           "opus_decoder_create error:%s", opus_strerror(OPUS_BAD_ARG));
    return;
  }
  {
    std::lock_guard<std::mutex> guard(f.mutex);
    f.opusFormat = format;
    f.stack.clear();
    f.isDecodeFile = false;  // the job ends; its file stays open until the next job or release
  }
  std::lock_guard<std::mutex> coderGuard(f.coderMutex);
  if (f.decoder != nullptr) opus_decoder_destroy(f.decoder);
  int error = OPUS_OK;
  f.decoder = opus_decoder_create(format->sampleRate(), format->channels(), &error);
  f.coderChannels = format->channels();
  if (error != OPUS_OK) {
    TZLogManager::logLevel(4, "-[TZOpusDecoder resetOpusFramet:]", 134,
                           "opus_decoder_create error:%s", opus_strerror(error));
    f.decoder = nullptr;
  }
}

void TZOpusDecoder::opusOnRelease() {
  stopWorker();
  TZLogManager::logLevel(1, "-[TZOpusDecoder opusOnRelease]", 190, "TZOpusDecoder release:%s",
                         TZDescribe("TZOpusDecoder", this).c_str());
}

void TZOpusDecoder::stopWorker() {
  Fields& f = *fields_;
  std::lock_guard<std::mutex> lifecycle(f.lifecycle);
  f.isStop = true;
  {
    std::lock_guard<std::mutex> guard(f.mutex);
    f.opusData = TZBytes();
    f.stack.clear();
  }
  // Joined before the coder is freed, so no pass can use a freed coder.
  f.worker.wakeAndJoin();
  {
    std::lock_guard<std::mutex> coderGuard(f.coderMutex);
    if (f.decoder != nullptr) opus_decoder_destroy(f.decoder);
    f.decoder = nullptr;
  }
  f.fileHandle.close();
}

void TZOpusDecoder::decodeThread() {
  Fields& f = *fields_;
  while (!f.isStop) {
    bool idle = false;
    {
      std::lock_guard<std::mutex> guard(f.mutex);
      idle = f.stack.isEmpty();
      // A decoding job has no completion to call: its end is its output file being closed.
      if (idle && f.isDecodeFile.exchange(false)) f.fileHandle.close();
    }
    // After a wake-up the same pass goes straight on to take a packet.
    if (idle) f.worker.wait();
    if (const auto packet = f.stack.pop()) decodePacket(*packet);
  }
}

void TZOpusDecoder::decodePacket(const TZBytes& packet) {
  Fields& f = *fields_;
  const int32_t channels = opusFormat()->channels();
  int result = OPUS_INVALID_STATE;  // what a decoder left without a coder reports
  size_t decodedSamples = 0;
  {
    std::lock_guard<std::mutex> coderGuard(f.coderMutex);
    if (f.decoder != nullptr) {
      // Room for the largest result whatever the format says now: an empty packet is a lost
      // one, which Opus conceals over all 96000 samples per channel it is asked for.
      const auto width = static_cast<size_t>(std::max({channels, f.coderChannels, 1}));
      if (f.samples.size() < width * kDecodeFrameSamples)
        f.samples.resize(width * kDecodeFrameSamples);
      // The length goes to Opus truncated to 16 bits: a packet of 32768 bytes or more is
      // passed with a wrong length, which Opus refuses or reads short.
      const auto length = static_cast<int16_t>(packet.size());
      result =
          opus_decode(f.decoder, packet.data(), length, f.samples.data(), kDecodeFrameSamples, 0);
      if (result > 0)
        decodedSamples = static_cast<size_t>(result) * static_cast<size_t>(f.coderChannels);
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
    std::fill(f.samples.begin() + static_cast<std::ptrdiff_t>(decodedSamples),
              f.samples.begin() + static_cast<std::ptrdiff_t>(sampleCount), 0);
  const auto* bytes = reinterpret_cast<const uint8_t*>(f.samples.data());
  auto pcm = std::make_shared<const TZBytes>(bytes, bytes + sampleCount * sizeof(opus_int16));
  if (f.isDecodeFile) f.fileHandle.append(pcm->data(), pcm->size());
  deliver(std::move(pcm), nullptr);
}

void TZOpusDecoder::deliver(std::shared_ptr<const TZBytes> pcm,
                            std::shared_ptr<const TZError> error) {
  if (delegate().expired()) return;
  // The task holds the decoder weakly and reads the delegate again when it runs: a decoder
  // that is gone or released, or a delegate that is gone, receives nothing.
  TZMainQueue::post([weak = weak_from_this(), pcm = std::move(pcm), error = std::move(error)] {
    const auto self = weak.lock();
    if (!self || self->fields_->isStop) return;
    if (const auto target = self->delegate().lock())
      target->opusDecoder(*self, pcm.get(), error.get());
  });
}

std::shared_ptr<TZOpusFormat> TZOpusDecoder::opusFormat() const {
  std::lock_guard<std::mutex> guard(fields_->mutex);
  return fields_->opusFormat;
}

void TZOpusDecoder::setOpusFormat(std::shared_ptr<TZOpusFormat> format) {
  if (!format) return;  // every cut and every packet needs a format to read
  std::lock_guard<std::mutex> guard(fields_->mutex);
  fields_->opusFormat = std::move(format);
}

std::weak_ptr<TZOpusDecoderDelegate> TZOpusDecoder::delegate() const {
  std::lock_guard<std::mutex> guard(fields_->mutex);
  return fields_->delegate;
}

void TZOpusDecoder::setDelegate(std::weak_ptr<TZOpusDecoderDelegate> delegate) {
  std::lock_guard<std::mutex> guard(fields_->mutex);
  fields_->delegate = std::move(delegate);
}

bool TZOpusDecoder::waitUntilIdle(std::chrono::milliseconds timeout) {
  return fields_->worker.waitUntilIdle(timeout);
}
