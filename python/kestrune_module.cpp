// The Python module `kestrune`: the speech codec on numpy arrays and bytes, the Opus and Speex
// classes with their deliveries handed to Python callables, and file helpers that mirror the
// tool's commands on raw PCM. Coding runs with the GIL released; the GIL is taken again only
// to build results and to call Python.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZOpusEncoder.h"
#include "kestrune/TZSpeexDecoder.h"
#include "kestrune/g729_coder.h"
#include "kestrune/g729_decoder.h"
#include "kestrune/wtg_encode.h"

namespace py = pybind11;

namespace {

constexpr size_t kFrameSamples = 80;  // 10 ms at 8 kHz
constexpr size_t kFrameWords = 5;
constexpr size_t kFrameBytes = 10;
constexpr int kSpeechRate = 8000;
constexpr int kCoderMode = 1200;  // g729_coder_init's fixed second argument

// The speech codec keeps process-wide state (gain predictors, filter memories, the Overflow
// flag): one coder or decoder may run at a time, so a second Python thread waits here.
std::mutex speechCodec;

// A read-only view of bytes or of a numpy array, without a copy when the array is C-contiguous.
// The object it views stays referenced, so the view outlives a released GIL.
class ByteView {
 public:
  static ByteView ofSamples(const py::object& object) {
    if (py::isinstance<py::bytes>(object)) return ByteView(object);
    if (!py::isinstance<py::array>(object))
      throw py::type_error("samples must be a numpy int16 array or bytes");
    const auto array = py::reinterpret_borrow<py::array>(object);
    if (!array.dtype().is(py::dtype::of<int16_t>()))
      throw py::type_error("samples must be int16, not " +
                           py::str(array.dtype()).cast<std::string>());
    // A strided array is made contiguous; a contiguous one is used in place.
    return ByteView(py::array_t<int16_t, py::array::c_style | py::array::forcecast>::ensure(array));
  }
  static ByteView ofBytes(const py::object& object) {
    if (py::isinstance<py::bytes>(object)) return ByteView(object);
    const py::buffer_info info = py::reinterpret_borrow<py::buffer>(object).request();
    if (info.itemsize != 1 || info.ndim != 1 || info.strides[0] != 1)
      throw py::type_error("expected bytes or a contiguous array of bytes");
    return ByteView(object);
  }

  std::span<const uint8_t> bytes() const { return {data_, size_}; }
  std::span<const int16_t> samples() const {
    if (size_ % 2 != 0) throw py::value_error("16-bit PCM needs an even number of bytes");
    return {reinterpret_cast<const int16_t*>(data_), size_ / 2};
  }

 private:
  explicit ByteView(py::object object) : owner_(std::move(object)) {
    if (py::isinstance<py::bytes>(owner_)) {
      data_ = reinterpret_cast<const uint8_t*>(PyBytes_AS_STRING(owner_.ptr()));
      size_ = static_cast<size_t>(PyBytes_GET_SIZE(owner_.ptr()));
    } else {
      const py::buffer_info info = py::reinterpret_borrow<py::buffer>(owner_).request();
      data_ = static_cast<const uint8_t*>(info.ptr);
      size_ = static_cast<size_t>(info.size * info.itemsize);
    }
  }

  py::object owner_;
  const uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

void requireSpeechRate(int rate) {
  if (rate != kSpeechRate)
    throw py::value_error("the speech codec takes 8000 Hz mono PCM, not " + std::to_string(rate) +
                          " Hz: resample first");
}

// The WTG file encoder's loop on samples in memory: one frame per whole 80 samples, frames of
// exact digital silence flagged when the input holds a positive sample.
std::vector<uint8_t> encodeWtg(std::span<const int16_t> samples) {
  const bool flagSilence =
      std::any_of(samples.begin(), samples.end(), [](int16_t s) { return s > 0; });
  const auto state = std::make_unique<CoderState>();
  std::vector<uint8_t> frames;
  frames.reserve(samples.size() / kFrameSamples * kFrameBytes);
  const std::lock_guard lock(speechCodec);
  g729_coder_init(state.get(), kCoderMode);
  for (size_t at = 0; at + kFrameSamples <= samples.size(); at += kFrameSamples) {
    const auto frame = samples.subspan(at, kFrameSamples);
    const bool silent = std::all_of(frame.begin(), frame.end(), [](int16_t s) { return s == 0; });
    UWord16 words[kFrameWords];
    g729coder_run(state.get(), frame.data(), words, flagSilence && silent ? 1 : 0);
    for (const UWord16 word : words) {  // little-endian words, as WTG files store them
      frames.push_back(static_cast<uint8_t>(word & 0xFF));
      frames.push_back(static_cast<uint8_t>(word >> 8));
    }
  }
  return frames;
}

void requireWholeFrames(size_t bytes) {
  if (bytes % kFrameBytes != 0)
    throw py::value_error("not WTG frames: " + std::to_string(bytes) +
                          " bytes is not a whole number of 10-byte frames");
}

void decodeWtg(std::span<const uint8_t> frames, int16_t* out) {
  const auto state = std::make_unique<DecoderState>();
  const std::lock_guard lock(speechCodec);
  g729dec_init(state.get());
  for (size_t at = 0; at < frames.size(); at += kFrameBytes, out += kFrameSamples) {
    UWord16 words[kFrameWords];
    for (size_t k = 0; k < kFrameWords; ++k)
      words[k] = static_cast<UWord16>(frames[at + 2 * k] | frames[at + 2 * k + 1] << 8);
    const Word16* pcm = g729_dec_run(state.get(), words);
    std::copy(pcm, pcm + kFrameSamples, out);
  }
}

py::bytes pcmToWtg(const py::object& samples, int rate) {
  requireSpeechRate(rate);
  const ByteView view = ByteView::ofSamples(samples);
  const auto pcm = view.samples();
  std::vector<uint8_t> frames;
  {
    py::gil_scoped_release released;
    frames = encodeWtg(pcm);
  }
  return {reinterpret_cast<const char*>(frames.data()), frames.size()};
}

py::array_t<int16_t> wtgToPcm(const py::object& frames) {
  const ByteView view = ByteView::ofBytes(frames);
  requireWholeFrames(view.bytes().size());
  py::array_t<int16_t> samples(
      static_cast<py::ssize_t>(view.bytes().size() / kFrameBytes * kFrameSamples));
  int16_t* out = samples.mutable_data();
  py::gil_scoped_release released;
  decodeWtg(view.bytes(), out);
  return samples;
}

std::chrono::milliseconds toMilliseconds(double seconds) {
  return std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000.0));
}

// Any Python thread may run the main queue, and a task taken off it by one thread may still be
// running when another finds the queue empty. Running the queue and taking an object's
// deliveries under one lock keeps a flush from missing a delivery that is under way.
std::mutex draining;

// What a codec object delivered on the main queue and its Python wrapper has not yet handed
// on. Any Python thread may drain the queue, so the lists are locked.
struct Deliveries {
  std::mutex mutex;
  std::deque<TZBytes> data;
  std::vector<std::string> errors;

  void add(const TZBytes* bytes, const TZError* error) {
    const std::lock_guard lock(mutex);
    if (bytes != nullptr) data.push_back(*bytes);
    if (error != nullptr) errors.push_back(error->domain);
  }
};

struct EncoderDeliveries : TZOpusEncoderDelegate, Deliveries {
  void opusEncoder(TZOpusEncoder&, const TZBytes* bytes, const TZError* error) override {
    add(bytes, error);
  }
};
struct DecoderDeliveries : TZOpusDecoderDelegate, Deliveries {
  void opusDecoder(TZOpusDecoder&, const TZBytes* bytes, const TZError* error) override {
    add(bytes, error);
  }
};
struct SpeexDeliveries : TZSpeexDelegate, Deliveries {
  void speexDecoder(TZSpeexDecoder&, const TZBytes* bytes, const TZError* error) override {
    add(bytes, error);
  }
};

// Waits for the codec's worker, runs the main queue's deliveries (every object's: each lands in
// its own Deliveries), then hands this object's to the callback with the GIL held.
template <typename Codec>
py::list drainDeliveries(Codec& codec, Deliveries& deliveries, const py::object& callback,
                         double timeout) {
  std::deque<TZBytes> data;
  std::vector<std::string> errors;
  {
    py::gil_scoped_release released;
    codec.waitUntilIdle(toMilliseconds(timeout));
    const std::lock_guard drain(draining);
    TZMainQueue::runPending();
    const std::lock_guard lock(deliveries.mutex);
    data.swap(deliveries.data);
    errors.swap(deliveries.errors);
  }
  py::list delivered;
  for (const auto& bytes : data) {
    py::bytes item(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!callback.is_none()) callback(item);
    delivered.append(item);
  }
  if (!errors.empty()) throw std::runtime_error(errors.front());
  return delivered;
}

std::shared_ptr<TZOpusFormat> opusFormat(int rate, int channels, int frameMs, bool framed,
                                         int dataSize) {
  auto format = TZOpusFormat::defaultFormats();
  format->setSampleRate(rate);
  format->setChannels(channels);
  format->setFrameDuration(frameMs);
  format->setHasDataHeader(framed);
  format->setDataSize(dataSize);
  return format;
}

// The library logs why Opus refused the format; a rate or channel count outside Opus's range is
// the reason a caller can meet.
[[noreturn]] void refusedFormat(const char* call, int rate, int channels) {
  throw py::value_error(std::string(call) + " error:invalid argument (" + std::to_string(rate) +
                        " Hz, " + std::to_string(channels) +
                        " channel(s); Opus takes 8000, 12000, 16000, 24000 or 48000 Hz, 1 or 2 "
                        "channels)");
}

// What the three codec wrappers share: the codec, the deliveries it makes for this wrapper, the
// Python callback, flush and close.
template <typename Codec, typename Delivered, void (Codec::*release)()>
class CodecWrapper {
 public:
  py::list flush(double timeout) {
    return drainDeliveries(*codec_, *deliveries_, callback_, timeout);
  }
  void close() {
    py::gil_scoped_release released;
    (codec_.get()->*release)();
  }

 protected:
  explicit CodecWrapper(py::object callback) : callback_(std::move(callback)) {}

  std::shared_ptr<Delivered> deliveries_ = std::make_shared<Delivered>();
  std::shared_ptr<Codec> codec_;
  py::object callback_;
};

class OpusEncoder
    : public CodecWrapper<TZOpusEncoder, EncoderDeliveries, &TZOpusEncoder::opusOnRelease> {
 public:
  OpusEncoder(int rate, int channels, int frameMs, py::object callback)
      : CodecWrapper(std::move(callback)) {
    codec_ = TZOpusEncoder::initFormat(opusFormat(rate, channels, frameMs, true, 40), {});
    if (!codec_) refusedFormat("opus_encoder_create", rate, channels);
    codec_->setDelegate(deliveries_);
  }
  void encode(const py::object& pcm) {
    const ByteView view = ByteView::ofSamples(pcm);
    view.samples();  // whole samples only
    py::gil_scoped_release released;
    codec_->opusEncodeData(view.bytes());
  }
};

class OpusDecoder
    : public CodecWrapper<TZOpusDecoder, DecoderDeliveries, &TZOpusDecoder::opusOnRelease> {
 public:
  OpusDecoder(int rate, int channels, int frameMs, bool framed, int dataSize, py::object callback)
      : CodecWrapper(std::move(callback)) {
    codec_ = TZOpusDecoder::initDecoder(opusFormat(rate, channels, frameMs, framed, dataSize),
                                        deliveries_);
    if (!codec_) refusedFormat("opus_decoder_create", rate, channels);
  }
  void decode(const py::object& records) {
    const ByteView view = ByteView::ofBytes(records);
    py::gil_scoped_release released;
    codec_->opusDecoderInputData(view.bytes());
  }
};

class SpeexDecoder
    : public CodecWrapper<TZSpeexDecoder, SpeexDeliveries, &TZSpeexDecoder::speexOnRelease> {
 public:
  explicit SpeexDecoder(py::object callback) : CodecWrapper(std::move(callback)) {
    codec_ = TZSpeexDecoder::initWithDelegate(deliveries_);
    if (!codec_) throw std::runtime_error("libspeex could not create its decoder state");
  }
  void feed(const py::object& stream) {
    const ByteView view = ByteView::ofBytes(stream);
    const TZBytes bytes(view.bytes().begin(), view.bytes().end());
    py::gil_scoped_release released;
    const std::lock_guard lock(feeding_);  // one caller at a time
    codec_->speexInputData(bytes);
  }

 private:
  std::mutex feeding_;
};

// File helpers. The library's file jobs report through the main queue or not at all, so each
// helper waits for the worker, drains the queue and reports what went wrong as an exception.
void requireReadable(const std::string& path) {
  if (!std::ifstream(path, std::ios::binary)) throw py::value_error(path + ": cannot be read");
}
void requireWritable(const std::string& path) {
  if (!std::ofstream(path, std::ios::binary)) throw py::value_error(path + ": cannot be written");
}

size_t pcm2wtg(const std::string& input, const std::string& output) {
  // The file encoder ends the process on a file it cannot open: it must never meet one.
  requireReadable(input);
  requireWritable(output);
  py::gil_scoped_release released;
  const std::lock_guard lock(speechCodec);
  wtg_encode_fun(input.c_str(), output.c_str());
  return std::filesystem::file_size(output) / kFrameBytes;
}

size_t wtg2pcm(const std::string& input, const std::string& output) {
  requireReadable(input);
  std::ifstream in(input, std::ios::binary);
  const std::vector<uint8_t> frames{std::istreambuf_iterator<char>(in), {}};
  requireWholeFrames(frames.size());
  std::vector<int16_t> samples(frames.size() / kFrameBytes * kFrameSamples);
  {
    py::gil_scoped_release released;
    decodeWtg(frames, samples.data());
  }
  std::ofstream out(output, std::ios::binary);
  out.write(reinterpret_cast<const char*>(samples.data()),
            static_cast<std::streamsize>(samples.size() * 2));
  if (!out) throw py::value_error(output + ": cannot be written");
  return frames.size() / kFrameBytes;
}

template <typename Codec, typename Start>
void runFileJob(Codec& codec, const std::string& input, const std::string& output, double timeout,
                Start start) {
  requireReadable(input);
  auto failure = std::make_shared<std::string>();
  {
    py::gil_scoped_release released;
    start(input, &output, [failure](const std::string*, const TZError* error) {
      if (error != nullptr) *failure = error->domain;
    });
    codec.waitUntilIdle(toMilliseconds(timeout));
    const std::lock_guard drain(draining);
    TZMainQueue::runPending();
  }
  if (!failure->empty()) throw std::runtime_error(*failure);
  if (const auto error = codec.outputFileError()) throw std::runtime_error(*error);
}

void opusEncodeFile(const std::string& input, const std::string& output, int rate, int channels,
                    int frameMs, double timeout) {
  const auto encoder = TZOpusEncoder::initFormat(opusFormat(rate, channels, frameMs, true, 40), {});
  if (!encoder) refusedFormat("opus_encoder_create", rate, channels);
  runFileJob(*encoder, input, output, timeout,
             [&](auto&&... args) { encoder->opusEncodeFile(args...); });
}

void opusDecodeFile(const std::string& input, const std::string& output, int rate, int channels,
                    int frameMs, bool framed, int dataSize, double timeout) {
  const auto decoder =
      TZOpusDecoder::initDecoder(opusFormat(rate, channels, frameMs, framed, dataSize), {});
  if (!decoder) refusedFormat("opus_decoder_create", rate, channels);
  runFileJob(*decoder, input, output, timeout,
             [&](auto&&... args) { decoder->opusDecodeFile(args...); });
}

void speexDecodeFile(const std::string& input, const std::string& output, double timeout) {
  const auto decoder = TZSpeexDecoder::initWithDelegate({});
  if (!decoder) throw std::runtime_error("libspeex could not create its decoder state");
  runFileJob(*decoder, input, output, timeout,
             [&](auto&&... args) { decoder->speexConvertToPcm(args...); });
}

}  // namespace

PYBIND11_MODULE(kestrune, m) {
  m.doc() =
      "Kestrune's codecs from Python. The speech codec's process-wide state allows one coding at "
      "a time: a second thread calling pcm_to_wtg, wtg_to_pcm, pcm2wtg or wtg2pcm waits for the "
      "first. The GIL is released while coding.";
  using namespace py::literals;

  m.def("set_log", &TZLogManager::setLog, "enable"_a, "more"_a = false, "level"_a = 1,
        "The library's log switches (TZLogManager::setLog): a higher level shows fewer lines.");
  m.def("pcm_to_wtg", &pcmToWtg, "samples"_a, "rate"_a = kSpeechRate,
        "8 kHz mono 16-bit samples (numpy int16 array or little-endian bytes) into WTG frames "
        "(bytes), as `kestrune pcm2wtg` writes them.");
  m.def("wtg_to_pcm", &wtgToPcm, "frames"_a,
        "WTG frames (bytes, 10 per frame) into 8 kHz mono samples (numpy int16 array).");
  m.def("pcm2wtg", &pcm2wtg, "pcm_path"_a, "wtg_path"_a,
        "Raw 8 kHz mono PCM file into a WTG file; returns the frame count.");
  m.def("wtg2pcm", &wtg2pcm, "wtg_path"_a, "pcm_path"_a,
        "WTG file into a raw 8 kHz mono PCM file; returns the frame count.");
  m.def("opus_encode", &opusEncodeFile, "pcm_path"_a, "opus_path"_a, "rate"_a = 16000,
        "channels"_a = 1, "frame_ms"_a = 20, "timeout"_a = 60.0,
        "Raw PCM file into Opus packets written back to back.");
  m.def("opus_decode", &opusDecodeFile, "opus_path"_a, "pcm_path"_a, "rate"_a = 16000,
        "channels"_a = 1, "frame_ms"_a = 20, "framed"_a = true, "data_size"_a = 40,
        "timeout"_a = 60.0, "Framed Opus records into a raw PCM file.");
  m.def("speex_decode", &speexDecodeFile, "spx_path"_a, "pcm_path"_a, "timeout"_a = 60.0,
        "The device's framed Speex stream into raw 16 kHz mono PCM.");

  py::class_<OpusEncoder>(m, "OpusEncoder",
                          "Stream encoder: encode() queues PCM (every complete chunk of all PCM "
                          "given so far, as the library does); flush() returns the packets "
                          "delivered since the last flush and passes each to the callback.")
      .def(py::init<int, int, int, py::object>(), "rate"_a = 16000, "channels"_a = 1,
           "frame_ms"_a = 20, "callback"_a = py::none())
      .def("encode", &OpusEncoder::encode, "pcm"_a)
      .def("flush", &OpusEncoder::flush, "timeout"_a = 10.0)
      .def("close", &OpusEncoder::close);
  py::class_<OpusDecoder>(m, "OpusDecoder",
                          "Stream decoder of whole records; flush() returns the PCM (bytes) of "
                          "each packet delivered since the last flush and passes it to the "
                          "callback.")
      .def(py::init<int, int, int, bool, int, py::object>(), "rate"_a = 16000, "channels"_a = 1,
           "frame_ms"_a = 20, "framed"_a = true, "data_size"_a = 40, "callback"_a = py::none())
      .def("decode", &OpusDecoder::decode, "records"_a)
      .def("flush", &OpusDecoder::flush, "timeout"_a = 10.0)
      .def("close", &OpusDecoder::close);
  py::class_<SpeexDecoder>(m, "SpeexDecoder",
                           "Framed Speex stream decoder; flush() returns the 640-byte frames "
                           "delivered since the last flush and passes each to the callback.")
      .def(py::init<py::object>(), "callback"_a = py::none())
      .def("feed", &SpeexDecoder::feed, "stream"_a)
      .def("flush", &SpeexDecoder::flush, "timeout"_a = 10.0)
      .def("close", &SpeexDecoder::close);
}
