// Release and destruction of every codec class: from several threads at once while the worker
// is busy and deliveries wait on the main queue, and from inside a delegate callback. Meant
// for ThreadSanitizer and AddressSanitizer as much as for the checks themselves.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZOpusEncoder.h"
#include "kestrune/TZSpeexDecoder.h"
#include "opus/TZOpusFraming.h"
#include "speex/TZSpeexFramedEncoder.h"
#include "tests/support/test_files.h"

namespace {

using namespace std::chrono_literals;

// Counts deliveries of any class; `onDelivery` runs inside the callback.
struct Delegate : TZOpusEncoderDelegate, TZOpusDecoderDelegate, TZSpeexDelegate {
  std::atomic<int> calls{0};
  std::function<void()> onDelivery = [] {};
  void opusEncoder(TZOpusEncoder&, const TZBytes*, const TZError*) override { take(); }
  void opusDecoder(TZOpusDecoder&, const TZBytes*, const TZError*) override { take(); }
  void speexDecoder(TZSpeexDecoder&, const TZBytes*, const TZError*) override { take(); }
  void take() {
    ++calls;
    onDelivery();
  }
};

// One object of each class, fed enough work to keep its worker busy for a while.
struct Codec {
  std::shared_ptr<void> object;
  std::function<void()> release;
};

const TZBytes& speech() {
  static const TZBytes pcm = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.pcm");
  return pcm;
}

Codec makeCodec(int kind, const std::shared_ptr<Delegate>& delegate) {
  // Any packet bytes do: each gives PCM or a decode error, a delivery either way.
  static const TZBytes records = TZOpusFrameRecords(
      std::vector<TZBytes>(8, TZBytes(speech().begin() + 4000, speech().begin() + 4060)));
  static const TZBytes blocks =
      readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.spx-framed");
  switch (kind) {
    case 0: {
      auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
      encoder->setDelegate(delegate);
      encoder->opusEncodeData(std::span(speech()).first(320 * 2));
      return {encoder, [raw = encoder.get()] { raw->opusOnRelease(); }};
    }
    case 1: {
      auto format = TZOpusFormat::defaultFormats();
      format->setDataSize(9);
      auto decoder = TZOpusDecoder::initDecoder(format, delegate);
      decoder->opusDecoderInputData(records);
      return {decoder, [raw = decoder.get()] { raw->opusOnRelease(); }};
    }
    default: {
      auto decoder = TZSpeexDecoder::initWithDelegate(delegate);
      decoder->speexInputData(TZBytes(blocks.begin(), blocks.begin() + 216));
      return {decoder, [raw = decoder.get()] { raw->speexOnRelease(); }};
    }
  }
}

class CodecRelease : public ::testing::Test {
 protected:
  void SetUp() override { TZLogManager::setLog(false, false, 1); }  // 10,000 objects' lines
  void TearDown() override {
    TZMainQueue::runPending();
    TZLogManager::setLog(true, false, 1);
  }
  TempDocuments documents_;
};

TEST_F(CodecRelease, ConcurrentReleaseAndDestructionDeliverNothingAfterwards) {
  auto delegate = std::make_shared<Delegate>();
  for (int round = 0; round < 10000; ++round) {
    Codec codec = makeCodec(round % 3, delegate);
    // Two threads release while a third drops the last other reference: whichever lets go
    // last destroys the object, possibly while another still releases it.
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
      threads.emplace_back([codec] {
        codec.release();
        codec.release();
      });
    threads.emplace_back([object = std::move(codec.object)]() mutable { object.reset(); });
    codec = {};
    for (auto& thread : threads) thread.join();
    TZMainQueue::runPending();
    ASSERT_EQ(delegate->calls.load(), 0) << "round " << round;
  }
}

TEST_F(CodecRelease, ReleaseFromInsideADelegateCallback) {
  for (int kind = 0; kind < 3; ++kind) {
    auto delegate = std::make_shared<Delegate>();
    Codec codec = makeCodec(kind, delegate);
    // The first delivery releases the object and drops the host's reference to it; nothing
    // after it arrives, and destruction happens once that delivery returns.
    delegate->onDelivery = [&codec] {
      codec.release();
      codec = {};
    };
    const bool delivered =
        TZMainQueue::runUntil([&] { return delegate->calls > 0; }, std::chrono::seconds(30));
    ASSERT_TRUE(delivered) << "kind " << kind;
    TZMainQueue::runPending();
    EXPECT_EQ(delegate->calls.load(), 1) << "kind " << kind;
  }
}

}  // namespace
