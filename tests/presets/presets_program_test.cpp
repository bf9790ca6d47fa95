// The programs around settings files: the cached settings carried between
// runs of marrowline-host, its --preset option, and marrowline-preset.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/e2e/host_runner.h"
#include "tests/presets/settings_fixture.h"

namespace {

std::string shellQuoted(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

struct ToolRun {
  int exitCode;
  std::string out;
  std::string err;
};

ToolRun runTool(const std::string& arguments) {
  const std::string outPath = scratchPath("tool-out.txt"), errPath = scratchPath("tool-err.txt");
  const std::string tool = std::string(ML_NATIVE_BIN) + "/marrowline-preset";
  int status = std::system((shellQuoted(tool) + " " + arguments + " >" + shellQuoted(outPath) + " 2>" + shellQuoted(errPath)).c_str());
  ToolRun run;
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream out(outPath), err(errPath);
  run.out.assign(std::istreambuf_iterator<char>(out), std::istreambuf_iterator<char>());
  run.err.assign(std::istreambuf_iterator<char>(err), std::istreambuf_iterator<char>());
  return run;
}

// Points the temporary folder of the host (a child, which inherits it) and
// of this process at a fresh scratch folder for one test.
class TempFolder {
 public:
  explicit TempFolder(const std::string& name) : folder_(scratchPath(name)) {
    std::system(("rm -rf " + shellQuoted(folder_) + " && mkdir -p " + shellQuoted(folder_)).c_str());
    const char* previous = std::getenv("TMPDIR");
    hadPrevious_ = previous != nullptr;
    if (previous) previous_ = previous;
    setenv("TMPDIR", folder_.c_str(), 1);
  }
  ~TempFolder() {
    if (hadPrevious_) setenv("TMPDIR", previous_.c_str(), 1);
    else unsetenv("TMPDIR");
  }
  std::string cache() const { return folder_ + "/Marrowline cached settings C"; }

 private:
  std::string folder_, previous_;
  bool hadPrevious_ = false;
};

std::string picture() {
  static std::string path;
  if (path.empty()) {
    path = scratchPath("picture.png");
    writePicture(path, makeTestPicture(64, 48, 3, false, 8, 11));
  }
  return path;
}

std::string solidRedPicture() {
  const std::string path = scratchPath("red.png");
  HostImage image;
  hostImageAllocate(&image, 40, 30, 3, false, 8, 0);
  for (int32_t y = 0; y < 30; ++y)
    for (int32_t x = 0; x < 40; ++x) setHostSample(&image, x, y, 0, 230);
  writePicture(path, image);
  return path;
}

Bytes runAndKeep(const std::vector<std::string>& options, const std::string& name) {
  const std::string out = scratchPath(name);
  HostRun run = runHost(options, picture(), out);
  EXPECT_EQ(run.exitCode, 0) << run.errorText;
  return fileBytes(out);
}

void thumbnailMean(const std::string& path, double mean[3], bool* hasThumbnail) {
  Workspace w;
  readSettingsFile(w.session(), path.c_str(), SettingsReadThumbnailOnly, hasThumbnail);
  meanColour(w.thumbnail(), mean);
}

}  // namespace

TEST(CachedSettings, CarriedFromAConfirmedDialogToTheNextRun) {
  TempFolder temp("carried");
  const Bytes blurry = runAndKeep({"--edge-style", "blurry"}, "blurry.png");
  const Bytes plain = runAndKeep({}, "plain.png");
  ASSERT_NE(blurry, plain);
  // A run without a script leaves no cache behind.
  runAndKeep({"--edge-style", "blurry"}, "again.png");
  EXPECT_FALSE(fileExists(temp.cache()));
  // The dialog (taken as confirmed while it has no window) writes it ...
  runAndKeep({"--dialog-headless", "--edge-style", "blurry"}, "dialog.png");
  ASSERT_TRUE(fileExists(temp.cache()));
  // ... and a host without scripting starts from it.
  EXPECT_EQ(runAndKeep({"--no-descriptors"}, "cached.png"), blurry);
  // A script sets its own values and defaults over everything else.
  EXPECT_EQ(runAndKeep({}, "scripted.png"), plain);
}

TEST(CachedSettings, NotLoadedWhenAScriptIsPresent) {
  // The parameters can't tell (the script resets them), but the thumbnail
  // can: a cache with a red thumbnail is carried into the next cache only
  // when it was loaded.
  TempFolder temp("scripted");
  const std::string red = solidRedPicture();
  ToolRun made = runTool("write " + shellQuoted(temp.cache()) + " --edge-style blurry --thumbnail " + shellQuoted(red));
  ASSERT_EQ(made.exitCode, 0) << made.err;
  double mean[3];
  bool hasThumbnail = false;
  thumbnailMean(temp.cache(), mean, &hasThumbnail);
  ASSERT_TRUE(hasThumbnail);
  ASSERT_GT(mean[0], 200);

  runAndKeep({"--dialog-headless"}, "with-script.png");
  thumbnailMean(temp.cache(), mean, &hasThumbnail);
  EXPECT_FALSE(hasThumbnail && mean[0] > 150 && mean[1] < 60) << "the cache was loaded under a script";

  // A host whose scripts the filter ignores loads it: the red comes back,
  // with the cached edge style.
  made = runTool("write " + shellQuoted(temp.cache()) + " --edge-style blurry --thumbnail " + shellQuoted(red));
  ASSERT_EQ(made.exitCode, 0);
  const Bytes viaCache = runAndKeep({"--dialog-headless", "--host-sig", "PSP8"}, "psp8.png");
  thumbnailMean(temp.cache(), mean, &hasThumbnail);
  EXPECT_TRUE(hasThumbnail);
  EXPECT_GT(mean[0], 200);
  EXPECT_EQ(viaCache, runAndKeep({"--edge-style", "blurry"}, "blurry-direct.png"));
}

TEST(HostPreset, AppliesThroughTheDescriptorAndOptionsOverride) {
  TempFolder temp("preset");
  const std::string preset = scratchPath("preset.q4t");
  ToolRun made = runTool("write " + shellQuoted(preset) +
                         " --edge-style chrome --chrome-style sine --glue screendim --source green --angle 200");
  ASSERT_EQ(made.exitCode, 0) << made.err;
  const std::string record = scratchPath("record.txt");
  Bytes fromPreset = runAndKeep({"--preset", preset, "--record", record}, "from-preset.png");
  Bytes explicitOptions = runAndKeep(
      {"--edge-style", "chrome", "--chrome-style", "sine", "--glue", "screendim", "--source", "green", "--angle", "200"},
      "explicit.png");
  EXPECT_EQ(fromPreset, explicitOptions);
  Bytes recorded = fileBytes(record);
  const std::string text(recorded.begin(), recorded.end());
  EXPECT_NE(text.find("EDky enum ED04\n"), std::string::npos) << text;
  EXPECT_NE(text.find("GLUE enum GL62\n"), std::string::npos) << text;
  EXPECT_NE(text.find("0008 int 200\n"), std::string::npos) << text;

  runAndKeep({"--preset", preset, "--glue", "difference", "--record", record}, "overridden.png");
  recorded = fileBytes(record);
  const std::string overridden(recorded.begin(), recorded.end());
  EXPECT_NE(overridden.find("GLUE enum GL04\n"), std::string::npos) << overridden;
  EXPECT_NE(overridden.find("ECky enum EC02\n"), std::string::npos) << overridden;

  HostRun missing = runHost({"--preset", scratchPath("no-such.q4t")}, picture(), scratchPath("x.png"));
  EXPECT_EQ(missing.exitCode, 3);
  EXPECT_NE(missing.errorText.find("cannot open preset"), std::string::npos);
  HostRun refused = runHost({"--preset", preset, "--no-descriptors"}, picture(), scratchPath("x.png"));
  EXPECT_EQ(refused.exitCode, 2);
}

TEST(PresetTool, WriteShowAndThumbnail) {
  const std::string file = scratchPath("tool.q4t");
  ToolRun run = runTool("write " + shellQuoted(file));
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(fileBytes(file).size(), 64u);  // defaults, no thumbnail

  run = runTool("write " + shellQuoted(file) +
                " --edge-style 3 --smoothing 5 --tweaker=99 --edge-extent 'left to right' --source green"
                " --colorize 1 --edge-spare 2 --chrome-style raw --angle 359 --remove-noise 0 --glue 61 --flip 1"
                " --thumbnail " + shellQuoted(solidRedPicture()));
  ASSERT_EQ(run.exitCode, 0) << run.err;
  run = runTool("show " + shellQuoted(file));
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out,
            "edge style = thin/soft\n"
            "smoothing = 5\n"
            "tweaker = 99\n"
            "edge extent = left to right\n"
            "source = green\n"
            "colorize = 1\n"
            "edge spare = 2\n"
            "chrome style = raw\n"
            "angle = 359\n"
            "remove noise = 0\n"
            "glue = 61\n"  // 61 has no name
            "flip = 1\n"
            "format version = 190\n"
            "thumbnail = 128 x 128\n");

  const std::string png = scratchPath("thumb.png");
  run = runTool("thumbnail " + shellQuoted(file) + " " + shellQuoted(png));
  ASSERT_EQ(run.exitCode, 0) << run.err;
  HostImage thumb = readPicture(png);
  EXPECT_EQ(thumb.width, 128);
  EXPECT_EQ(thumb.height, 128);
  const HostPixel middle = hostPixel(thumb, 64, 64);
  EXPECT_NEAR(middle[0], 230, 6);
  EXPECT_LT(middle[1], 10);
}

TEST(PresetTool, OldAndCutFilesShowWhatTheReaderKept) {
  const std::string file = scratchPath("old.q4t");
  writeBytesTo(file, wordsOf({188, 1, 20, 100, 3, 1, 0, 4, 1, 45, 1, 0, 1, 62, 0}));
  ToolRun run = runTool("show " + shellQuoted(file));
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_NE(run.out.find("edge style = blurry\n"), std::string::npos);
  EXPECT_NE(run.out.find("tweaker = 61\n"), std::string::npos);
  EXPECT_NE(run.out.find("glue = screendim\n"), std::string::npos);
  EXPECT_NE(run.out.find("format version = 188\nno thumbnail\n"), std::string::npos) << run.out;

  writeBytesTo(file, wordsOf({190, 9, 44}));
  run = runTool("show " + shellQuoted(file));
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_NE(run.out.find("edge style = racetrack\nsmoothing = 44\ntweaker = 80\n"), std::string::npos) << run.out;
  EXPECT_NE(run.err.find("ends early"), std::string::npos);
}

TEST(PresetTool, ErrorsAreOneLineAndNonZero) {
  const std::string file = scratchPath("plain.q4t");
  ASSERT_EQ(runTool("write " + shellQuoted(file)).exitCode, 0);
  struct Case {
    std::string arguments;
    int exitCode;
    std::string message;
  };
  const Case cases[] = {
      {"", 2, "no command"},
      {"frobnicate x", 2, "unknown command"},
      {"show", 2, "show takes one FILE"},
      {"show " + shellQuoted(scratchPath("absent.q4t")), 3, "cannot open"},
      {"show " + shellQuoted(scratchPath("")), 3, "cannot open"},
      {"write " + shellQuoted(file) + " --edge-style sideways", 2, "unknown edge style \"sideways\""},
      {"write " + shellQuoted(file) + " --flip 2", 2, "--flip takes 0 or 1"},
      {"write " + shellQuoted(file) + " --angle", 2, "--angle needs a value"},
      {"write " + shellQuoted(file) + " --sparkle 1", 2, "unknown option --sparkle"},
      {"write " + shellQuoted(file) + " --thumbnail " + shellQuoted(scratchPath("absent.png")), 3, ""},
      {"write " + shellQuoted(scratchPath("no/such/folder.q4t")), 3, "cannot write"},
      {"thumbnail " + shellQuoted(file) + " " + shellQuoted(scratchPath("t.png")), 1, "holds no thumbnail"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.arguments);
    ToolRun run = runTool(c.arguments);
    EXPECT_EQ(run.exitCode, c.exitCode);
    EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  }
  // A failed write leaves the old file as it was.
  EXPECT_EQ(fileBytes(file).size(), 64u);
}
