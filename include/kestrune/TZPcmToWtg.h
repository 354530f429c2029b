// WTG conversion service: conversion tasks (a PCM path and a WTG path) run one after another,
// first in, first out, on the service's own worker ("pcm_to_wtg_queue") through
// wtg_encode_fun, and the delegate is told on TZMainQueue of each finished task, in
// conversion order, with a copy of the task as the worker took it.
//
// Threads and lifetime:
// - convertPcmToWtg may be called from any thread, concurrently, also from the delegate.
// - Conversions never overlap within one service. The speech codec's process-wide state
//   allows one conversion at a time per process, so an application keeps one service.
// - The service converts for as long as the application holds it. Destroying it (at any
//   time, from any thread but its own delegate call's last reference, also at process end)
//   lets the conversion under way finish, drops the tasks still waiting and delivers nothing
//   more.
// - A task whose input or output cannot be opened ends the process (wtg_encode_fun's
//   contract); check the files before queueing them.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "kestrune/kestrune_export.h"

// One conversion task: the raw 8 kHz 16-bit mono PCM input and the WTG file to write. Copies
// are independent; the paths may be changed from any thread.
class KESTRUNE_API TZPcm2WtgModel {
 public:
  TZPcm2WtgModel() = default;
  TZPcm2WtgModel(std::string pcmPath, std::string wtgPath);
  TZPcm2WtgModel(const TZPcm2WtgModel& other);
  TZPcm2WtgModel& operator=(const TZPcm2WtgModel& other);

  // A new model with the same paths.
  std::shared_ptr<TZPcm2WtgModel> copyWithZone() const;

  std::string pcmPath() const;
  void setPcmPath(std::string path);
  std::string wtgPath() const;
  void setWtgPath(std::string path);

 private:
  mutable std::mutex mutex_;
  std::string pcmPath_;
  std::string wtgPath_;
};

class KESTRUNE_API TZPcmToWtgDelegate {
 public:
  virtual ~TZPcmToWtgDelegate() = default;
  // A task is converted: model is the worker's copy of it. Called on TZMainQueue.
  virtual void convertPcmToWtgDone(std::shared_ptr<TZPcm2WtgModel> model) = 0;
};

class KESTRUNE_API TZPcmToWtg {
 public:
  // A service with its worker started; the delegate is held strongly (null: nobody is told).
  static std::shared_ptr<TZPcmToWtg> initWithDelegate(std::shared_ptr<TZPcmToWtgDelegate> delegate);
  ~TZPcmToWtg();
  TZPcmToWtg(const TZPcmToWtg&) = delete;
  TZPcmToWtg& operator=(const TZPcmToWtg&) = delete;

  // Queues the model itself (its paths are read when the worker takes it) and wakes the
  // worker. Returns at once.
  void convertPcmToWtg(std::shared_ptr<TZPcm2WtgModel> model);

  // Waits until every queued task is converted and the worker is parked. False when the
  // timeout passes first. Completions may still wait on TZMainQueue.
  bool waitUntilIdle(std::chrono::milliseconds timeout);

 private:
  struct KESTRUNE_LOCAL Impl;
  TZPcmToWtg();

  std::unique_ptr<Impl> impl_;
};
