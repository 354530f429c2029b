// Whole-command speed: `kestrune opus-encode`, `opus-decode` and `speex-decode` on five minutes
// of 16 kHz speech, each timed start to exit against a plain C program making the same library
// calls on the same data and writing the same file. Runs alternate (tool, plain, tool, ...) so
// that drifting machine load hits both alike; the medians' ratio is what the library's objects
// (worker thread, stack, main queue, delegate) and the tool add. Outputs are compared byte for
// byte, so a fast wrong answer cannot pass. `pcm2wtg` on five minutes of 8 kHz speech is timed
// against the encoder a user would pick instead, bcg729's (a different codec: its output is
// not compared).
//
// Usage: bench_commands [RUNS]   (default 9 runs of each side)
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<char>;

constexpr int kRepeats = 30;  // the ~10 s bundled sample, 30 times: 5 minutes

Bytes readAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void writeRepeated(const fs::path& from, const fs::path& to) {
  const Bytes once = readAll(from);
  std::ofstream out(to, std::ios::binary);
  for (int i = 0; i < kRepeats; ++i)
    out.write(once.data(), static_cast<std::streamsize>(once.size()));
}

struct Timing {
  double wall = -1;  // seconds, start to exit; negative when the program failed
  double cpu = 0;    // user + system seconds of all its threads
};

// Runs argv with its standard output silenced.
Timing timeRun(const std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  const auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  int status = -1;
  rusage usage{};
  if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0)
    wait4(pid, &status, 0, &usage);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  posix_spawn_file_actions_destroy(&actions);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return {};
  const auto seconds = [](timeval t) { return static_cast<double>(t.tv_sec) + t.tv_usec * 1e-6; };
  return {elapsed.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime)};
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

struct Comparison {
  const char* name;
  std::vector<std::string> tool;   // the tool's command, writing tool_out
  std::vector<std::string> plain;  // the plain program, writing plain_out
  fs::path toolOut, plainOut;      // compared when plainOut is set
};

}  // namespace

int main(int argc, char** argv) {
  const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 9;
  const fs::path dir = fs::temp_directory_path() / "kestrune-command-bench";
  fs::create_directories(dir);
  const fs::path data = KESTRUNE_SAMPLE_DIR;
  const std::string tool = KESTRUNE_TOOL;
  const std::string bin = KESTRUNE_PLAIN_DIR;
  const auto at = [&](const char* name) { return (dir / name).string(); };

  writeRepeated(data / "speech-16k.pcm", at("speech.pcm"));
  writeRepeated(data / "speech-16k.spx-framed", at("speech.spx"));
  writeRepeated(data / "speech-8k.pcm", at("speech-8k.pcm"));
  if (timeRun({tool, "opus-encode", at("speech.pcm"), at("speech.opus-framed"), "--framed"}).wall <
      0) {
    std::fprintf(stderr, "cannot make the framed Opus input with %s\n", tool.c_str());
    return 1;
  }

  std::vector<Comparison> comparisons = {
      {"opus-encode",
       {tool, "opus-encode", at("speech.pcm"), at("tool.opus")},
       {bin + "/plain_opus_encode", at("speech.pcm"), at("plain.opus")},
       at("tool.opus"),
       at("plain.opus")},
      {"opus-decode",
       {tool, "opus-decode", at("speech.opus-framed"), at("tool-opus.pcm")},
       {bin + "/plain_opus_decode", at("speech.opus-framed"), at("plain-opus.pcm")},
       at("tool-opus.pcm"),
       at("plain-opus.pcm")},
      {"speex-decode",
       {tool, "speex-decode", at("speech.spx"), at("tool-speex.pcm")},
       {bin + "/plain_speex_decode", at("speech.spx"), at("plain-speex.pcm")},
       at("tool-speex.pcm"),
       at("plain-speex.pcm")},
  };
  if (fs::exists(bin + "/plain_bcg729_encode"))
    comparisons.push_back({"pcm2wtg",
                           {tool, "pcm2wtg", at("speech-8k.pcm"), at("tool.wtg")},
                           {bin + "/plain_bcg729_encode", at("speech-8k.pcm"), at("bcg729.g729")},
                           at("tool.wtg"),
                           {}});

  std::printf("%-13s %8s %8s %7s %8s %8s %7s\n", "command", "tool s", "plain s", "ratio",
              "tool cpu", "plain", "ratio");
  int status = 0;
  for (const auto& c : comparisons) {
    std::vector<double> toolWall, plainWall, toolCpu, plainCpu;
    bool failed = false;
    for (int i = 0; i < runs; ++i) {
      for (auto [args, wall, cpu] :
           {std::tie(c.tool, toolWall, toolCpu), std::tie(c.plain, plainWall, plainCpu)}) {
        const Timing timing = timeRun(args);
        failed = failed || timing.wall < 0;
        wall.push_back(timing.wall);
        cpu.push_back(timing.cpu);
      }
    }
    const bool same = c.plainOut.empty() || readAll(c.toolOut) == readAll(c.plainOut);
    std::printf("%-13s %8.3f %8.3f %7.3f %8.3f %8.3f %7.3f%s\n", c.name, median(toolWall),
                median(plainWall), median(toolWall) / median(plainWall), median(toolCpu),
                median(plainCpu), median(toolCpu) / median(plainCpu),
                failed ? "  FAILED RUN"
                : same ? ""
                       : "  OUTPUTS DIFFER");
    if (failed || !same) status = 1;
  }
  std::printf("medians of %d alternating runs on 300 s of 16 kHz speech; ratio = tool / plain\n",
              runs);
  return status;
}
