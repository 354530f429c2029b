// Every codec class under thread stress, once per kind of host. Each seeded round makes three
// Opus encoders, three Opus decoders, three Speex decoders and one WTG conversion service,
// feeds them real and garbage input and changes them from three threads while two others
// release (some objects release themselves from inside a delegate call) and destroy them in
// random order, their deliveries still waiting on the main queue. Meant for ThreadSanitizer and
// AddressSanitizer (LeakSanitizer on) as much as for its checks: nothing reaches an object after
// its release, every delivery keeps its class's contract, and a host that never drains the main
// queue is left holding nothing once the objects are gone.
//
// Soak: with KESTRUNE_SOAK_SECONDS set, each host runs rounds for that long instead and prints
// the process's peak and current resident memory after the first minute and at the end; over a
// long run both must stay flat. E.g. KESTRUNE_SOAK_SECONDS=600 lifecycle_tests
// --gtest_filter='*EventLoop'
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <random>
#include <thread>

#include "kestrune/TZLogManager.h"
#include "kestrune/TZOpusRecords.h"
#include "kestrune/TZPcmToWtg.h"
#include "tests/opus/opus_test_support.h"
#include "tests/speex/speex_test_support.h"

#if defined(__SANITIZE_ADDRESS__)
// Leaks fail the run even where LeakSanitizer is not on by default.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=1";
}
#endif

namespace {

using namespace std::chrono_literals;

// Sanitized builds run several times slower on the shared two cores.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr uint32_t kRounds = 45;
#else
constexpr uint32_t kRounds = 150;
#endif
constexpr size_t kChunkBytes = 640;       // 20 ms of 16 kHz mono PCM
constexpr size_t kSpeexBlockBytes = 216;  // marker, length, five 42-byte frames
constexpr size_t kPacketCount = 24;

enum class Host {
  Draining,   // drains TZMainQueue on a thread of its own all along
  Silent,     // never drains it
  EventLoop,  // installs a dispatcher that forwards each task to its own event-loop thread
};
const char* const kHostNames[] = {"Draining", "Silent", "EventLoop"};

// The host's side of TZMainQueue for as long as it lives. Destroyed once every object it served
// is: the event loop then runs what is left and ends.
class HostRunner {
 public:
  explicit HostRunner(Host host) : host_(host) {
    if (host == Host::Draining)
      thread_ = std::thread([this] {
        while (!loop_->ended) TZMainQueue::runUntil([this] { return loop_->ended.load(); }, 20ms);
      });
    if (host != Host::EventLoop) return;
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
    // A post may still reach the dispatcher after it is removed: it keeps the loop alive.
    TZMainQueue::setDispatcher([loop = loop_](TZMainQueue::Task task) {
      std::lock_guard<std::mutex> guard(loop->mutex);
      loop->tasks.push_back(std::move(task));
      loop->posted.notify_one();
    });
  }
  ~HostRunner() {
    if (host_ == Host::EventLoop) TZMainQueue::setDispatcher({});
    {
      std::lock_guard<std::mutex> guard(loop_->mutex);
      loop_->ended = true;
    }
    loop_->posted.notify_one();
    if (thread_.joinable()) thread_.join();
  }

 private:
  struct Loop {
    std::mutex mutex;
    std::condition_variable posted;
    std::deque<TZMainQueue::Task> tasks;
    std::atomic<bool> ended{false};
  };
  Host host_;
  std::shared_ptr<Loop> loop_ = std::make_shared<Loop>();
  std::thread thread_;
};

// Real input: speech, its 20 ms Opus packets made with libopus, its Speex blocks.
struct Materials {
  TZBytes speech = opus_test::speech(SIZE_MAX);
  TZBytes speech8k = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-8k.pcm");
  TZBytes blocks = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.spx-framed");
  std::vector<TZBytes> packets = opus_test::speechPackets(kPacketCount);
};

const Materials& materials() {
  static const Materials instance;
  return instance;
}

struct Counters {
  std::atomic<int64_t> deliveries{0};
  std::atomic<int64_t> late{0};       // calls that reached an object after its release
  std::atomic<int64_t> malformed{0};  // deliveries that break their class's contract
};

// One object's delegate: counts what arrives, checks it against the class's contract and flags
// anything that arrives once the object's release has returned. Some release their object from
// inside a delivery.
class Delegate : public TZOpusEncoderDelegate,
                 public TZOpusDecoderDelegate,
                 public TZSpeexDelegate,
                 public TZPcmToWtgDelegate {
 public:
  Delegate(std::shared_ptr<Counters> counters, bool releasesInCall)
      : counters_(std::move(counters)), releasesInCall_(releasesInCall) {}

  void opusEncoder(TZOpusEncoder& encoder, const TZBytes* data, const TZError* error) override {
    arrive(oneOf(data, error) && (!data || !data->empty()), encoder, &TZOpusEncoder::opusOnRelease);
  }
  void opusDecoder(TZOpusDecoder& decoder, const TZBytes* data, const TZError* error) override {
    arrive(oneOf(data, error) && (!data || data->size() % 2 == 0), decoder,
           &TZOpusDecoder::opusOnRelease);
  }
  void speexDecoder(TZSpeexDecoder& decoder, const TZBytes* data, const TZError* error) override {
    arrive(data && !error && data->size() == speex_test::kFrameBytes, decoder,
           &TZSpeexDecoder::speexOnRelease);
  }
  void convertPcmToWtgDone(std::shared_ptr<TZPcm2WtgModel> model) override {
    arrive(model && model->wtgPath().ends_with(".wtg"));
  }
  // A file job's completion: the output path, never an error (every input exists).
  void completed(const std::string* path, const TZError* error) { arrive(path && !error); }

  std::atomic<bool> released{false};

 private:
  static bool oneOf(const TZBytes* data, const TZError* error) { return !data != !error; }
  void arrive(bool wellFormed) {
    ++counters_->deliveries;
    if (released) ++counters_->late;
    if (!wellFormed) ++counters_->malformed;
  }
  template <class Codec>
  void arrive(bool wellFormed, Codec& codec, void (Codec::*release)()) {
    arrive(wellFormed);
    if (!releasesInCall_) return;
    (codec.*release)();
    released = true;
  }

  std::shared_ptr<Counters> counters_;
  bool releasesInCall_;
};

struct Files {
  std::string pcm, records, speex, pcm8k;
};

// One object of the round and what the threads do with it.
struct Slot {
  std::shared_ptr<Delegate> delegate;
  std::string output;
  std::mutex mutex;  // guards object, the round's own reference: dropping it destroys
  std::shared_ptr<void> object;
  std::mutex feeding;                             // Speex input takes one caller at a time
  std::function<void(void*, std::mt19937&)> act;  // a feeder's random action
  std::function<void(void*)> release;             // the class's release; none for the service

  std::shared_ptr<void> take() {
    std::lock_guard<std::mutex> guard(mutex);
    return object;
  }
};

TZBytes randomBytes(std::mt19937& rng, size_t size) {
  TZBytes bytes(size);
  for (auto& byte : bytes) byte = static_cast<uint8_t>(rng());
  return bytes;
}

// size bytes of input from a random multiple of size.
TZBytes pieceOf(const TZBytes& input, size_t size, std::mt19937& rng) {
  const size_t at = rng() % (input.size() / size) * size;
  return TZBytes(input.begin() + at, input.begin() + at + size);
}

TZBytes realRecords(std::mt19937& rng) {
  const auto& packets = materials().packets;
  const size_t first = rng() % (kPacketCount - 4);
  return TZOpusFrameRecords({packets.begin() + first, packets.begin() + first + 1 + rng() % 4});
}

// Stray bytes, then a block whose length field reads as 42 and whose frames are noise.
TZBytes garbageBlock(std::mt19937& rng) {
  TZBytes stream = randomBytes(rng, rng() % 100);
  const std::vector<TZBytes> frames(kTZSpeexFramesPerBlock, randomBytes(rng, 42));
  TZSpeexFramedEncoder::appendBlock(stream, 200, frames);
  return stream;
}

enum class Kind { Encoder, Decoder, Speex, Service };

// Creates the slot's object of kind with what a feeder does to it: mostly real input, else
// garbage, a delegate swap, a change of format or a file job.
void fill(Slot& slot, Kind kind, const Files& files) {
  const auto done = [delegate = slot.delegate](const std::string* path, const TZError* error) {
    delegate->completed(path, error);
  };
  const auto swap = [&slot](auto& codec, std::mt19937& rng) {
    codec.setDelegate(rng() % 2 ? slot.delegate : std::shared_ptr<Delegate>());
  };
  const Materials& input = materials();
  switch (kind) {
    case Kind::Encoder:
      slot.object = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
      static_cast<TZOpusEncoder*>(slot.object.get())->setDelegate(slot.delegate);
      slot.act = [&, done, swap](void* object, std::mt19937& rng) {
        auto& encoder = *static_cast<TZOpusEncoder*>(object);
        const unsigned choice = rng() % 10;
        if (choice < 6) encoder.opusEncodeData(pieceOf(input.speech, kChunkBytes, rng));
        if (choice == 6) encoder.opusEncodeData(randomBytes(rng, rng() % 701));
        if (choice == 7) swap(encoder, rng);
        if (choice == 8) encoder.opusFormat()->setFrameDuration(rng() % 2 ? 10 : 20);
        if (choice == 9) encoder.opusEncodeFile(files.pcm, &slot.output, done);
      };
      slot.release = [](void* object) { static_cast<TZOpusEncoder*>(object)->opusOnRelease(); };
      return;
    case Kind::Decoder:
      slot.object = TZOpusDecoder::initDecoder(TZOpusFormat::defaultFormats(), slot.delegate);
      slot.act = [&, done, swap](void* object, std::mt19937& rng) {
        auto& decoder = *static_cast<TZOpusDecoder*>(object);
        const unsigned choice = rng() % 10;
        if (choice < 6) decoder.opusDecoderInputData(realRecords(rng));
        if (choice == 6)
          decoder.opusDecoderInputData(TZOpusFrameRecords({randomBytes(rng, 1 + rng() % 80)}));
        if (choice == 7) swap(decoder, rng);
        if (choice == 8) decoder.resetOpusFramet(TZOpusFormat::defaultFormats());
        if (choice == 9) decoder.opusDecodeFile(files.records, &slot.output, done);
      };
      slot.release = [](void* object) { static_cast<TZOpusDecoder*>(object)->opusOnRelease(); };
      return;
    case Kind::Speex:
      slot.object = TZSpeexDecoder::initWithDelegate(slot.delegate);
      slot.act = [&, done, swap](void* object, std::mt19937& rng) {
        auto& decoder = *static_cast<TZSpeexDecoder*>(object);
        const unsigned choice = rng() % 10;
        std::lock_guard<std::mutex> guard(slot.feeding);
        if (choice < 6 || choice == 9)
          decoder.speexInputData(pieceOf(input.blocks, kSpeexBlockBytes, rng));
        if (choice == 6) decoder.speexInputData(garbageBlock(rng));
        if (choice == 7) swap(decoder, rng);
        if (choice == 8) decoder.speexConvertToPcm(files.speex, &slot.output, done);
      };
      slot.release = [](void* object) { static_cast<TZSpeexDecoder*>(object)->speexOnRelease(); };
      return;
    case Kind::Service:
      slot.object = TZPcmToWtg::initWithDelegate(slot.delegate);
      slot.act = [&](void* object, std::mt19937&) {
        static_cast<TZPcmToWtg*>(object)->convertPcmToWtg(
            std::make_shared<TZPcm2WtgModel>(files.pcm8k, slot.output));
      };
  }
}

// One round; returns once every object is destroyed. Its files go to folder.
void runRound(uint32_t seed, const std::string& folder, const std::shared_ptr<Counters>& counters) {
  const Materials& input = materials();
  const Files files{folder + "/speech.pcm", folder + "/speech.opus", folder + "/speech.spx",
                    folder + "/speech-8k.pcm"};
  writeFile(files.pcm, TZBytes(input.speech.begin(), input.speech.begin() + 10 * kChunkBytes));
  writeFile(files.records, TZOpusFrameRecords(input.packets));
  writeFile(files.speex,
            TZBytes(input.blocks.begin(), input.blocks.begin() + 3 * kSpeexBlockBytes));
  writeFile(files.pcm8k, TZBytes(input.speech8k.begin(), input.speech8k.begin() + 3200));

  std::mt19937 rng(seed);
  // One conversion service at a time in the process: the speech codec's state is shared.
  std::vector<std::unique_ptr<Slot>> slots;
  using enum Kind;
  for (const Kind kind :
       {Encoder, Encoder, Encoder, Decoder, Decoder, Decoder, Speex, Speex, Speex, Service}) {
    auto& slot = *slots.emplace_back(std::make_unique<Slot>());
    slot.delegate = std::make_shared<Delegate>(counters, rng() % 8 == 0);
    slot.output =
        folder + "/out-" + std::to_string(slots.size()) + (kind == Service ? ".wtg" : ".bin");
    fill(slot, kind, files);
  }

  std::vector<std::thread> threads;
  for (int feeder = 0; feeder < 3; ++feeder)
    threads.emplace_back([&, seed = rng()] {
      std::mt19937 own(seed);
      for (int action = 0; action < 12; ++action) {
        Slot& slot = *slots[own() % slots.size()];
        if (const auto object = slot.take()) slot.act(object.get(), own);
      }
    });
  // Each releaser goes through every slot in an order of its own, releasing most objects and
  // dropping the round's reference.
  for (int releaser = 0; releaser < 2; ++releaser)
    threads.emplace_back([&, seed = rng()] {
      std::mt19937 own(seed);
      std::vector<Slot*> order;
      for (auto& slot : slots) order.push_back(slot.get());
      std::shuffle(order.begin(), order.end(), own);
      for (Slot* slot : order) {
        std::this_thread::sleep_for(std::chrono::microseconds(own() % 400));
        if (const auto object = slot->take(); object && slot->release && own() % 4 != 0) {
          slot->release(object.get());
          slot->delegate->released = true;
        }
        std::lock_guard<std::mutex> guard(slot->mutex);
        slot->object.reset();
      }
    });
  for (auto& thread : threads) thread.join();
}

// VmHWM and VmRSS from /proc/self/status, and the bytes malloc has handed out and not had back
// (RSS growing while these stay flat is the allocator's free space, not a leak).
void printMemory(const char* when, double seconds, uint32_t rounds) {
  const std::string status = readTextFile("/proc/self/status");
  const auto field = [&](const char* name) {
    const size_t at = status.find(name) + 6;
    return status.substr(at, status.find('\n', at) - at);
  };
  std::printf("%-6s %7.1f s %6u rounds  VmHWM %s  VmRSS %s  in use %zu kB\n", when, seconds, rounds,
              field("VmHWM:").c_str(), field("VmRSS:").c_str(), mallinfo2().uordblks / 1024);
  std::fflush(stdout);
}

class CodecStress : public ::testing::TestWithParam<Host> {
 protected:
  void SetUp() override {
    TZLogManager::setLog(false, false, 1);  // thousands of objects' lines
    TZMainQueue::runPending();
  }
  void TearDown() override { TZLogManager::setLog(true, false, 1); }
  TempDocuments documents_;
};

TEST_P(CodecStress, FeedingReleaseAndDestructionFromManyThreads) {
  const char* soak = std::getenv("KESTRUNE_SOAK_SECONDS");
  const double seconds = soak ? std::atof(soak) : 0;
  const auto start = std::chrono::steady_clock::now();
  const auto elapsed = [&] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  auto counters = std::make_shared<Counters>();
  {
    HostRunner host(GetParam());
    bool baseline = false;
    uint32_t round = 0;
    while (soak ? elapsed() < seconds : round < kRounds) {
      runRound(round++, documents_.path(), counters);
      if (soak && !baseline && elapsed() >= std::min(60.0, seconds / 2)) {
        printMemory("start", elapsed(), round);
        baseline = true;
      }
    }
    if (soak) printMemory("end", elapsed(), round);
    // Every object is destroyed: none of their deliveries is left waiting.
    EXPECT_EQ(TZMainQueue::pendingCount(), 0u);
  }
  EXPECT_EQ(counters->late, 0);
  EXPECT_EQ(counters->malformed, 0);
  if (GetParam() == Host::Silent)
    EXPECT_EQ(counters->deliveries, 0);
  else
    EXPECT_GT(counters->deliveries, 0);
}

INSTANTIATE_TEST_SUITE_P(Hosts, CodecStress,
                         ::testing::Values(Host::Draining, Host::Silent, Host::EventLoop),
                         [](const auto& info) { return kHostNames[int(info.param)]; });

}  // namespace
