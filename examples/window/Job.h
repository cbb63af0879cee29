// SPDX-License-Identifier: MIT

// A worker whose reports arrive through Qt's event loop.

#pragma once

#include <OrvexKit/platform/OXCBORSequence.h>

#include <QSocketNotifier>
#include <functional>
#include <string>
#include <vector>

#include "tour/Report.h"
#include "tour/WorkerProcess.h"

// One worker at work. All of it happens in the window's thread, which does not wait for reports.
class Job {
 public:
  using OnReport = std::function<void(const tour::Report&)>;
  // Called once, at the end, with whether the worker has done everything. May destroy the job.
  using OnEnd = std::function<void(bool isComplete)>;

  // Starts a worker with `arguments`. Throws std::system_error when that fails.
  Job(const std::vector<std::string>& arguments, OnReport onReport, OnEnd onEnd);

 private:
  void read();
  void end(bool isComplete);

  OnReport onReport_;
  OnEnd onEnd_;
  tour::WorkerProcess worker_;
  OXCBORSequenceReader reader_;
  QSocketNotifier notifier_;
};
