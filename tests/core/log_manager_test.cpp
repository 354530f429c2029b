#include <gtest/gtest.h>

#include <regex>

#include "kestrune/TZAudioUnitInfo.h"
#include "kestrune/TZLogManager.h"
#include "tests/support/test_files.h"

namespace {

class LogManager : public ::testing::Test {
 protected:
  void SetUp() override { resetSwitches(); }
  void TearDown() override { resetSwitches(); }

  static void resetSwitches() {
    TZLogManager::setLog(true, false, 1);
    TZLogManager::saveLogAsFile(true);
    TZLogManager::logWithTimestamp(false);
  }

  // Runs body and returns what it printed on the console (standard error).
  template <typename Body>
  static std::string console(Body body) {
    ::testing::internal::CaptureStderr();
    body();
    return ::testing::internal::GetCapturedStderr();
  }

  std::string logFile() const { return readTextFile(documents_.file("TZ_Log.txt")); }
  bool logFileExists() const { return std::filesystem::exists(documents_.file("TZ_Log.txt")); }

  TempDocuments documents_;
};

TEST_F(LogManager, DefaultLineHasTheTagADoubleBlankAndAnEmptyLineInTheFile) {
  auto out = console([] { TZLogManager::logLevel(1, "-[X y]", 12, "hello %d", 7); });
  EXPECT_EQ(out, "TZ[DEBUG]  hello 7\n");
  EXPECT_EQ(logFile(), "TZ[DEBUG]  hello 7\n\n");
}

TEST_F(LogManager, MoreSwitchAddsMethodAndSignedLineNumber) {
  TZLogManager::setLog(true, true, 1);
  auto out = console(
      [] { TZLogManager::logLevel(2, "-[TZOpusEncoder opusEncodeData:]", -126, "%s", "weak"); });
  EXPECT_EQ(out, "TZ[INFO]  [-[TZOpusEncoder opusEncodeData:] -126] weak\n");
  EXPECT_EQ(logFile(), out + "\n");
}

TEST_F(LogManager, ThresholdDropsLowerLevelsAndTagsEveryLevel) {
  auto out = console([] {
    for (int64_t level : {0, 1, 2, 3, 4, 5, 7, -1}) TZLogManager::logLevel(level, "f", 1, "m");
  });
  EXPECT_EQ(out,
            "TZ[DEBUG]  m\nTZ[INFO]  m\nTZ[WARN]  m\nTZ[ERROR]  m\n"
            "TZ[COMPLETE]  m\nTZ[COMPLETE]  m\n");

  TZLogManager::setLog(true, false, -5);  // a negative threshold lets levels 0 and -1 through
  out = console([] {
    TZLogManager::logLevel(0, "f", 1, "zero");
    TZLogManager::logLevel(-1, "f", 1, "minus");
  });
  EXPECT_EQ(out, "TZ[COMPLETE]  zero\nTZ[COMPLETE]  minus\n");
}

TEST_F(LogManager, DisabledSwitchSilencesEverything) {
  TZLogManager::setLog(false, true, 1);
  auto out = console([] {
    TZLogManager::logLevel(4, "f", 1, "error");
    TZLogManager::logSomething("something");
    TZLogManager::logLevel(4, "content");
    TZLogManager::sdkVersion();
  });
  EXPECT_EQ(out, "");
  EXPECT_FALSE(logFileExists());
}

TEST_F(LogManager, SaveSwitchKeepsTheConsoleAndOnlyTheInstanceWriterIgnoresIt) {
  TZLogManager::saveLogAsFile(false);
  auto out = console([] { TZLogManager::logLevel(1, "f", 1, "console only"); });
  EXPECT_EQ(out, "TZ[DEBUG]  console only\n");
  TZLogManager::saveLog("class writer\n");
  EXPECT_FALSE(logFileExists());
  TZLogManager::share().saveLogLine("instance writer\n");
  EXPECT_EQ(logFile(), "instance writer\n\n");
}

TEST_F(LogManager, TimestampPrecedesTheTagInTheFileOnly) {
  TZLogManager::logWithTimestamp(true);
  auto out = console([] { TZLogManager::logLevel(3, "f", 1, "stamped"); });
  EXPECT_EQ(out, "TZ[WARN]  stamped\n");
  const std::regex stamped(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} TZ\[WARN\]  stamped\n\n)");
  EXPECT_TRUE(std::regex_match(logFile(), stamped)) << logFile();
}

TEST_F(LogManager, ContentEntriesUseTheirTextAsTheFormat) {
  TZLogManager::setLog(true, true, 3);
  auto out = console([] {
    TZLogManager::logSomething("100%% sure, 5%d left");  // "%%" collapses, "%d" has no argument
    TZLogManager::logLevel(4, "content");
    TZLogManager::logLevel(2, "below threshold");
  });
  EXPECT_EQ(out,
            "TZ[WARN]  [+[TZLogManager logSomething:] 176] 100% sure, 5%d left\n"
            "TZ[ERROR]  [+[TZLogManager logLevel:content:] 180] content\n");
}

TEST_F(LogManager, NullFormatAndVersionBanner) {
  TZLogManager::setLog(true, true, 1);
  auto out = console([] {
    TZLogManager::logLevel(1, "f", 2, nullptr);
    TZLogManager::sdkVersion();
  });
  EXPECT_EQ(out,
            "TZ[DEBUG]  [f 2] (null)\n"
            "TZ[INFO]  [+[TZLogManager sdkVersion] 41] ---> The version of ble log helper SDK "
            "is v1.0.0_Beta1_20240508 \n");
  EXPECT_EQ(TZAudioUnitInfo::sdkVersion(), "1.1.0");
  EXPECT_EQ(KestruneVersionNumber, 1.0);
  EXPECT_STREQ(reinterpret_cast<const char*>(KestruneVersionString),
               "@(#)PROGRAM:Kestrune  PROJECT:Kestrune-1\n");
}

TEST_F(LogManager, ClearLogTruncatesAndNeverCreates) {
  TZLogManager::clearLog();
  EXPECT_FALSE(logFileExists());
  console([] { TZLogManager::logLevel(1, "f", 1, "line"); });
  ASSERT_FALSE(logFile().empty());
  TZLogManager::clearLog();
  EXPECT_TRUE(logFileExists());
  EXPECT_EQ(logFile(), "");
}

TEST_F(LogManager, SubPathsListsEverythingBelowRelatively) {
  EXPECT_FALSE(TZLogManager::subPaths(nullptr).has_value());
  std::filesystem::create_directories(documents_.file("a/b"));
  std::ofstream(documents_.file("a/b/c.txt")) << "x";
  std::ofstream(documents_.file("top.txt")) << "x";
  auto paths = TZLogManager::subPaths(&documents_.path());
  ASSERT_TRUE(paths.has_value());
  std::sort(paths->begin(), paths->end());
  EXPECT_EQ(*paths, (std::vector<std::string>{"a", "a/b", "a/b/c.txt", "top.txt"}));
}

}  // namespace
