// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "support/ChildProcess.h"
#include "support/Locales.h"
#include "support/TemporaryFolder.h"

namespace {

using ox::test::linesOf;
using ox::test::ScopedEnvironment;
using OXFileUtilAdditions::fileDateDescription;

using Lines = std::vector<std::string>;

// 2013-03-05 16:07:00 in UTC.
constexpr double afternoonInMarch = 1362499620;
const std::string dateOfTheAfternoon = "date:1362499620";

OXString describe(double seconds) {
  return fileDateDescription(OXDate(OXDate::duration(seconds)));
}

// Sets the time zone and English names for this process, which keeps them after the first use.
class DateDescription : public ox::test::TemporaryFolderTest {
 protected:
  DateDescription() : locale_("LC_ALL", "C") {}

  static void setTimeZone(const std::string& zone) {
    ::setenv("TZ", zone.c_str(), 1);
    ::tzset();
  }

  void SetUp() override { setTimeZone("UTC0"); }

 private:
  ScopedEnvironment locale_;
  ScopedEnvironment zone_{"TZ", "UTC0"};
};

TEST_F(DateDescription, FollowsItsRows) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const std::vector<std::pair<double, OXString>> rows = {
      {afternoonInMarch, "Mar 05, 2013 04:07 PM"},
      {0, "Jan 01, 1970 12:00 AM"},
      {-0.0, "Jan 01, 1970 12:00 AM"},
      {59.999, "Jan 01, 1970 12:00 AM"},
      {60, "Jan 01, 1970 12:01 AM"},
      {11 * 3600 + 59 * 60 + 59, "Jan 01, 1970 11:59 AM"},
      {12 * 3600, "Jan 01, 1970 12:00 PM"},
      {12 * 3600 + 59 * 60, "Jan 01, 1970 12:59 PM"},
      {13 * 3600, "Jan 01, 1970 01:00 PM"},
      {23 * 3600 + 59 * 60, "Jan 01, 1970 11:59 PM"},
      // A fraction before 1970 rounds down to its second.
      {-1e-9, "Dec 31, 1969 11:59 PM"},
      {-0.5, "Dec 31, 1969 11:59 PM"},
      {-60, "Dec 31, 1969 11:59 PM"},
      {-60.5, "Dec 31, 1969 11:58 PM"},
      {951782400, "Feb 29, 2000 12:00 AM"},
      {4102444800, "Jan 01, 2100 12:00 AM"},
      {253402300799, "Dec 31, 9999 11:59 PM"},
      {253402300800, "Jan 01, 10000 12:00 AM"},
      {-30610224001, "Dec 31, 0999 11:59 PM"},
      {-62135596800, "Jan 01, 0001 12:00 AM"},
      {-62135596801, "Dec 31, 0000 11:59 PM"},
      {-62167219201, "Dec 31, -0001 11:59 PM"},
      {67768036191676792.0, "Dec 31, 2147485547 11:59 PM"},
      {67768036191676800.0, std::nullopt},
      {-67768040609740800.0, "Jan 01, -2147481748 12:00 AM"},
      {-67768040609740808.0, std::nullopt},
      {9223372036854774784.0, std::nullopt},
      {9223372036854775808.0, std::nullopt},
      {-9223372036854775808.0, std::nullopt},
      {-9223372036854777856.0, std::nullopt},
      {1e300, std::nullopt},
      {-1e300, std::nullopt},
      {infinity, std::nullopt},
      {-infinity, std::nullopt},
      {std::nan(""), std::nullopt},
      {-std::nan(""), std::nullopt},
      {5e-324, "Jan 01, 1970 12:00 AM"},
      {-5e-324, "Dec 31, 1969 11:59 PM"},
  };
  for (const auto& [seconds, text] : rows) {
    EXPECT_EQ(describe(seconds), text) << seconds;
  }
  EXPECT_EQ(fileDateDescription(std::nullopt), std::nullopt);
}

TEST_F(DateDescription, IsInLocalTime) {
  // Central Europe: daylight saving from the last Sunday of March to that of October.
  setTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(describe(1364691599), "Mar 31, 2013 01:59 AM");
  EXPECT_EQ(describe(1364691600), "Mar 31, 2013 03:00 AM");
  EXPECT_EQ(describe(1382835599), "Oct 27, 2013 02:59 AM");
  EXPECT_EQ(describe(1382835600), "Oct 27, 2013 02:00 AM");
  setTimeZone("XXX-5:45");
  EXPECT_EQ(describe(0), "Jan 01, 1970 05:45 AM");
  setTimeZone("XXX12");
  EXPECT_EQ(describe(0), "Dec 31, 1969 12:00 PM");
}

TEST_F(DateDescription, IsThatOfThePattern) {
  std::mt19937_64 random(1);
  for (const char* zone : {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0"}) {
    setTimeZone(zone);
    for (int i = 0; i < 10000; ++i) {
      // Years 1000 to 9999, for which the C library writes four digits.
      const auto time = static_cast<std::time_t>(random() % 284012524800U) - 30610224000;
      std::tm local{};
      ASSERT_NE(::localtime_r(&time, &local), nullptr);
      std::array<char, 64> text{};
      ASSERT_NE(std::strftime(text.data(), text.size(), "%b %d, %Y %I:%M %p", &local), 0U);
      ASSERT_EQ(describe(static_cast<double>(time) + 0.25), text.data()) << time;
    }
  }
}

// The output of `date` for the pattern, in UTF-8.
std::string byDate(const ox::test::Locales& locales, const std::string& name,
                   const std::string& encoding, const std::string& seconds) {
  auto environment = locales.environment(name);
  environment.emplace_back("TZ", "UTC0");
  environment.emplace_back("GCONV_PATH", std::nullopt);  // under an emulator, another processor's
  return ox::test::outputOf(
      {.program = "sh",
       .arguments = {"-c", "date -d @" + seconds + " '+%b %d, %Y %I:%M %p' | iconv -t UTF-8 -f " +
                               encoding},
       .environment = environment});
}

TEST_F(DateDescription, HasTheNamesOfTheUsersLocaleInUtf8) {
  const ox::test::Locales locales(work());
  struct Row {
    std::string language;
    std::string encoding;
    OXString afternoon = std::nullopt;  // checked literally, if given
  };
  const std::vector<Row> rows = {
      {.language = "de_DE", .encoding = "UTF-8", .afternoon = "M\xc3\xa4r 05, 2013 04:07 "},
      {.language = "de_DE", .encoding = "ISO-8859-1", .afternoon = "M\xc3\xa4r 05, 2013 04:07 "},
      {.language = "ja_JP", .encoding = "EUC-JP"},
      {.language = "ru_RU", .encoding = "KOI8-R"},
      {.language = "en_US", .encoding = "UTF-8", .afternoon = "Mar 05, 2013 04:07 PM"},
  };
  for (const auto& [language, encoding, afternoon] : rows) {
    std::string name = language;
    name.append(".").append(encoding);
    SCOPED_TRACE(name);
    if (!locales.make(language, encoding)) {
      GTEST_SKIP() << "locales cannot be created here";
    }
    auto environment = locales.environment(name);
    environment.emplace_back("TZ", "UTC0");
    Lines steps;
    std::string expected;
    for (const std::string seconds : {"1362499620", "1346461200", "1356998340", "0"}) {
      steps.push_back("date:" + seconds);
      expected += byDate(locales, name, encoding, seconds);
    }
    const std::string dates =
        ox::test::outputOf({.program = OX_PROBE, .arguments = steps, .environment = environment});
    if (ox::test::Locales::areForAllPrograms()) {
      EXPECT_EQ(dates, expected);
    }
    if (afternoon) {
      EXPECT_EQ(dates.substr(0, dates.find('\n')), *afternoon);
    }
  }
}

class DateLocale : public ox::test::TemporaryFolderTest {
 protected:
  void SetUp() override {
    if (!locales_.make("de_DE", "ISO-8859-1")) {
      GTEST_SKIP() << "locales cannot be created here";
    }
  }

  void TearDown() override {
    std::filesystem::remove_all(in("locales"));
    TemporaryFolderTest::TearDown();
  }

  bool makeLocale(const std::string& language, const std::string& encoding,
                  const std::string& charmap) const {
    return locales_.make(language, encoding, charmap);
  }

  Lines probe(const Lines& steps, const ox::test::Locales::Environment& changes) const {
    auto environment = locales_.environment("");
    environment.emplace_back("TZ", "UTC0");
    environment.insert(environment.end(), changes.begin(), changes.end());
    return linesOf({.program = OX_PROBE, .arguments = steps, .environment = environment});
  }

 private:
  const ox::test::Locales locales_{work()};
};

const std::string german = "de_DE.ISO-8859-1";
const std::string inGerman = "M\xc3\xa4r 05, 2013 04:07 ";
const std::string inEnglish = "Mar 05, 2013 04:07 PM";

TEST_F(DateLocale, IsNamedByTheEnvironment) {
  const std::vector<std::pair<ox::test::Locales::Environment, std::string>> rows = {
      {{{"LC_ALL", german}, {"LC_TIME", "C"}, {"LANG", "C"}}, inGerman},
      {{{"LC_ALL", ""}, {"LC_TIME", german}, {"LANG", "C"}}, inGerman},
      {{{"LC_TIME", german}, {"LC_CTYPE", "C.UTF-8"}, {"LANG", "C.UTF-8"}}, inGerman},
      {{{"LC_TIME", ""}, {"LANG", german}}, inGerman},
      {{{"LC_ALL", "C"}, {"LC_TIME", german}, {"LANG", german}}, inEnglish},
      {{{"LC_TIME", "C"}, {"LANG", german}}, inEnglish},
      {{{"LC_MESSAGES", german}, {"LANGUAGE", "de"}}, inEnglish},
      {{{"LANG", std::nullopt}}, inEnglish},
      // The system does not have these locales, or they are invalid.
      {{{"LC_ALL", "xx_XX"}, {"LANG", german}}, inEnglish},
      {{{"LANG", "../../etc"}}, inEnglish},
      {{{"LANG", std::string(300, 'x')}}, inEnglish},
  };
  for (const auto& [environment, text] : rows) {
    SCOPED_TRACE(testing::PrintToString(environment));
    EXPECT_EQ(probe({dateOfTheAfternoon}, environment), Lines{text});
  }
}

TEST_F(DateLocale, IsEnglishWhereNobodyKnowsTheEncoding) {
  // A copy of the system's own, under another name.
  const std::string charmap = in("NOWHERE");
  ASSERT_EQ(ox::test::run({.program = "sh",
                           .arguments = {"-c",
                                         "zcat /usr/share/i18n/charmaps/ISO-8859-1.gz |"
                                         " sed 's/^<code_set_name> .*/<code_set_name> NOWHERE/'"
                                         " >\"$0\"",
                                         charmap}})
                .exitCode,
            0);
  ASSERT_TRUE(makeLocale("de_DE", "NOWHERE", charmap));
  EXPECT_EQ(probe({dateOfTheAfternoon}, {{"LANG", "de_DE.NOWHERE"}}), Lines{inEnglish});
  ox::test::removeOne(charmap);
}

TEST_F(DateLocale, IsKeptFromTheFirstCall) {
  EXPECT_EQ(probe({dateOfTheAfternoon, "setenv:LC_ALL=C", "setenv:LANG=C", dateOfTheAfternoon},
                  {{"LANG", german}}),
            (Lines{inGerman, inGerman}));
  EXPECT_EQ(
      probe({"setenv:LC_ALL=C", dateOfTheAfternoon, "setenv:LC_ALL=" + german, dateOfTheAfternoon},
            {{"LANG", german}}),
      (Lines{inEnglish, inEnglish}));
}

TEST_F(DateLocale, IsNotTheProcesssOwn) {
  EXPECT_EQ(probe({"setlocale:" + german, dateOfTheAfternoon}, {{"LANG", "C"}}),
            (Lines{"1", inEnglish}));
  EXPECT_EQ(probe({"setlocale:C", dateOfTheAfternoon}, {{"LANG", german}}), (Lines{"1", inGerman}));
}

TEST_F(DateLocale, IsTheSameForThreadsThatAskFirstAtTheSameMoment) {
  EXPECT_EQ(probe({"race-for-dates:1362499620"}, {{"LANG", german}}), Lines{inGerman});
}

}  // namespace
