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
// then prints to both streams and through the log manager.
void captureInChild(int outputFd) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    dup2(outputFd, STDOUT_FILENO);
    dup2(outputFd, STDERR_FILENO);
    TZLogManager::saveLogAsFile(false);
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

TEST(LogCapture, RedirectsOutputAndCleansEarlierCapturesAtThirtyOneEntries) {
  struct Case {
    int entries;
    bool terminal;
    bool earlierRemoved;
    bool captured;
  };
  for (const Case c :
       {Case{30, false, false, true}, Case{31, false, true, true}, Case{31, true, false, false}}) {
    SCOPED_TRACE(std::to_string(c.entries) + (c.terminal ? " entries, terminal" : " entries"));
    TempDocuments documents;
    auto touch = [&](const std::string& name) { std::ofstream(documents.file(name)) << "old"; };
    // Three earlier capture files, one of them in a folder (its relative path has no prefix).
    std::filesystem::create_directory(documents.file("sub"));
    touch("sub/TZ_LOG-2020-01-01-00-00-02.txt");
    touch("TZ_LOG-2020-01-01-00-00-00.txt");
    touch("TZ_LOG-2020-01-01-00-00-01.txt");
    for (int i = 4; i < c.entries; ++i) touch("other-" + std::to_string(i));

    int controller = -1;
    int output = -1;
    if (c.terminal) {
      ASSERT_EQ(openpty(&controller, &output, nullptr, nullptr, nullptr), 0);
    } else {
      char path[] = "/tmp/kestrune-output-XXXXXX";
      output = mkstemp(path);
      unlink(path);
    }
    captureInChild(output);
    close(output);
    if (controller >= 0) close(controller);

    const bool kept = std::filesystem::exists(documents.file("TZ_LOG-2020-01-01-00-00-00.txt")) &&
                      std::filesystem::exists(documents.file("TZ_LOG-2020-01-01-00-00-01.txt"));
    EXPECT_EQ(kept, !c.earlierRemoved);
    EXPECT_TRUE(std::filesystem::exists(documents.file("sub/TZ_LOG-2020-01-01-00-00-02.txt")));

    const std::regex current(R"(TZ_LOG-20\d\d-\d\d-\d\d-\d\d-\d\d-\d\d\.txt)");
    std::string capture;
    for (const auto& entry : std::filesystem::directory_iterator(documents.path())) {
      const auto name = entry.path().filename().string();
      if (std::regex_match(name, current) && !name.starts_with("TZ_LOG-2020")) capture = name;
    }
    ASSERT_EQ(!capture.empty(), c.captured);
    if (!c.captured) continue;
    const std::string text = readTextFile(documents.file(capture));
    for (const char* line : {"to stdout\n", "to stderr\n", "TZ[DEBUG]  logged\n"})
      EXPECT_NE(text.find(line), std::string::npos) << line;
  }
}

}  // namespace
