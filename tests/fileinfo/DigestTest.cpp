// SPDX-License-Identifier: MIT

#include "fileinfo/Digest.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/FileDescriptor.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ObservedSystem.h"
#include "support/ProcessState.h"
#include "support/TemporaryFolder.h"

namespace {

using ox::test::Call;
using ox::test::ObservedSystem;
using ox::test::removeOne;

const std::string emptyDigest = "d41d8cd98f00b204e9800998ecf8427e";
const std::string abcDigest = "900150983cd24fb0d6963f7d28e17f72";

std::string digestOf(const std::string& path) {
  return OXGenerateMD5DigestForFile(path).value_or("(null)");
}

void append(const std::string& path, const std::string& text) {
  const ox::FileDescriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  ASSERT_EQ(::write(file.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

// Nearby positions have different bytes.
std::string noise(std::size_t count) {
  std::string bytes;
  bytes.reserve(count);
  std::uint32_t state = 12345;
  for (std::size_t i = 0; i < count; ++i) {
    state = state * 1664525U + 1013904223U;
    bytes += static_cast<char>(state >> 24U);
  }
  return bytes;
}

class Digest : public ox::test::TemporaryFolderTest {
 protected:
  // The digest of a text, written to a file.
  std::string digestOfText(const std::string& text) {
    ox::test::writeFile(in("text"), text);
    std::string digest = digestOf(in("text"));
    removeOne(in("text"));
    return digest;
  }
};

TEST_F(Digest, IsThatOfRfc1321) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"", emptyDigest},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", abcDigest},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
      {std::string(1, '\0'), "93b885adfe0da089cdf634904fd59f71"},
      {std::string("ab\0c", 4), "cf1aa1426d75f0e4c1a49da3b28808ef"},
  };
  for (const auto& [text, digest] : rows) {
    EXPECT_EQ(digestOfText(text), digest) << testing::PrintToString(text);
  }
}

std::vector<std::size_t> sizesAroundBoundaries() {
  std::vector<std::size_t> sizes;
  // Sizes around MD5's blocks (64 bytes, of which the last holds 55), then around our read size and
  // libcrypto's.
  for (std::size_t size = 0; size <= 130; ++size) {
    sizes.push_back(size);
  }
  for (const std::size_t boundary :
       {1024U, 4096U, 8192U, 16384U, 32768U, 65536U, 131072U, 262144U, 1048576U}) {
    for (const std::size_t offset : {0U, 1U, 8U, 9U, 63U, 64U, 65U, 66U}) {
      sizes.push_back(boundary + 1 - offset);
    }
  }
  return sizes;
}

TEST_F(Digest, IsThatOfMd5sumAroundEveryBoundary) {
  const std::vector<std::size_t> sizes = sizesAroundBoundaries();
  ASSERT_GE(sizes.size(), 200U);
  const std::string content = noise(2000000);
  std::vector<std::string> paths;
  for (const std::size_t size : sizes) {
    paths.push_back(in(std::to_string(size)));
    ox::test::writeFile(paths.back(), content.substr(0, size));
  }
  const std::vector<std::string> lines =
      ox::test::linesOf({.program = "md5sum", .arguments = paths});
  ASSERT_EQ(lines.size(), paths.size());
  for (std::size_t i = 0; i < paths.size(); ++i) {
    EXPECT_EQ(digestOf(paths[i]), lines[i].substr(0, 32)) << sizes[i];
    removeOne(paths[i]);
  }
}

TEST_F(Digest, CutsTheByteCountToItsLower32Bits) {
  ox::test::writeFile(in("large"), "abc");
  ASSERT_EQ(::truncate(in("large").c_str(), 4294967296), 0);
  EXPECT_EQ(digestOf(in("large")), emptyDigest);
  ASSERT_EQ(::truncate(in("large").c_str(), 4294967297), 0);
  EXPECT_EQ(digestOf(in("large")), digestOfText("a"));
  ASSERT_EQ(::truncate(in("large").c_str(), 4294967299), 0);
  EXPECT_EQ(digestOf(in("large")), abcDigest);
  ASSERT_EQ(::truncate(in("large").c_str(), 3 * 4294967296 + 2), 0);
  EXPECT_EQ(digestOf(in("large")), digestOfText("ab"));
  removeOne(in("large"));
}

TEST_F(Digest, CutsByAnyCountInTheSameWay) {
  const std::string content = noise(200);
  for (std::size_t size = 0; size <= content.size(); size += 7) {
    ox::test::writeFile(in("whole"), content.substr(0, size));
    for (const std::size_t limit : {1U, 8U, 63U, 100U, 196U, 500U}) {
      const ox::FileDescriptor whole(::open(in("whole").c_str(), O_RDONLY | O_CLOEXEC));
      ox::test::writeFile(in("cut"), content.substr(0, size % limit));
      const ox::FileDescriptor cut(::open(in("cut").c_str(), O_RDONLY | O_CLOEXEC));
      const std::optional<ox::Md5> ofWhole = ox::digestOfFile(whole.get(), limit);
      const std::optional<ox::Md5> ofCut = ox::digestOfFile(cut.get());
      ASSERT_TRUE(ofWhole && ofCut);
      EXPECT_EQ(ofWhole->digest, ofCut->digest) << size << " bytes truncated by " << limit;
    }
  }
  removeOne(in("whole"));
  removeOne(in("cut"));
}

TEST_F(Digest, IsOfTheRegularFileThatALinkLeadsTo) {
  ox::test::writeFile(in("file"), "abc");
  ASSERT_EQ(::symlink("file", in("link").c_str()), 0);
  EXPECT_EQ(digestOf(in("link")), abcDigest);
  removeOne(in("link"));
  removeOne(in("file"));
}

void makeSocket(const std::string& folder) {
  // Relative, because a socket address has room for only a short path.
  const std::string before = std::filesystem::current_path();
  ASSERT_EQ(::chdir(folder.c_str()), 0);
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "socket"};
  const ox::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::chdir(before.c_str()), 0);
}

TEST_F(Digest, IsNullForWhatIsNoRegularFile) {
  ASSERT_EQ(::mkfifo(in("fifo").c_str(), 0600), 0);
  ASSERT_EQ(::symlink("fifo", in("to-fifo").c_str()), 0);
  ASSERT_EQ(::symlink("missing", in("nowhere").c_str()), 0);
  ASSERT_EQ(::symlink("loop", in("loop").c_str()), 0);
  ox::test::writeFile(in("file"));
  makeSocket(work());
  static_cast<void>(ox::test::takeLogLines());
  const std::vector<std::string> paths = {
      "",
      work(),
      in("missing"),
      in("fifo"),
      in("to-fifo"),
      in("nowhere"),
      in("loop"),
      in("socket"),
      in("file/"),
      in("file") + std::string("\0", 1),
      std::string(5000, '/'),
      "/dev/null",
      "/dev/zero",
      "/dev/tty",
  };
  ObservedSystem observed;
  for (const std::string& path : paths) {
    EXPECT_EQ(OXGenerateMD5DigestForFile(path), std::nullopt) << path;
  }
  EXPECT_EQ(OXGenerateMD5DigestForFile(std::nullopt), std::nullopt);
  EXPECT_EQ(observed.count(Call::openat), 0) << "opening a device may have an effect";
  EXPECT_TRUE(ox::test::takeLogLines().empty());
  for (const char* name : {"fifo", "to-fifo", "nowhere", "loop", "file", "socket"}) {
    removeOne(in(name));
  }
}

TEST_F(Digest, IsNullForAFileThatMayNotBeRead) {
  OX_SKIP_AS_ROOT();
  ox::test::writeFile(in("secret"), "abc");
  ASSERT_EQ(::chmod(in("secret").c_str(), 0), 0);
  EXPECT_EQ(OXGenerateMD5DigestForFile(in("secret")), std::nullopt);
  removeOne(in("secret"));
}

TEST_F(Digest, DoesNotWaitForAPipeThatTookTheFilesPlace) {
  ox::test::writeFile(in("file"), "abc");
  ObservedSystem observed;
  observed.before(Call::openat, [this] {
    removeOne(in("file"));
    ASSERT_EQ(::mkfifo(in("file").c_str(), 0600), 0);
  });
  EXPECT_EQ(OXGenerateMD5DigestForFile(in("file")), std::nullopt);
  removeOne(in("file"));
}

TEST_F(Digest, IsOfWhatFilesHoldThatClaimAnotherSize) {
  for (const char* path : {"/proc/version", "/proc/self/mountinfo", "/proc/filesystems",
                           "/sys/kernel/mm/transparent_hugepage/enabled"}) {
    if (ox::test::exists(path)) {
      const std::string content = ox::test::readFile(path);
      EXPECT_FALSE(content.empty()) << path;
      EXPECT_EQ(digestOf(path), digestOfText(content)) << path;
    }
  }
}

// Changes the file before its `nth` piece is read.
std::string digestOfChanging(const std::string& path, int nth, const std::function<void()>& change,
                             std::uint64_t limit = ox::digestCountLimit) {
  ObservedSystem observed;
  observed.before(Call::read, [&, reads = 0]() mutable {
    if (++reads == nth) {
      change();
    }
  });
  const ox::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const std::optional<ox::Md5> md5 = ox::digestOfFile(file.get(), limit);
  return md5 ? testing::PrintToString(md5->digest) : "(null)";
}

TEST_F(Digest, IsOfWhatWasReadOfAChangingFile) {
  const std::string content = noise(150000);
  const std::string path = in("file");
  const auto unchanging = [&](const std::string& text) {
    ox::test::writeFile(path, text);
    return digestOfChanging(path, 0, [] {});
  };
  const std::string longer = unchanging(content + "more");
  const std::string shorter = unchanging(content.substr(0, 100000));
  const std::string firstPiece = unchanging(content.substr(0, 65536));

  ox::test::writeFile(path, content);
  EXPECT_EQ(digestOfChanging(path, 3, [&] { append(path, "more"); }), longer);
  ox::test::writeFile(path, content);
  EXPECT_EQ(digestOfChanging(path, 2, [&] { ASSERT_EQ(::truncate(path.c_str(), 100000), 0); }),
            shorter);
  ox::test::writeFile(path, content);
  EXPECT_EQ(digestOfChanging(path, 2, [&] { ASSERT_EQ(::truncate(path.c_str(), 0), 0); }),
            firstPiece);
  removeOne(path);
}

TEST_F(Digest, IsCutByTheSizeThatAGrowingFileReaches) {
  const std::string content = noise(103);
  const std::string path = in("file");
  ox::test::writeFile(path, content.substr(0, 3));
  const std::string firstThree = digestOfChanging(path, 0, [] {});
  // 90 bytes at first, but 103 when read: 3 over the limit.
  ox::test::writeFile(path, content.substr(0, 90));
  EXPECT_EQ(digestOfChanging(
                path, 1, [&] { append(path, content.substr(90)); }, 100),
            firstThree);
  // It has shrunk again before its size is queried.
  ox::test::writeFile(path, content.substr(0, 90));
  ObservedSystem observed;
  observed.before(Call::read, [&] { append(path, content); });
  observed.before(Call::lseek, [&] { ASSERT_EQ(::truncate(path.c_str(), 10), 0); });
  const ox::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_FALSE(ox::digestOfFile(file.get(), 100).has_value());
  removeOne(path);
}

TEST_F(Digest, IsNullForEveryFailureOfTheSystem) {
  ox::test::writeFile(in("file"), noise(100000));
  const std::string digest = digestOf(in("file"));
  const std::size_t descriptors = ox::test::openDescriptorCount();
  for (const int error : {EACCES, ENOSPC, EMFILE, ENOMEM, EIO, EAGAIN}) {
    SCOPED_TRACE(std::strerror(error));
    ObservedSystem observed;
    ASSERT_EQ(digestOf(in("file")), digest);
    const int calls = observed.count();
    ASSERT_EQ(calls, 6) << "stat, open, fstat and three reads";
    for (int nth = 1; nth <= calls; ++nth) {
      observed.failNth(nth, error);
      EXPECT_EQ(OXGenerateMD5DigestForFile(in("file")), std::nullopt) << nth;
    }
  }
  ObservedSystem observed;
  for (const Call call : {Call::openat, Call::read}) {
    observed.fail(call, EINTR, 1);
    EXPECT_EQ(digestOf(in("file")), digest) << "interrupted calls are repeated";
  }
  EXPECT_EQ(ox::test::openDescriptorCount(), descriptors);
  removeOne(in("file"));
}

TEST_F(Digest, IsNullWithoutLibcryptoAndFoundOnceItIsThere) {
  ox::test::writeFile(in("file"), "abc");
  EXPECT_EQ(ox::test::linesOf({.program = OX_INNER_PROBE,
                               .arguments = {"fail-dlopen:on", "digest:" + in("file"),
                                             "fail-dlopen:off", "digest:" + in("file")}}),
            (std::vector<std::string>{"(null)", abcDigest}));
  removeOne(in("file"));
}

TEST_F(Digest, IsNullWhereLibcryptoFails) {
  ox::test::writeFile(in("file"), "abc");
  const auto digestBy = [&](const std::string& library, const std::string& failing) {
    return ox::test::outputOf(
        {.program = OX_PROBE,
         .arguments = {"digest:" + in("file")},
         .environment = {{"LD_LIBRARY_PATH", library}, {"OX_FAILING_CRYPTO", failing}}});
  };
  const std::string fromFailing = digestBy(OX_FAILING_CRYPTO, "");
  if (fromFailing == abcDigest + "\n") {
    removeOne(in("file"));
    GTEST_SKIP() << "the probe was built with a fixed path to libcrypto";
  }
  EXPECT_EQ(fromFailing, std::string(32, '0') + "\n");
  for (const char* const function : {"MD5_Init", "MD5_Update", "MD5_Final"}) {
    EXPECT_EQ(digestBy(OX_FAILING_CRYPTO, function), "(null)\n") << function;
  }
  EXPECT_EQ(digestBy(OX_PARTIAL_CRYPTO, ""), "(null)\n");
  removeOne(in("file"));
}

TEST_F(Digest, DoesNotDependOnWhatTheSystemAllowsForSecurity) {
  ox::test::writeFile(in("openssl.cnf"),
                      "openssl_conf = init\n"
                      "[init]\nproviders = providers\nalg_section = algorithms\n"
                      "[algorithms]\ndefault_properties = fips=yes\n"
                      "[providers]\nbase = base\n"
                      "[base]\nactivate = 1\n");
  ox::test::writeFile(in("file"), "abc");
  const std::vector<std::pair<std::string, std::optional<std::string>>> environment = {
      {"OPENSSL_CONF", in("openssl.cnf")}};
  EXPECT_NE(ox::test::run({.program = "openssl",
                           .arguments = {"dgst", "-md5", in("file")},
                           .environment = environment})
                .exitCode,
            0)
      << "the policy should forbid MD5";
  EXPECT_EQ(
      ox::test::linesOf(
          {.program = OX_PROBE, .arguments = {"digest:" + in("file")}, .environment = environment}),
      std::vector<std::string>{abcDigest});
  removeOne(in("file"));
  removeOne(in("openssl.cnf"));
}

TEST_F(Digest, IsTheSameForThreadsThatAskFirstAtTheSameMoment) {
  ox::test::writeFile(in("file"), "abc");
  EXPECT_EQ(
      ox::test::linesOf({.program = OX_PROBE, .arguments = {"race-for-digests:" + in("file")}}),
      std::vector<std::string>{abcDigest});
  removeOne(in("file"));
}

}  // namespace
