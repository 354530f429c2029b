#include "kestrune/TZPcmToWtg.h"

#include <deque>
#include <utility>

#include "core/TZCodecEngine.h"
#include "kestrune/wtg_encode.h"

TZPcm2WtgModel::TZPcm2WtgModel(std::string pcmPath, std::string wtgPath)
    : pcmPath_(std::move(pcmPath)), wtgPath_(std::move(wtgPath)) {}

TZPcm2WtgModel::TZPcm2WtgModel(const TZPcm2WtgModel& other) {
  std::lock_guard<std::mutex> guard(other.mutex_);
  pcmPath_ = other.pcmPath_;
  wtgPath_ = other.wtgPath_;
}

TZPcm2WtgModel& TZPcm2WtgModel::operator=(const TZPcm2WtgModel& other) {
  if (this == &other) return *this;
  TZPcm2WtgModel copy(other);
  std::lock_guard<std::mutex> guard(mutex_);
  pcmPath_ = std::move(copy.pcmPath_);
  wtgPath_ = std::move(copy.wtgPath_);
  return *this;
}

std::shared_ptr<TZPcm2WtgModel> TZPcm2WtgModel::copyWithZone() const {
  return std::make_shared<TZPcm2WtgModel>(*this);
}

std::string TZPcm2WtgModel::pcmPath() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return pcmPath_;
}

void TZPcm2WtgModel::setPcmPath(std::string path) {
  std::lock_guard<std::mutex> guard(mutex_);
  pcmPath_ = std::move(path);
}

std::string TZPcm2WtgModel::wtgPath() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return wtgPath_;
}

void TZPcm2WtgModel::setWtgPath(std::string path) {
  std::lock_guard<std::mutex> guard(mutex_);
  wtgPath_ = std::move(path);
}

struct TZPcmToWtg::Impl {
  TZCodecEngine engine;  // the serial worker, "pcm_to_wtg_queue", and its semaphore
  std::mutex lock;       // guards subTasks
  std::deque<std::shared_ptr<TZPcm2WtgModel>> subTasks;
  std::shared_ptr<TZPcmToWtgDelegate> delegate;

  bool convertNext();
};

TZPcmToWtg::TZPcmToWtg() : impl_(std::make_unique<Impl>()) {}

TZPcmToWtg::~TZPcmToWtg() {
  impl_->engine.release([] {});
}

std::shared_ptr<TZPcmToWtg> TZPcmToWtg::initWithDelegate(
    std::shared_ptr<TZPcmToWtgDelegate> delegate) {
  std::shared_ptr<TZPcmToWtg> service(new TZPcmToWtg());
  Impl& impl = *service->impl_;
  impl.delegate = std::move(delegate);
  impl.engine.startTasks(
      service, [&impl] { return impl.convertNext(); }, "pcm_to_wtg_queue");
  return service;
}

void TZPcmToWtg::convertPcmToWtg(std::shared_ptr<TZPcm2WtgModel> model) {
  if (!model) return;
  {
    std::lock_guard<std::mutex> guard(impl_->lock);
    impl_->subTasks.push_back(std::move(model));
  }
  impl_->engine.signal();
}

bool TZPcmToWtg::waitUntilIdle(std::chrono::milliseconds timeout) {
  return impl_->engine.waitUntilIdle(timeout);
}

bool TZPcmToWtg::Impl::convertNext() {
  std::shared_ptr<TZPcm2WtgModel> copy;
  {
    std::lock_guard<std::mutex> guard(lock);
    if (subTasks.empty()) return false;
    // The worker converts its own copy: later changes to the queued model have no effect.
    copy = subTasks.front()->copyWithZone();
    subTasks.pop_front();
  }
  // Converted without the lock, so tasks can be added meanwhile.
  wtg_encode_fun(copy->pcmPath().c_str(), copy->wtgPath().c_str());
  if (delegate) engine.post([this, copy] { delegate->convertPcmToWtgDone(copy); });
  return true;
}
