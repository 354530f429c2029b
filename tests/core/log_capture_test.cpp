// openLogTextFile redirects the whole process's output, so each case runs in a child process
// whose standard output is a plain file or a terminal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <regex>

#include "kestrune/TZLogManager.h"
#include "tests/support/test_files.h"

namespace {

// Forks; the child puts outputFd on its standard output and error, calls openLogTextFile,
// prints to both streams and through the log manager, and exits.
void captureInChild(int outputFd) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    dup2(outputFd, STDOUT_FILENO);
    dup2(outputFd, STDERR_FILENO);
    TZLogManager::openLogTextFile();
    std::printf("to stdout\n");
    std::fprintf(stderr, "to stderr\n");
    TZLogManager::logLevel(1, "f", 1, "logged");
    std::fflush(nullptr);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

class LogCapture : public ::testing::Test {
 protected:
  void SetUp() override {
    TZLogManager::setLog(true, false, 1);
    TZLogManager::saveLogAsFile(false);
  }
  void TearDown() override { TZLogManager::saveLogAsFile(true); }

  // Fills Documents with `count` entries, three of them earlier capture files: two at the top
  // and one inside a folder.
  void fillDocuments(int count) {
    std::filesystem::create_directory(documents_.file("sub"));
    touch("sub/TZ_LOG-2020-01-01-00-00-02.txt");
    touch("TZ_LOG-2020-01-01-00-00-00.txt");
    touch("TZ_LOG-2020-01-01-00-00-01.txt");
    for (int i = 4; i < count; ++i) touch("other-" + std::to_string(i));
  }
  void touch(const std::string& name) { std::ofstream(documents_.file(name)) << "old"; }
  bool exists(const std::string& name) { return std::filesystem::exists(documents_.file(name)); }

  // The capture files with a current-style name, at the top of Documents.
  std::vector<std::string> newCaptureFiles() {
    const std::regex name(R"(TZ_LOG-\d{4}-\d\d-\d\d-\d\d-\d\d-\d\d\.txt)");
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(documents_.path())) {
      const auto file = entry.path().filename().string();
      if (std::regex_match(file, name) && file.rfind("TZ_LOG-2020", 0) != 0) found.push_back(file);
    }
    return found;
  }

  // A plain file (no terminal) for the child's output, gone from the file system at once.
  static int plainOutputFile() {
    char path[] = "/tmp/kestrune-output-XXXXXX";
    const int fd = mkstemp(path);
    unlink(path);
    return fd;
  }

  TempDocuments documents_;
};

TEST_F(LogCapture, ThirtyEntriesKeepEarlierCapturesAndEverythingPrintedLandsInTheNewFile) {
  fillDocuments(30);
  const int fd = plainOutputFile();
  captureInChild(fd);
  close(fd);

  EXPECT_TRUE(exists("TZ_LOG-2020-01-01-00-00-00.txt"));
  EXPECT_TRUE(exists("TZ_LOG-2020-01-01-00-00-01.txt"));
  const auto captures = newCaptureFiles();
  ASSERT_EQ(captures.size(), 1u);
  const std::string text = readTextFile(documents_.file(captures[0]));
  EXPECT_NE(text.find("to stdout\n"), std::string::npos);
  EXPECT_NE(text.find("to stderr\n"), std::string::npos);
  EXPECT_NE(text.find("TZ[DEBUG]  logged\n"), std::string::npos);
}

TEST_F(LogCapture, ThirtyOneEntriesRemoveTopLevelCapturesOnly) {
  fillDocuments(31);
  const int fd = plainOutputFile();
  captureInChild(fd);
  close(fd);

  EXPECT_FALSE(exists("TZ_LOG-2020-01-01-00-00-00.txt"));
  EXPECT_FALSE(exists("TZ_LOG-2020-01-01-00-00-01.txt"));
  EXPECT_TRUE(exists("sub/TZ_LOG-2020-01-01-00-00-02.txt"));
  EXPECT_TRUE(exists("other-30"));
  EXPECT_EQ(newCaptureFiles().size(), 1u);
}

TEST_F(LogCapture, TerminalOutputIsLeftAlone) {
  fillDocuments(31);
  int controller = -1;
  int terminal = -1;
  ASSERT_EQ(openpty(&controller, &terminal, nullptr, nullptr, nullptr), 0);
  captureInChild(terminal);
  close(terminal);
  close(controller);

  EXPECT_TRUE(exists("TZ_LOG-2020-01-01-00-00-00.txt"));
  EXPECT_TRUE(newCaptureFiles().empty());
}

}  // namespace
