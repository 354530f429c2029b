#include "tests/lifecycle/codec_stress.h"

#include <opus.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <vector>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZOpusEncoder.h"
#include "kestrune/TZOpusRecords.h"
#include "kestrune/TZPcmToWtg.h"
#include "kestrune/TZSpeexDecoder.h"
#include "speex/TZSpeexFramedEncoder.h"
#include "tests/support/test_files.h"

namespace {

using namespace std::chrono_literals;

constexpr size_t kChunkBytes = 640;       // 20 ms of 16 kHz mono PCM
constexpr size_t kSpeexBlockBytes = 216;  // marker, length, five 42-byte frames
constexpr size_t kPacketCount = 24;

// Real input: speech, its 20 ms Opus packets made with libopus, its Speex blocks.
struct Materials {
  TZBytes speech = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.pcm");
  TZBytes speech8k = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-8k.pcm");
  TZBytes blocks = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.spx-framed");
  std::vector<TZBytes> packets;

  Materials() {
    int error = 0;
    OpusEncoder* encoder = opus_encoder_create(16000, 1, OPUS_APPLICATION_AUDIO, &error);
    unsigned char packet[4000];
    for (size_t i = 0; i < kPacketCount; ++i) {
      const auto* pcm = reinterpret_cast<const opus_int16*>(speech.data() + i * kChunkBytes);
      const int length = opus_encode(encoder, pcm, kChunkBytes / 2, packet, sizeof packet);
      packets.emplace_back(packet, packet + std::max(length, 0));
    }
    opus_encoder_destroy(encoder);
  }
};

const Materials& materials() {
  static const Materials instance;
  return instance;
}

struct Counters {
  std::atomic<int64_t> deliveries{0};
  std::atomic<int64_t> late{0};
  std::atomic<int64_t> malformed{0};
};

// One object's delegate. It counts what arrives, checks it against the class's contract and
// flags anything that arrives once the object's release has returned. Some release their
// object from inside a delivery.
class StressDelegate : public TZOpusEncoderDelegate,
                       public TZOpusDecoderDelegate,
                       public TZSpeexDelegate,
                       public TZPcmToWtgDelegate {
 public:
  StressDelegate(std::shared_ptr<Counters> counters, bool releasesInCallback)
      : counters_(std::move(counters)), releasesInCallback_(releasesInCallback) {}

  void opusEncoder(TZOpusEncoder& encoder, const TZBytes* data, const TZError* error) override {
    arrive((data == nullptr) != (error == nullptr) && (data == nullptr || !data->empty()));
    if (releasesInCallback_) {
      encoder.opusOnRelease();
      released();
    }
  }
  void opusDecoder(TZOpusDecoder& decoder, const TZBytes* data, const TZError* error) override {
    arrive((data == nullptr) != (error == nullptr) && (data == nullptr || data->size() % 2 == 0));
    if (releasesInCallback_) {
      decoder.opusOnRelease();
      released();
    }
  }
  void speexDecoder(TZSpeexDecoder& decoder, const TZBytes* data, const TZError* error) override {
    arrive(data != nullptr && error == nullptr && data->size() == 640);
    if (releasesInCallback_) {
      decoder.speexOnRelease();
      released();
    }
  }
  void convertPcmToWtgDone(std::shared_ptr<TZPcm2WtgModel> model) override {
    arrive(model != nullptr && model->wtgPath().ends_with(".wtg"));
  }
  // A file job's completion: the output path, never an error (every input exists).
  void completed(const std::string* path, const TZError* error) {
    arrive(path != nullptr && error == nullptr);
  }

  void released() { released_ = true; }

 private:
  void arrive(bool wellFormed) {
    ++counters_->deliveries;
    if (released_) ++counters_->late;
    if (!wellFormed) ++counters_->malformed;
  }

  std::shared_ptr<Counters> counters_;
  bool releasesInCallback_;
  std::atomic<bool> released_{false};
};

enum class Kind { Encoder, Decoder, Speex, Service };

struct Slot {
  Kind kind;
  std::shared_ptr<StressDelegate> delegate;
  std::string output;
  std::mutex mutex;  // guards object, the round's own reference: dropping it destroys
  std::shared_ptr<void> object;
  std::mutex feeding;  // Speex input takes one caller at a time

  std::shared_ptr<void> take() {
    std::lock_guard<std::mutex> guard(mutex);
    return object;
  }
};

struct Files {
  std::string pcm, records, speex, pcm8k;
};

TZBytes randomBytes(std::mt19937& rng, size_t size) {
  TZBytes bytes(size);
  for (auto& byte : bytes) byte = static_cast<uint8_t>(rng());
  return bytes;
}

TZBytes realPcm(std::mt19937& rng) {
  const TZBytes& speech = materials().speech;
  const size_t at = rng() % (speech.size() / kChunkBytes - 1) * kChunkBytes;
  return TZBytes(speech.begin() + at, speech.begin() + at + kChunkBytes);
}

TZBytes realRecords(std::mt19937& rng) {
  const auto& packets = materials().packets;
  const size_t first = rng() % (kPacketCount - 4);
  return TZOpusFrameRecords({packets.begin() + first, packets.begin() + first + 1 + rng() % 4});
}

TZBytes realBlock(std::mt19937& rng) {
  const TZBytes& blocks = materials().blocks;
  const size_t at = rng() % (blocks.size() / kSpeexBlockBytes) * kSpeexBlockBytes;
  return TZBytes(blocks.begin() + at, blocks.begin() + at + kSpeexBlockBytes);
}

// Stray bytes, then a block whose length field reads as 42 and whose frames are noise.
TZBytes garbageBlock(std::mt19937& rng) {
  TZBytes stream = randomBytes(rng, rng() % 100);
  const std::vector<TZBytes> frames(kTZSpeexFramesPerBlock, randomBytes(rng, 42));
  TZSpeexFramedEncoder::appendBlock(stream, 200, frames);
  return stream;
}

void act(Slot& slot, const std::shared_ptr<void>& object, const Files& files, std::mt19937& rng) {
  const unsigned choice = rng() % 10;
  const auto completion = [delegate = slot.delegate](const std::string* path,
                                                     const TZError* error) {
    delegate->completed(path, error);
  };
  switch (slot.kind) {
    case Kind::Encoder: {
      auto& encoder = *std::static_pointer_cast<TZOpusEncoder>(object);
      if (choice < 6) encoder.opusEncodeData(realPcm(rng));
      if (choice == 6) encoder.opusEncodeData(randomBytes(rng, rng() % 701));
      if (choice == 7)
        encoder.setDelegate(rng() % 2 ? slot.delegate : std::shared_ptr<StressDelegate>());
      if (choice == 8) encoder.opusFormat()->setFrameDuration(rng() % 2 ? 10 : 20);
      if (choice == 9) encoder.opusEncodeFile(files.pcm, &slot.output, completion);
      return;
    }
    case Kind::Decoder: {
      auto& decoder = *std::static_pointer_cast<TZOpusDecoder>(object);
      if (choice < 6) decoder.opusDecoderInputData(realRecords(rng));
      if (choice == 6)
        decoder.opusDecoderInputData(TZOpusFrameRecords({randomBytes(rng, 1 + rng() % 80)}));
      if (choice == 7)
        decoder.setDelegate(rng() % 2 ? slot.delegate : std::shared_ptr<StressDelegate>());
      if (choice == 8) decoder.resetOpusFramet(TZOpusFormat::defaultFormats());
      if (choice == 9) decoder.opusDecodeFile(files.records, &slot.output, completion);
      return;
    }
    case Kind::Speex: {
      auto& decoder = *std::static_pointer_cast<TZSpeexDecoder>(object);
      std::lock_guard<std::mutex> guard(slot.feeding);
      if (choice < 6 || choice == 9) decoder.speexInputData(realBlock(rng));
      if (choice == 6) decoder.speexInputData(garbageBlock(rng));
      if (choice == 7)
        decoder.setDelegate(rng() % 2 ? slot.delegate : std::shared_ptr<StressDelegate>());
      if (choice == 8) decoder.speexConvertToPcm(files.speex, &slot.output, completion);
      return;
    }
    case Kind::Service:
      std::static_pointer_cast<TZPcmToWtg>(object)->convertPcmToWtg(
          std::make_shared<TZPcm2WtgModel>(files.pcm8k, slot.output));
      return;
  }
}

// Releases (codecs, mostly) and drops the round's reference of every slot in a random order.
void releaseAll(std::vector<std::unique_ptr<Slot>>& slots, std::mt19937& rng) {
  std::vector<size_t> order(slots.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::shuffle(order.begin(), order.end(), rng);
  for (const size_t index : order) {
    std::this_thread::sleep_for(std::chrono::microseconds(rng() % 400));
    Slot& slot = *slots[index];
    if (const auto object = slot.take(); object && rng() % 4 != 0) {
      if (slot.kind == Kind::Encoder)
        std::static_pointer_cast<TZOpusEncoder>(object)->opusOnRelease();
      if (slot.kind == Kind::Decoder)
        std::static_pointer_cast<TZOpusDecoder>(object)->opusOnRelease();
      if (slot.kind == Kind::Speex)
        std::static_pointer_cast<TZSpeexDecoder>(object)->speexOnRelease();
      if (slot.kind != Kind::Service) slot.delegate->released();
    }
    std::lock_guard<std::mutex> guard(slot.mutex);
    slot.object.reset();
  }
}

std::shared_ptr<void> create(Slot& slot) {
  switch (slot.kind) {
    case Kind::Encoder: {
      auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
      encoder->setDelegate(slot.delegate);
      return encoder;
    }
    case Kind::Decoder:
      return TZOpusDecoder::initDecoder(TZOpusFormat::defaultFormats(), slot.delegate);
    case Kind::Speex:
      return TZSpeexDecoder::initWithDelegate(slot.delegate);
    case Kind::Service:
      return TZPcmToWtg::initWithDelegate(slot.delegate);
  }
  return nullptr;
}

}  // namespace

StressHostRunner::StressHostRunner(StressHost host) : host_(host) {
  if (host_ == StressHost::Draining)
    thread_ = std::thread([this] {
      while (!stop_) TZMainQueue::runUntil([this] { return stop_.load(); }, 20ms);
    });
  if (host_ == StressHost::EventLoop) {
    thread_ = std::thread([loop = loop_] {
      std::unique_lock<std::mutex> lock(loop->mutex);
      for (;;) {
        loop->posted.wait(lock, [&] { return loop->ended || !loop->tasks.empty(); });
        if (loop->tasks.empty()) return;
        auto task = std::move(loop->tasks.front());
        loop->tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
      }
    });
    TZMainQueue::setDispatcher([loop = loop_](TZMainQueue::Task task) {
      std::lock_guard<std::mutex> guard(loop->mutex);
      loop->tasks.push_back(std::move(task));
      loop->posted.notify_one();
    });
  }
}

StressHostRunner::~StressHostRunner() {
  if (host_ == StressHost::EventLoop) {
    TZMainQueue::setDispatcher({});
    std::lock_guard<std::mutex> guard(loop_->mutex);
    loop_->ended = true;
    loop_->posted.notify_one();
  }
  stop_ = true;
  if (thread_.joinable()) thread_.join();
}

StressReport runStressRound(uint32_t seed, const std::string& folder) {
  const Materials& input = materials();
  const Files files{folder + "/speech.pcm", folder + "/speech.opus", folder + "/speech.spx",
                    folder + "/speech-8k.pcm"};
  writeFile(files.pcm, TZBytes(input.speech.begin(), input.speech.begin() + 10 * kChunkBytes));
  writeFile(files.records, TZOpusFrameRecords(input.packets));
  writeFile(files.speex,
            TZBytes(input.blocks.begin(), input.blocks.begin() + 3 * kSpeexBlockBytes));
  writeFile(files.pcm8k, TZBytes(input.speech8k.begin(), input.speech8k.begin() + 3200));

  std::mt19937 rng(seed);
  auto counters = std::make_shared<Counters>();
  // One conversion service at a time in the process: the speech codec's state is shared.
  const Kind kinds[] = {Kind::Encoder, Kind::Encoder, Kind::Encoder, Kind::Decoder, Kind::Decoder,
                        Kind::Decoder, Kind::Speex,   Kind::Speex,   Kind::Speex,   Kind::Service};
  std::vector<std::unique_ptr<Slot>> slots;
  for (const Kind kind : kinds) {
    auto& slot = *slots.emplace_back(std::make_unique<Slot>());
    slot.kind = kind;
    slot.delegate = std::make_shared<StressDelegate>(counters, rng() % 8 == 0);
    slot.output =
        folder + "/out-" + std::to_string(slots.size()) + (kind == Kind::Service ? ".wtg" : ".bin");
    slot.object = create(slot);
  }

  std::vector<std::thread> threads;
  for (uint32_t feeder = 0; feeder < 3; ++feeder)
    threads.emplace_back([&, seed = rng()] {
      std::mt19937 own(seed);
      for (int action = 0; action < 12; ++action) {
        Slot& slot = *slots[own() % slots.size()];
        if (const auto object = slot.take()) act(slot, object, files, own);
      }
    });
  for (int releaser = 0; releaser < 2; ++releaser)
    threads.emplace_back([&, seed = rng()] {
      std::mt19937 own(seed);
      releaseAll(slots, own);
    });
  for (auto& thread : threads) thread.join();
  return {counters->deliveries, counters->late, counters->malformed};
}
