// Every failure path of a run walked with the real plug-in, in process: each
// allocation through the host's suites failing in turn, a cancel at each
// abort check, and every style under every named host profile.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "session/terminology.h"
#include "pihost/host_options.h"
#include "pihost/host_profiles.h"
#include "pihost/host_session.h"
#include "pihost/image_files.h"
#include "pihost/plugin_module.h"
#include "presets/settings_file.h"
#include "presets/settings_workspace.h"
#include "tests/e2e/host_runner.h"

namespace {

PluginEntryProc pluginEntry() {
  static PluginModule module;
  static bool loaded = false;
  if (!loaded) {
    std::string error;
    scratchPath("");  // the plug-in's temporary files go to this binary's folder
    loaded = loadPluginModule(std::string(ML_NATIVE_BIN) + "/Marrowline.so", &module, &error);
    EXPECT_TRUE(loaded) << error;
  }
  return loaded ? module.entry : nullptr;
}

struct InProcessRun {
  int16_t result = 0;
  std::string protocolError;
  HostImage output;
  int64_t allocations = 0;
  int64_t abortCalls = 0;
  int64_t leaked = 0;
};

InProcessRun runInProcess(const HostImage& picture, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "marrowline-host");
  arguments.push_back("in.png");
  arguments.push_back("out.png");
  std::vector<const char*> argv;
  for (const std::string& a : arguments) argv.push_back(a.c_str());
  HostOptions options;
  std::string error;
  InProcessRun run;
  EXPECT_EQ(parseHostOptions(int(argv.size()), argv.data(), &options, &error), ParseOutcome::Run) << error;
  auto session = std::make_unique<HostSession>();
  EXPECT_TRUE(hostSessionSetup(session.get(), options, picture, nullptr, &error)) << error;
  run.result = hostSessionRun(session.get(), pluginEntry());
  run.protocolError = session->protocolError;
  run.allocations = session->services.suiteAllocations;
  run.abortCalls = session->services.abortCalls;
  run.leaked = hostSessionLeakedBlocks(*session);
  hostSessionComposeInPlace(session.get());
  run.output = std::move(session->filtered);
  hostSessionRelease(session.get());
  return run;
}

struct Case {
  const char* style;
  int32_t depth;
};
const Case kCases[] = {{"blurry", 8}, {"blurry", 16}, {"thin/soft", 8}, {"thin/soft", 16}};

HostImage pictureFor(const Case& c) { return makeTestPicture(280, 90, 3, false, c.depth, 71); }

TEST(FailurePaths, EachAllocationFailingInTurnEndsCleanly) {
  for (const Case& c : kCases) {
    const HostImage picture = pictureFor(c);
    const InProcessRun plain = runInProcess(picture, {"--edge-style", c.style});
    ASSERT_EQ(plain.result, 0) << c.style;
    ASSERT_GT(plain.allocations, 0);
    int refused = 0;
    for (int64_t n = 1; n <= plain.allocations; ++n) {
      const InProcessRun run = runInProcess(picture, {"--edge-style", c.style, "--fail-alloc", std::to_string(n)});
      const std::string where = std::string(c.style) + " at " + std::to_string(c.depth) + " bits, allocation " +
                                std::to_string(n);
      EXPECT_EQ(run.leaked, 0) << where;
      EXPECT_TRUE(run.protocolError.empty()) << where << ": " << run.protocolError;
      if (run.result == 0) {
        // The plug-in fell back to plain memory: the same picture.
        EXPECT_TRUE(hostImagesEqual(run.output, plain.output)) << where;
      } else {
        EXPECT_TRUE(run.result == memFullErr || run.result == 1 || run.result == 999) << where << ": " << run.result;
        ++refused;
      }
    }
    EXPECT_GT(refused, 0) << c.style;  // at least the session handle cannot do without the host
  }
}

TEST(FailurePaths, CancelAtEachAbortCheckEndsCleanly) {
  for (const Case& c : kCases) {
    const HostImage picture = pictureFor(c);
    const InProcessRun plain = runInProcess(picture, {"--edge-style", c.style});
    ASSERT_EQ(plain.result, 0);
    ASSERT_GT(plain.abortCalls, 0);
    for (int64_t n = 0; n < plain.abortCalls; ++n) {
      const InProcessRun run = runInProcess(picture, {"--edge-style", c.style, "--cancel-after", std::to_string(n)});
      EXPECT_EQ(run.result, userCanceledErr) << c.style << " cancelled after " << n;
      EXPECT_EQ(run.leaked, 0) << c.style << " cancelled after " << n;
    }
    const InProcessRun late =
        runInProcess(picture, {"--edge-style", c.style, "--cancel-after", std::to_string(plain.abortCalls)});
    EXPECT_EQ(late.result, 0);
    EXPECT_TRUE(hostImagesEqual(late.output, plain.output));
  }
}

TEST(FailurePaths, TheProgramWritesNothingWhenARunFails) {
  const std::string in = scratchPath("fail-in.png"), out = scratchPath("fail-out.png");
  writePicture(in, makeTestPicture(60, 40, 3, false, 8, 73));
  const std::vector<uint8_t> before = fileBytes(in);
  const struct {
    std::vector<std::string> options;
    int exitCode;
    const char* message;
  } cases[] = {{{"--fail-alloc", "1"}, 1, "the plug-in failed with result"},
               {{"--cancel-after", "0"}, 4, "cancelled (result -128"}};
  for (const auto& c : cases) {
    std::remove(out.c_str());
    HostRun run = runHost(c.options, in, out);
    EXPECT_EQ(run.exitCode, c.exitCode) << run.errorText;
    EXPECT_NE(run.errorText.find(c.message), std::string::npos) << run.errorText;
    EXPECT_FALSE(fileExists(out));
    EXPECT_EQ(fileBytes(in), before);
  }
}

// A host without descriptors cannot pass the style: the plug-in runs on its
// cached settings, so the test leaves the style there first.
void cacheStyle(int32_t style) {
  auto workspace = std::make_unique<SettingsWorkspace>();
  ASSERT_TRUE(openSettingsWorkspace(workspace.get(), nullptr));
  *scriptField(&workspace->parameters, *findScriptKey(KEY_EDGE_STYLE)) = style;
  saveCachedSettings(&workspace->session);
  closeSettingsWorkspace(workspace.get());
}

TEST(HostProfiles, EveryStyleUnderEveryProfileGivesThePlainPicture) {
  pluginEntry();
  const HostImage pictures[] = {makeTestPicture(90, 70, 3, true, 8, 75), makeTestPicture(90, 70, 1, false, 16, 76)};
  for (const HostImage& picture : pictures) {
    for (int32_t style = 1; style <= 13; ++style) {
      const std::vector<std::string> styleOption = {"--edge-style", std::to_string(style)};
      const InProcessRun plain = runInProcess(picture, styleOption);
      ASSERT_EQ(plain.result, 0);
      for (int p = 1; p < hostProfileCount(); ++p) {
        const HostProfile& profile = hostProfileAt(p);
        std::vector<std::string> options = styleOption;
        if (profile.noDescriptorsCaseZero) cacheStyle(style);
        options.insert(options.end(), {"--host-profile", profile.name});
        const InProcessRun run = runInProcess(picture, options);
        const std::string where = std::string(profile.name) + ", style " + std::to_string(style) + ", " +
                                  std::to_string(picture.depth) + " bits";
        EXPECT_EQ(run.result, 0) << where << ": " << run.protocolError;
        EXPECT_EQ(run.leaked, 0) << where;
        EXPECT_TRUE(hostImagesEqual(run.output, plain.output)) << where;
      }
    }
  }
}

}  // namespace
