// SPDX-License-Identifier: MIT

// Two processes: a worker that sends records through a pipe, and their reader.

#include <OrvexKit/OXArchivedFile.h>
#include <OrvexKit/platform/OXCBORCoder.h>
#include <OrvexKit/platform/OXCBORSequence.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <string>

#include "model/Records.h"
#include "support/Pipe.h"

namespace {

using ox::test::numberedRecord;
using ox::test::recordText;
using State = OXCBORSequenceReader::State;

constexpr std::uint32_t all = 100'000;

// Ends the test program if a test hangs.
class HangGuard {
 public:
  HangGuard() { ::alarm(300); }
  ~HangGuard() { ::alarm(0); }
  HangGuard(const HangGuard&) = delete;
  HangGuard& operator=(const HangGuard&) = delete;
};

class Worker {
 public:
  // `outputFlags` as `open` takes them, for the worker's end of the pipe.
  Worker(OXCBORMode mode, std::uint32_t count, const char* ending = nullptr, int outputFlags = 0) {
    const std::string number = std::to_string(count);
    const char* const modeName = mode == OXCBORMode::keyed ? "keyed" : "sequential";
    process_ = ::fork();
    if (process_ == 0) {
      const rlimit noCore{.rlim_cur = 0, .rlim_max = 0};
      ::setrlimit(RLIMIT_CORE, &noCore);
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      static_cast<void>(std::signal(SIGPIPE, SIG_DFL));
      ::dup2(pipe_.writing(), STDOUT_FILENO);
      ::fcntl(STDOUT_FILENO, F_SETFL, outputFlags);
      ::execl(ORVEXKIT_RECORD_WORKER, "record_worker", modeName, number.c_str(), ending, nullptr);
      ::_exit(127);
    }
    EXPECT_GT(process_, 0);
    pipe_.closeWriting();
  }
  ~Worker() {
    if (process_ > 0) {
      kill();
      wait();
    }
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  int output() const { return pipe_.reading(); }
  void kill() const { ::kill(process_, SIGKILL); }
  void hangUp() { pipe_.closeReading(); }
  int wait() {
    int status = -1;
    ::waitpid(process_, &status, 0);
    process_ = -1;
    return status;
  }

 private:
  ox::test::Pipe pipe_;
  pid_t process_ = -1;
};

// Reads records and checks that each is the next one of the listing.
class Listing {
 public:
  Listing(OXCBORSequenceReader& reader, OXCBORMode mode) : reader_(reader), mode_(mode) {}

  std::uint32_t count() const { return count_; }

  // Reads up to `count` records in total.
  void readUpTo(std::uint32_t count) {
    while (count_ < count) {
      const auto item = reader_.next();
      if (!item) {
        return;
      }
      const auto record = OXCBORDecodeRecord<OXArchivedFile>(*item, mode_);
      ASSERT_TRUE(record) << count_;
      ASSERT_EQ(record->fileId(), count_);
      if (count_ % 1000 == 0) {
        ASSERT_EQ(recordText(record), recordText(numberedRecord(count_)));
      }
      ++count_;
    }
  }

 private:
  OXCBORSequenceReader& reader_;
  OXCBORMode mode_;
  std::uint32_t count_ = 0;
};

class WorkerOfMode : public testing::TestWithParam<OXCBORMode> {
 private:
  HangGuard guard_;
};

INSTANTIATE_TEST_SUITE_P(BothModes, WorkerOfMode,
                         testing::Values(OXCBORMode::keyed, OXCBORMode::sequential),
                         [](const auto& mode) {
                           return mode.param == OXCBORMode::keyed ? "Keyed" : "Sequential";
                         });

TEST_P(WorkerOfMode, SendsAllRecords) {
  Worker worker(GetParam(), all);
  OXCBORSequenceReader reader(worker.output());
  Listing listing(reader, GetParam());
  listing.readUpTo(all + 1);
  EXPECT_EQ(listing.count(), all);
  EXPECT_EQ(reader.state(), State::ended);
  EXPECT_EQ(worker.wait(), 0);
}

// The worker is much faster than its reader, so the pipe fills up.
TEST_P(WorkerOfMode, WaitsForItsReaderWhereWritingDoesNotBlock) {
  Worker worker(GetParam(), all, nullptr, O_NONBLOCK);
  OXCBORSequenceReader reader(worker.output());
  Listing listing(reader, GetParam());
  listing.readUpTo(all + 1);
  EXPECT_EQ(listing.count(), all);
  EXPECT_EQ(reader.state(), State::ended);
  EXPECT_EQ(worker.wait(), 0);
}

TEST_P(WorkerOfMode, IsKilledInTheMiddle) {
  for (const std::uint32_t before : {1U, 1000U, 12345U}) {
    Worker worker(GetParam(), all);
    OXCBORSequenceReader reader(worker.output());
    Listing listing(reader, GetParam());
    listing.readUpTo(before);
    worker.kill();
    listing.readUpTo(all);
    EXPECT_GE(listing.count(), before);
    EXPECT_LT(listing.count(), all);
    EXPECT_TRUE(reader.state() == State::truncated || reader.state() == State::ended);
    EXPECT_FALSE(reader.next());
    EXPECT_TRUE(WIFSIGNALED(worker.wait()));
  }
}

TEST_P(WorkerOfMode, IsKilledInTheMiddleOfARecord) {
  Worker worker(GetParam(), 1000, "stall");
  OXCBORSequenceReader reader(worker.output());
  Listing listing(reader, GetParam());
  listing.readUpTo(1000);
  worker.kill();
  listing.readUpTo(all);
  EXPECT_EQ(listing.count(), 1000U);
  EXPECT_EQ(reader.state(), State::truncated);
  EXPECT_TRUE(WIFSIGNALED(worker.wait()));
}

TEST_P(WorkerOfMode, CrashesInTheMiddleOfARecord) {
  Worker worker(GetParam(), 1000, "crash");
  OXCBORSequenceReader reader(worker.output());
  Listing listing(reader, GetParam());
  listing.readUpTo(all);
  EXPECT_EQ(listing.count(), 1000U);
  EXPECT_EQ(reader.state(), State::truncated);
  const int status = worker.wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
}

TEST_P(WorkerOfMode, HasNothingToSend) {
  Worker worker(GetParam(), 0);
  OXCBORSequenceReader reader(worker.output());
  EXPECT_FALSE(reader.next());
  EXPECT_EQ(reader.state(), State::ended);
  EXPECT_EQ(worker.wait(), 0);
}

// The worker ends when its reader closes the pipe.
TEST_P(WorkerOfMode, LosesItsReader) {
  Worker worker(GetParam(), all);
  {
    OXCBORSequenceReader reader(worker.output());
    EXPECT_TRUE(reader.next());
  }
  worker.hangUp();
  const int status = worker.wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE);
}

}  // namespace
