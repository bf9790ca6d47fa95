// The dialog end to end: the Windows host under wine on a private X server
// opens the dialog, dialog-runner.exe plays a user through it, and what
// comes out is held against the native command line.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "pihost/png_io.h"
#include "tests/e2e/host_runner.h"

namespace {

const std::string kWindowsBin = ML_WIN64_BIN;
const std::string kPrefix = ML_DIALOG_WINE_PREFIX;

std::string quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

bool onPath(const char* program) {
  return std::system(("command -v " + std::string(program) + " >/dev/null 2>&1").c_str()) == 0;
}

// An X server of the test's own on the first free display, and a wine
// prefix of its own, so that no other test's wine process (which has no
// display) shares its desktop. Without a window manager wine must manage
// its windows itself, or every hide waits for one.
class WineDesktop {
 public:
  static bool start(std::string* why) {
    if (!onPath("wine") || !onPath("Xvfb")) return *why = "wine or Xvfb is not installed", false;
    if (!fileExists(kWindowsBin + "/marrowline-host.exe") || !fileExists(kWindowsBin + "/dialog-runner.exe"))
      return *why = "no Windows build in build/win64/bin", false;
    for (int n = 90; n < 190 && display_.empty(); ++n) {
      const std::string lock = "/tmp/.X" + std::to_string(n) + "-lock";
      const std::string socket = "/tmp/.X11-unix/X" + std::to_string(n);
      if (fileExists(lock) || fileExists(socket)) continue;
      const std::string name = ":" + std::to_string(n);
      const pid_t server = fork();
      if (server == 0) {
        std::freopen("/dev/null", "w", stderr);
        execlp("Xvfb", "Xvfb", name.c_str(), "-screen", "0", "1280x1024x24", "-noreset", "-nolisten", "tcp",
               static_cast<char*>(nullptr));
        _exit(127);
      }
      // A server that ends at once lost the display to another: the next one.
      bool ended = false;
      for (int wait = 0; wait < 200 && !ended && !fileExists(socket); ++wait) {
        ended = waitpid(server, nullptr, WNOHANG) == server;
        usleep(50000);
      }
      usleep(200000);
      if (!ended && waitpid(server, nullptr, WNOHANG) == 0 && fileExists(socket)) {
        server_ = server;
        display_ = name;
      } else if (!ended) {
        kill(server, SIGTERM);
        waitpid(server, nullptr, 0);
      }
    }
    if (display_.empty()) return *why = "no X display could be started", false;
    const std::string made = environment() + "wine reg add 'HKCU\\Software\\Wine\\X11 Driver' /v Managed /d N /f";
    if (std::system((made + " >/dev/null 2>&1").c_str()) != 0) return *why = "wine cannot set its registry", false;
    return true;
  }

  static void stop() {
    if (!display_.empty()) std::system((environment() + "wineserver -k >/dev/null 2>&1").c_str());
    if (server_ > 0) {
      kill(server_, SIGTERM);
      waitpid(server_, nullptr, 0);
    }
    server_ = 0;
    display_.clear();
  }

  static std::string environment() {
    return "DISPLAY=" + display_ + " WINEPREFIX=" + quote(kPrefix) +
           " WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=' ";
  }

 private:
  static inline pid_t server_ = 0;
  static inline std::string display_;
};

using Report = std::map<std::string, std::string>;

std::string textOf(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// One scenario of the runner against `marrowline-host.exe --dialog`.
Report runScenario(const std::string& scenario, const std::vector<std::string>& hostArguments) {
  const std::string reportPath = scratchPath(scenario + "-report.txt");
  std::remove(reportPath.c_str());
  std::string command = WineDesktop::environment() + "timeout 120 wine " + quote(kWindowsBin + "/dialog-runner.exe") +
                        " " + scenario + " " + quote(reportPath) + " " + quote(scratchPath(scenario)) + " " +
                        quote(kWindowsBin + "/marrowline-host.exe") + " --dialog";
  for (const std::string& argument : hostArguments) command += " " + quote(argument);
  std::system((command + " >/dev/null 2>" + quote(scratchPath(scenario + "-stderr.txt"))).c_str());
  Report report;
  std::ifstream in(reportPath);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const size_t space = line.find(' ');
    report[line.substr(0, space)] = space == std::string::npos ? "" : line.substr(space + 1);
  }
  if (report.count("exit") == 0)
    report["error"] += " (no exit; wine and the host said: " + textOf(scratchPath(scenario + "-stderr.txt")) + ")";
  return report;
}

// A binary PPM as the runner writes it.
HostImage readCapture(const std::string& path) {
  HostImage image;
  std::ifstream in(path, std::ios::binary);
  std::string magic;
  int32_t width = 0, height = 0, top = 0;
  in >> magic >> width >> height >> top;
  in.get();
  if (magic != "P6" || width <= 0 || height <= 0 || top != 255) return image;
  hostImageAllocate(&image, width, height, 3, false, 8, 0);
  in.read(reinterpret_cast<char*>(image.bytes.data()), std::streamsize(image.bytes.size()));
  return image;
}

HostImage crop(const HostImage& image, int32_t left, int32_t top, int32_t width, int32_t height) {
  HostImage part;
  hostImageAllocate(&part, width, height, image.colorPlanes, false, 8, 0);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x)
      for (int32_t p = 0; p < image.colorPlanes; ++p)
        if (left + x < image.width && top + y < image.height)
          setHostSample(&part, x, y, p, hostSample(image, left + x, top + y, p));
  return part;
}

// Every parameter given, so that no cached setting of an earlier run decides
// what the dialog opens with.
std::vector<std::string> parameters(const std::string& style, const std::string& smoothing,
                                    const std::string& tweaker, const std::string& flip) {
  return {"--edge-style", style,     "--smoothing", smoothing, "--tweaker",     tweaker, "--edge-extent", "both",
          "--source",     "greyscale", "--colorize", "0",      "--chrome-style", "Phong", "--angle",       "45",
          "--remove-noise", "1",     "--glue",      "normal",  "--flip",        flip};
}

std::vector<std::string> plus(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

class WindowsBuildDialog : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!WineDesktop::start(&why_)) WineDesktop::stop();
    // A picture larger than the pane, so that the dialog opens at a third
    // and zooming in leaves room to pan.
    input_ = scratchPath("dialog-in.png");
    writePicture(input_, makeTestPicture(1200, 900, 3, false, 8, 31));
  }
  static void TearDownTestSuite() { WineDesktop::stop(); }
  void SetUp() override {
    if (!why_.empty()) GTEST_SKIP() << "the dialog under wine is not tested: " << why_;
  }

  static inline std::string why_;
  static inline std::string input_;
};

TEST_F(WindowsBuildDialog, AScriptedUserGetsWhatTheCommandLineGives) {
  const std::string output = scratchPath("edit-out.png"), record = scratchPath("edit-record.txt");
  std::remove(output.c_str());
  Report seen = runScenario("edit", plus(parameters("blurry", "20", "30", "0"), {"--record", record, input_, output}));
  ASSERT_EQ(seen.count("error"), 0u) << seen["error"];
  ASSERT_EQ(seen["exit"], "0") << textOf(scratchPath("edit-stderr.txt"));

  // What the controls showed after each step.
  EXPECT_EQ(seen["style"], "3");  // thin/soft
  const int smoothing = std::atoi(seen["smoothing"].c_str());
  EXPECT_GT(smoothing, 20) << "the slider did not follow the drag";
  EXPECT_LT(smoothing, 100);
  EXPECT_EQ(seen["tweaker-typed"], "150");
  EXPECT_EQ(seen["tweaker"], "100") << "the box is not clamped a second after typing";
  EXPECT_EQ(seen["flip"], "1");
  EXPECT_EQ(seen["zoom"], "50%");

  // OK renders and records exactly what the command line does.
  const std::vector<std::string> chosen = parameters("thin/soft", seen["smoothing"], "100", "1");
  const std::string expected = scratchPath("edit-expected.png"), expectedRecord = scratchPath("edit-expected.txt");
  ASSERT_EQ(runHost(plus(chosen, {"--record", expectedRecord}), input_, expected).exitCode, 0);
  ASSERT_TRUE(fileExists(output));
  EXPECT_TRUE(hostImagesEqual(readPicture(output), readPicture(expected)));
  EXPECT_EQ(textOf(record), textOf(expectedRecord));

  // The pane after the pan. The picture opens at a third (1200 / 518 and
  // 900 / 377 round up to 3); zooming to a half keeps the centre, a pan of
  // (82, 73); the hand moved 40 right and 160 up, which at a half is 80
  // left (to 2) and 320 down (held at the bottom edge, 146).
  const std::string view = scratchPath("edit-view.png");
  ASSERT_EQ(runHost(plus(chosen, {"--preview", "2,2,146"}), input_, view).exitCode, 0);
  const HostImage pane = readPicture(view);
  int32_t left = 0, top = 0;
  ASSERT_EQ(std::sscanf(seen["pane"].c_str(), "%d %d", &left, &top), 2);
  const HostImage client = readCapture(scratchPath("edit-client.ppm"));
  ASSERT_EQ(client.width, 866);
  ASSERT_EQ(client.height, 548);
  // The picture fills the pane inside its two-pixel frame.
  EXPECT_TRUE(hostImagesEqual(crop(client, left + 2, top + 2, pane.width, pane.height), pane))
      << "the pane does not show --preview 2,2,146";
}

TEST_F(WindowsBuildDialog, CancelAndEscapeLeaveNoOutput) {
  const std::vector<std::string> given = parameters("chrome", "40", "60", "0");
  for (const char* scenario : {"cancel", "escape"}) {
    const std::string output = scratchPath(std::string(scenario) + "-out.png");
    const std::string record = scratchPath(std::string(scenario) + "-record.txt");
    std::remove(output.c_str());
    Report seen = runScenario(scenario, plus(given, {"--record", record, input_, output}));
    ASSERT_EQ(seen.count("error"), 0u) << scenario << ": " << seen["error"];
    EXPECT_EQ(seen["owner"], "MarrowlineHostWindow") << scenario << ": the host's window owns the dialog";
    EXPECT_EQ(seen["flip"], "1") << scenario;
    EXPECT_EQ(seen["exit"], "4") << scenario << ": the cancel code";
    EXPECT_FALSE(fileExists(output)) << scenario;
    EXPECT_FALSE(fileExists(record)) << scenario;
  }

  // As it opened, the pane showed the whole picture at a third, centred in
  // the pane's 518 x 377 inside its frame at (328, 4), on white.
  const std::string view = scratchPath("cancel-view.png");
  ASSERT_EQ(runHost(plus(given, {"--preview", "fit"}), input_, view).exitCode, 0);
  const HostImage pane = readPicture(view);
  ASSERT_EQ(pane.width, 400);
  ASSERT_EQ(pane.height, 300);
  const HostImage client = readCapture(scratchPath("cancel-client.ppm"));
  const int32_t left = 328 + (518 - 400) / 2, top = 4 + (377 - 300) / 2;
  EXPECT_TRUE(hostImagesEqual(crop(client, left, top, 400, 300), pane)) << "the pane does not show --preview fit";
  int32_t notWhite = 0;
  for (int32_t y = 4; y < 4 + 377; ++y)
    for (int32_t x = 328; x < 328 + 518; ++x)
      if (x < left || x >= left + 400 || y < top || y >= top + 300)
        for (int32_t p = 0; p < 3; ++p) notWhite += hostSample(client, x, y, p) != 255 ? 1 : 0;
  EXPECT_EQ(notWhite, 0) << "the pane round the picture is not white";
}

// A Windows path on drive C: of the test's prefix, as a path of this machine.
std::string hostPathOf(std::string windowsPath) {
  if (windowsPath.size() < 3 || (windowsPath[0] != 'C' && windowsPath[0] != 'c') || windowsPath[1] != ':') return "";
  for (char& c : windowsPath)
    if (c == '\\') c = '/';
  return kPrefix + "/drive_c" + windowsPath.substr(2);
}

TEST_F(WindowsBuildDialog, ADotKeepsARandomizedLookUntilOk) {
  const std::string output = scratchPath("dots-out.png"), record = scratchPath("dots-record.txt");
  std::remove(output.c_str());
  // The third dot starts empty and unpinned (a plain click pins what it
  // stores), and no file of an earlier run may stand in for this one's.
  std::system(("find " + quote(kPrefix + "/drive_c/users") +
               " \\( -name 'Marrowline memdot map 3' -o -name 'Marrowline memory dot 2.q4t' \\) -delete")
                  .c_str());
  Report seen = runScenario("dots", plus(parameters("blurry", "20", "30", "0"), {"--record", record, input_, output}));
  ASSERT_EQ(seen.count("error"), 0u) << seen["error"];
  ASSERT_EQ(seen["exit"], "0") << textOf(scratchPath("dots-stderr.txt"));
  // The controls show the first draw again after the recall.
  EXPECT_EQ(seen["recalled"], seen["randomized"]);
  EXPECT_NE(seen["randomized"], "1 3 1 1 1 20 30 0 1 0") << "randomize changed nothing";

  // OK takes what the third dot's file holds: the command line with that
  // file as its preset gives the same picture and the same record.
  std::string folder = hostPathOf(seen["temporary-folder"]);
  ASSERT_FALSE(folder.empty()) << seen["temporary-folder"];
  const std::string dotFile = folder + "/Marrowline memory dot 2.q4t";
  ASSERT_TRUE(fileExists(dotFile)) << dotFile;
  const std::string expected = scratchPath("dots-expected.png"), expectedRecord = scratchPath("dots-expected.txt");
  ASSERT_EQ(runHost({"--preset", dotFile, "--record", expectedRecord}, input_, expected).exitCode, 0);
  ASSERT_TRUE(fileExists(output));
  EXPECT_TRUE(hostImagesEqual(readPicture(output), readPicture(expected)));
  EXPECT_EQ(textOf(record), textOf(expectedRecord));
}

// Every pixel of a capture within `slack` of one colour.
bool allNear(const HostImage& image, const uint16_t colour[3], int slack) {
  for (int32_t y = 0; y < image.height; ++y)
    for (int32_t x = 0; x < image.width; ++x)
      for (int32_t p = 0; p < 3; ++p)
        if (std::abs(int(hostSample(image, x, y, p)) - int(colour[p])) > slack) return false;
  return image.width > 0;
}

TEST_F(WindowsBuildDialog, TheBrowserShowsStoredThumbnailsAndChangesNothing) {
  // A folder of two settings files: the first with a red thumbnail, the
  // second with none; both far from the parameters the dialog opens with.
  const std::string folder = scratchPath("browse");
  std::system(("rm -rf " + quote(folder) + " && mkdir -p " + quote(folder)).c_str());
  HostImage red;
  hostImageAllocate(&red, 128, 128, 3, false, 8, 0);
  for (int32_t y = 0; y < 128; ++y)
    for (int32_t x = 0; x < 128; ++x) setHostSample(&red, x, y, 0, 230);
  const std::string redPicture = scratchPath("red.png");
  writePicture(redPicture, red);
  const std::string tool = quote(std::string(ML_NATIVE_BIN) + "/marrowline-preset");
  ASSERT_EQ(std::system((tool + " write " + quote(folder + "/a red.q4t") + " --edge-style chrome --thumbnail " +
                         quote(redPicture)).c_str()),
            0);
  ASSERT_EQ(std::system((tool + " write " + quote(folder + "/b plain.q4t") + " --edge-style tangled").c_str()), 0);
  const std::string stored = scratchPath("a-red-thumbnail.png");
  ASSERT_EQ(std::system((tool + " thumbnail " + quote(folder + "/a red.q4t") + " " + quote(stored)).c_str()), 0);
  const HostImage thumbnail = readPicture(stored);
  const uint16_t storedColour[3] = {hostSample(thumbnail, 64, 64, 0), hostSample(thumbnail, 64, 64, 1),
                                    hostSample(thumbnail, 64, 64, 2)};

  std::string windowsFolder = "Z:" + folder;
  for (char& c : windowsFolder)
    if (c == '/') c = '\\';
  setenv("MARROWLINE_BROWSE_FOLDER", windowsFolder.c_str(), 1);
  const std::string output = scratchPath("browser-out.png");
  std::remove(output.c_str());
  const std::vector<std::string> given = parameters("blurry", "20", "30", "0");
  Report seen = runScenario("browser", plus(given, {input_, output}));
  unsetenv("MARROWLINE_BROWSE_FOLDER");
  ASSERT_EQ(seen.count("error"), 0u) << seen["error"];
  ASSERT_EQ(seen["exit"], "0") << textOf(scratchPath("browser-stderr.txt"));

  // The first file's stored thumbnail fills the pane; the second, without
  // one, leaves the grey ramp: grey, and not one flat grey.
  const HostImage first = readCapture(scratchPath("browser-first.ppm"));
  EXPECT_TRUE(allNear(first, storedColour, 2)) << "the pane does not show the stored thumbnail";
  const HostImage second = readCapture(scratchPath("browser-second.ppm"));
  ASSERT_GT(second.width, 0);
  bool grey = true;
  uint16_t lowest = 255, highest = 0;
  for (int32_t y = 0; y < second.height; ++y)
    for (int32_t x = 0; x < second.width; ++x) {
      const uint16_t v = hostSample(second, x, y, 0);
      grey = grey && v == hostSample(second, x, y, 1) && v == hostSample(second, x, y, 2);
      lowest = std::min(lowest, v);
      highest = std::max(highest, v);
    }
  EXPECT_TRUE(grey) << "a file without a thumbnail does not show the ramp";
  EXPECT_GT(highest - lowest, 64) << "a file without a thumbnail does not show the ramp";

  // Cancel in the browser changed nothing: OK renders what the dialog
  // opened with.
  EXPECT_EQ(seen["after"], seen["before"]);
  const std::string expected = scratchPath("browser-expected.png");
  ASSERT_EQ(runHost(given, input_, expected).exitCode, 0);
  ASSERT_TRUE(fileExists(output));
  EXPECT_TRUE(hostImagesEqual(readPicture(output), readPicture(expected)));
}

// The README's pictures of the dialog, taken by hand (never under ctest):
// with MARROWLINE_SCREENSHOTS=docs, run build/native/bin/test_wine_dialog
// --gtest_also_run_disabled_tests --gtest_filter='*Screenshots'.
// The window as it opens on the demo's picture, once with the first style
// and once in chrome.
TEST_F(WindowsBuildDialog, DISABLED_Screenshots) {
  const char* folder = std::getenv("MARROWLINE_SCREENSHOTS");
  ASSERT_TRUE(folder != nullptr && *folder != '\0') << "MARROWLINE_SCREENSHOTS names the folder";
  const std::string sample = scratchPath("sample.png");
  ASSERT_EQ(std::system((quote(std::string(ML_NATIVE_BIN) + "/marrowline-sample") + " " + quote(sample) +
                         " 1036 754 8 rgb").c_str()),
            0);
  const struct {
    const char* name;
    std::vector<std::string> parameters;
  } shots[] = {{"dialog.png", parameters("blurry", "20", "80", "0")},
               {"dialog-chrome.png", parameters("chrome", "30", "60", "0")}};
  for (const auto& shot : shots) {
    Report seen = runScenario("shot", plus(shot.parameters, {sample, scratchPath("shot-out.png")}));
    ASSERT_EQ(seen.count("error"), 0u) << seen["error"];
    std::string error;
    EXPECT_TRUE(writePngImage(std::string(folder) + "/" + shot.name, readCapture(scratchPath("shot-client.ppm")),
                              &error))
        << error;
  }
}

}  // namespace
