// SPDX-License-Identifier: MIT

#include "window/Job.h"

#include <OrvexKit/platform/OXCBORCoder.h>
#include <fcntl.h>

#include <QTimer>
#include <cerrno>
#include <system_error>
#include <utility>

namespace {

// So many at once leave the window time to draw and to answer.
constexpr int mostReportsAtOnce = 500;

}  // namespace

Job::Job(const std::vector<std::string>& arguments, OnReport onReport, OnEnd onEnd)
    : onReport_(std::move(onReport)),
      onEnd_(std::move(onEnd)),
      worker_(arguments),
      reader_(worker_.output()),
      notifier_(worker_.output(), QSocketNotifier::Read) {
  // Then the reader returns when nothing has come, instead of waiting.
  if (::fcntl(worker_.output(), F_SETFL, O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot read from a worker");
  }
  QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [this] { read(); });
}

void Job::read() {
  notifier_.setEnabled(false);
  for (int count = 0; count < mostReportsAtOnce; ++count) {
    const auto item = reader_.next();
    if (!item) {
      if (reader_.state() == OXCBORSequenceReader::State::wouldBlock) {
        notifier_.setEnabled(true);
      } else {
        end(reader_.state() == OXCBORSequenceReader::State::ended && worker_.endsWell());
      }
      return;
    }
    const auto report = OXCBORDecodeRecord<tour::Report>(*item, OXCBORMode::keyed);
    if (!report) {
      end(false);
      return;
    }
    onReport_(*report);
  }
  // The reader has more, of which the notifier knows nothing.
  QTimer::singleShot(0, &notifier_, [this] { read(); });
}

void Job::end(bool isComplete) {
  // Later, as nothing of this object may be running when it is destroyed.
  QTimer::singleShot(0, &notifier_, [this, isComplete] {
    const OnEnd onEnd = std::move(onEnd_);
    onEnd(isComplete);
  });
}
