// A conversion service kept in a static, as an application may keep it, with a conversion
// under way when the process exits: the exit must end the process normally (status 0), the
// conversion under way finished. Run by CTest (service_at_exit), also under the sanitizers.
// Usage: service_at_exit PCM WTG
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <thread>

#include "kestrune/TZPcmToWtg.h"

namespace {

std::shared_ptr<TZPcmToWtg> service = TZPcmToWtg::initWithDelegate(nullptr);

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::filesystem::remove(argv[2]);
  service->convertPcmToWtg(std::make_shared<TZPcm2WtgModel>(argv[1], argv[2]));
  while (!std::filesystem::exists(argv[2])) std::this_thread::yield();  // under way
  std::exit(0);
}
