// Runs a fuzz target once on every file named on the command line or found in a named folder
// (not recursively), in name order, so that a corpus is replayed the same way every time.
// A failure is the target's own abort or a sanitizer's report.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    if (fs::is_directory(argv[i])) {
      for (const auto& entry : fs::directory_iterator(argv[i]))
        if (entry.is_regular_file()) inputs.push_back(entry.path());
    } else {
      inputs.emplace_back(argv[i]);
    }
  }
  std::sort(inputs.begin(), inputs.end());
  if (inputs.empty()) {
    std::fprintf(stderr, "no inputs to replay\n");
    return 1;
  }
  for (const auto& path : inputs) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "cannot read %s\n", path.c_str());
      return 1;
    }
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::printf("%zu inputs replayed\n", inputs.size());
  return 0;
}
