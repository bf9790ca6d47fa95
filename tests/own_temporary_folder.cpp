// Every test program works in a temporary folder of its own, made inside
// the one it was given and removed, with all it holds, when the program's
// tests are done. The filter keeps its memory dots, undo states and cached
// settings in the temporary folder: a test run must neither overwrite a
// user's nor leave its own behind, and tests run side by side must not
// share them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace {

class OwnTemporaryFolder : public ::testing::Environment {
 public:
  void SetUp() override {
    const char* given = std::getenv("TMPDIR");
    hadGiven_ = given != nullptr;
    if (given) given_ = given;
    std::string pattern = (given && *given ? std::string(given) : std::string("/tmp")) + "/marrowline-test-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    // Without a folder of its own the program keeps the one it was given.
    if (mkdtemp(name.data()) == nullptr) return;
    folder_ = name.data();
    setenv("TMPDIR", folder_.c_str(), 1);
  }
  void TearDown() override {
    if (folder_.empty()) return;
    if (hadGiven_)
      setenv("TMPDIR", given_.c_str(), 1);
    else
      unsetenv("TMPDIR");
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

 private:
  std::string folder_, given_;
  bool hadGiven_ = false;
};

::testing::Environment* const ownTemporaryFolder = ::testing::AddGlobalTestEnvironment(new OwnTemporaryFolder);

}  // namespace
