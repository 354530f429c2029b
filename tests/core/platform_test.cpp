#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "kestrune/TZPlatform.h"
#include "tests/support/test_files.h"

namespace {

// Sets an environment variable for one scope and restores it afterwards.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::string& value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    setenv(name, value.c_str(), 1);
  }
  ~ScopedEnv() {
    if (old_) {
      setenv(name_, old_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(Platform, DocumentsDirectoryFollowsOverrideThenEnvironmentThenHomeAndIsCreated) {
  TempDocuments scratch;  // also sets an override; cleared below to test the fallbacks
  const auto root = std::filesystem::path(scratch.path());

  TZPlatform::setDocumentsDirectory((root / "set/by/call").string());
  ScopedEnv env("KESTRUNE_DOCUMENTS_DIR", (root / "from-env").string());
  ScopedEnv home("HOME", (root / "home").string());
  EXPECT_EQ(TZPlatform::documentsDirectory(), (root / "set/by/call").string());
  EXPECT_TRUE(std::filesystem::is_directory(root / "set/by/call"));

  TZPlatform::setDocumentsDirectory("");
  EXPECT_EQ(TZPlatform::documentsDirectory(), (root / "from-env").string());

  setenv("KESTRUNE_DOCUMENTS_DIR", "", 1);
  EXPECT_EQ(TZPlatform::documentsDirectory(), (root / "home/Documents").string());
  EXPECT_TRUE(std::filesystem::is_directory(root / "home/Documents"));
  EXPECT_EQ(TZPlatform::documentsPath("x.pcm"), (root / "home/Documents/x.pcm").string());
}

}  // namespace
