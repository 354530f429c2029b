// A seeded stress of every codec class, shared by the lifecycle tests and the soak program:
// many objects fed real and garbage input from several threads at once, changed, released
// (also from inside their own delegate calls) and destroyed in random order while their
// deliveries still wait on the main queue, under one of three kinds of host.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

enum class StressHost {
  Draining,   // drains TZMainQueue on a thread of its own all along
  Silent,     // never drains it
  EventLoop,  // installs a dispatcher that forwards each task to its own event-loop thread
};

// The host's side of TZMainQueue, for as long as it lives. Destroy it only once every object
// it served is destroyed: the event loop then runs what is left and ends.
class StressHostRunner {
 public:
  explicit StressHostRunner(StressHost host);
  ~StressHostRunner();
  StressHostRunner(const StressHostRunner&) = delete;
  StressHostRunner& operator=(const StressHostRunner&) = delete;

 private:
  struct EventLoop {
    std::mutex mutex;
    std::condition_variable posted;
    std::deque<std::function<void()>> tasks;
    bool ended = false;
  };

  StressHost host_;
  std::atomic<bool> stop_{false};
  std::shared_ptr<EventLoop> loop_ = std::make_shared<EventLoop>();
  std::thread thread_;
};

struct StressReport {
  int64_t deliveries = 0;      // delegate calls and completions that arrived
  int64_t lateDeliveries = 0;  // of those, calls that reached an object after its release
  int64_t malformed = 0;       // deliveries that break their class's contract
};

// One round: ten objects created, fed and changed by three threads while two others release
// and destroy them in random order. Returns once every object is destroyed. Its files go to
// folder, which must exist.
StressReport runStressRound(uint32_t seed, const std::string& folder);
