// The settings file format: its exact bytes, round trips, the versions the
// reader tells apart, the legacy block, damaged and short files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "session/session.h"
#include "files/file_io.h"
#include "files/paths.h"
#include "tests/e2e/host_runner.h"
#include "tests/presets/settings_fixture.h"

namespace {

// The twelve parameters of a file head, in file order, and the rest of the
// first 60 bytes around them.
Bytes fileHead(int32_t version, int32_t tweaker, int32_t glue, int32_t flip) {
  return wordsOf({version, 7, 33, tweaker, 2, 3, 1, 5, 4, 270, 0, 0, 1, glue, flip});
}

std::vector<uint32_t> thumbnailWords(const PixelMap* map) {
  std::vector<uint32_t> words;
  for (int32_t y = 0; y < map->baseHeight; ++y)
    for (int32_t x = 0; x < map->baseWidth; ++x) words.push_back(getWord(x, y, map, 0));
  return words;
}

// A version-190 file of the given parameters with the quarters thumbnail.
Bytes fileWithThumbnail(const std::string& path) {
  Workspace w;
  paintQuarters(w.thumbnail());
  writeSettingsFile(w.session(), path.c_str());
  return readBytesFrom(path);
}

struct ReadOutcome {
  int16_t code;
  bool hasThumbnail;
};

ReadOutcome readInto(Workspace* w, const std::string& path, SettingsReadMode mode = SettingsReadAll) {
  ReadOutcome outcome{};
  outcome.hasThumbnail = true;  // the reader must set it either way
  outcome.code = readSettingsFile(w->session(), path.c_str(), mode, &outcome.hasThumbnail);
  return outcome;
}

void expectDefaults(const EdgeParameters* p) {
  EXPECT_EQ(p->edgeStyle, 3);
  EXPECT_EQ(p->smoothing, 20);
  EXPECT_EQ(p->tweaker, 80);
  EXPECT_EQ(p->glue, 1);
  EXPECT_EQ(p->flip, 0);
}

}  // namespace

TEST(SettingsWrite, DefaultFileWithoutThumbnailIsTheKnownBytes) {
  Workspace w;
  pixelMapFree(w.thumbnail());
  const std::string path = scratchFile("default.q4t");
  EXPECT_EQ(writeSettingsFile(w.session(), path.c_str()), 0);
  const Bytes expected = {
      0x00, 0x00, 0x00, 0xBE, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x50,
      0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04,
      0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x2D, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
  EXPECT_EQ(readBytesFrom(path), expected);
}

TEST(SettingsWrite, ThumbnailBlockLayout) {
  const std::string path = scratchFile("layout.q4t");
  const Bytes bytes = fileWithThumbnail(path);
  ASSERT_GT(bytes.size(), 76u);
  EXPECT_EQ(wordAt(bytes, 60), 1);
  EXPECT_EQ(wordAt(bytes, 64), 128);
  EXPECT_EQ(wordAt(bytes, 68), 128);
  const int32_t length = wordAt(bytes, 72);
  EXPECT_EQ(bytes.size(), 76u + size_t(length));
  EXPECT_LT(length, THUMBNAIL_STREAM_LIMIT);
  EXPECT_EQ(bytes[76], 0xFF);  // the stream starts with its SOI marker
  EXPECT_EQ(bytes[77], 0xD8);
}

TEST(SettingsWrite, WithoutABufferSuiteTheFileStaysWhole) {
  // The JPEG writer refuses a raster without a buffer suite and writes
  // nothing; the file still ends with a thumbnail flag of 0.
  auto ws = std::make_unique<SettingsWorkspace>();
  ASSERT_TRUE(openSettingsWorkspace(ws.get(), nullptr));
  const std::string path = scratchFile("nosuite.q4t");
  writeSettingsFile(&ws->session, path.c_str());
  closeSettingsWorkspace(ws.get());
  const Bytes bytes = readBytesFrom(path);
  ASSERT_EQ(bytes.size(), 64u);
  EXPECT_EQ(wordAt(bytes, 60), 0);
}

TEST(SettingsRoundTrip, ParametersAndThumbnail) {
  const std::string path = scratchFile("round.q4t");
  std::vector<uint32_t> written;
  {
    Workspace w;
    EdgeParameters* p = w.p();
    p->edgeStyle = 13;
    p->smoothing = 0;
    p->tweaker = 100;
    p->edgeExtent = 2;
    p->source = 4;
    p->colorize = 1;
    p->edgeSpare = 6;
    p->chromeStyle = 5;
    p->angle = -17;  // values stand as they come
    p->removeNoise = 0;
    p->glue = 62;
    p->flip = 1;
    paintQuarters(w.thumbnail());
    written = thumbnailWords(w.thumbnail());
    ASSERT_EQ(writeSettingsFile(w.session(), path.c_str()), 0);
  }
  Workspace r;
  copyPathText(r.p()->settingsName, "kept.q4t");
  ReadOutcome outcome = readInto(&r, path);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_TRUE(outcome.hasThumbnail);
  const EdgeParameters* p = r.p();
  EXPECT_EQ(p->edgeStyle, 13);
  EXPECT_EQ(p->smoothing, 0);
  EXPECT_EQ(p->tweaker, 100);
  EXPECT_EQ(p->edgeExtent, 2);
  EXPECT_EQ(p->source, 4);
  EXPECT_EQ(p->colorize, 1);
  EXPECT_EQ(p->edgeSpare, 6);
  EXPECT_EQ(p->chromeStyle, 5);
  EXPECT_EQ(p->angle, -17);
  EXPECT_EQ(p->removeNoise, 0);
  EXPECT_EQ(p->glue, 62);
  EXPECT_EQ(p->flip, 1);
  EXPECT_STREQ(p->settingsName, "kept.q4t");  // the name comes from elsewhere
  EXPECT_EQ(r.session()->thumbnailWidth, 128);
  EXPECT_EQ(r.session()->thumbnailHeight, 128);

  // JPEG at quality 80 keeps flat quarters close.
  Workspace original;
  paintQuarters(original.thumbnail());
  EXPECT_LT(meanDifference(r.thumbnail(), original.thumbnail()), 4.0);
  int32_t c[4];
  getBytes4(100, 20, r.thumbnail(), 0, c);  // inside the green quarter
  EXPECT_NEAR(c[0], 30, 8);
  EXPECT_NEAR(c[1], 200, 8);
  EXPECT_NEAR(c[2], 40, 8);
  EXPECT_EQ(c[3], 255);
}

TEST(SettingsRoundTrip, ThumbnailOnlyLeavesTheParameters) {
  const std::string path = scratchFile("thumbonly.q4t");
  Bytes bytes = fileWithThumbnail(path);
  // Make it an old file with a tweaker that a full read would remap: the
  // thumbnail-only read must neither take nor remap it.
  Bytes old = fileHead(188, 100, 9, 1);
  writeBytesTo(path, old);
  Workspace w;
  w.p()->edgeStyle = 11;
  copyPathText(w.p()->settingsName, "mine.q4t");
  ReadOutcome outcome = readInto(&w, path, SettingsReadThumbnailOnly);
  EXPECT_FALSE(outcome.hasThumbnail);
  EXPECT_EQ(w.p()->edgeStyle, 11);
  EXPECT_EQ(w.p()->tweaker, 80);
  EXPECT_EQ(w.p()->glue, 1);
  EXPECT_STREQ(w.p()->settingsName, "mine.q4t");

  writeBytesTo(path, bytes);
  outcome = readInto(&w, path, SettingsReadThumbnailOnly);
  EXPECT_TRUE(outcome.hasThumbnail);
  EXPECT_EQ(w.p()->edgeStyle, 11);
  Workspace original;
  paintQuarters(original.thumbnail());
  EXPECT_LT(meanDifference(w.thumbnail(), original.thumbnail()), 4.0);
}

TEST(SettingsVersions, TweakerRemapOfOldFiles) {
  EXPECT_EQ(remapOldTweaker(0), 0);
  EXPECT_EQ(remapOldTweaker(20), 17);
  EXPECT_EQ(remapOldTweaker(80), 52);
  EXPECT_EQ(remapOldTweaker(100), 61);
  EXPECT_EQ(remapOldTweaker(200), 100);
  EXPECT_EQ(remapOldTweaker(-1000), -50);  // below the root's reach: no NaN

  const std::string path = scratchFile("v188.q4t");
  Bytes bytes = fileHead(188, 100, 9, 1);
  // Whatever follows flip in an old file is not a thumbnail block.
  Bytes block = fileWithThumbnail(scratchFile("v188-donor.q4t"));
  bytes.insert(bytes.end(), block.begin() + 60, block.end());
  writeBytesTo(path, bytes);
  Workspace w;
  const std::vector<uint32_t> before = thumbnailWords(w.thumbnail());
  ReadOutcome outcome = readInto(&w, path);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_FALSE(outcome.hasThumbnail);
  EXPECT_EQ(w.p()->tweaker, 61);
  EXPECT_EQ(w.p()->edgeStyle, 7);
  EXPECT_EQ(w.p()->angle, 270);
  EXPECT_EQ(w.p()->glue, 9);
  EXPECT_EQ(w.p()->flip, 1);
  EXPECT_EQ(thumbnailWords(w.thumbnail()), before);
}

TEST(SettingsVersions, Version189KeepsTweakerAndIgnoresTrailingBlock) {
  const std::string path = scratchFile("v189.q4t");
  Bytes bytes = fileHead(189, 100, 4, 0);
  Bytes block = fileWithThumbnail(scratchFile("v189-donor.q4t"));
  bytes.insert(bytes.end(), block.begin() + 60, block.end());
  writeBytesTo(path, bytes);
  Workspace w;
  ReadOutcome outcome = readInto(&w, path);
  EXPECT_FALSE(outcome.hasThumbnail);
  EXPECT_EQ(w.p()->tweaker, 100);
  EXPECT_EQ(w.p()->glue, 4);
  EXPECT_EQ(w.session()->thumbnailWidth, 0);
}

TEST(SettingsVersions, LaterVersionsReadAs190) {
  const std::string path = scratchFile("v191.q4t");
  Bytes bytes = fileWithThumbnail(path);
  bytes[3] = 191;
  bytes[15] = 100;  // tweaker 100 stays 100
  writeBytesTo(path, bytes);
  Workspace w;
  ReadOutcome outcome = readInto(&w, path);
  EXPECT_TRUE(outcome.hasThumbnail);
  EXPECT_EQ(w.p()->tweaker, 100);
}

TEST(SettingsVersions, ThumbnailFlagZeroLoadsParametersOnly) {
  const std::string path = scratchFile("flag0.q4t");
  Bytes bytes = fileHead(190, 55, 12, 1);
  appendWord(&bytes, 0);
  writeBytesTo(path, bytes);
  Workspace w;
  const std::vector<uint32_t> ramp = thumbnailWords(w.thumbnail());
  ReadOutcome outcome = readInto(&w, path);
  EXPECT_FALSE(outcome.hasThumbnail);
  EXPECT_EQ(w.p()->tweaker, 55);
  EXPECT_EQ(w.p()->glue, 12);
  EXPECT_EQ(thumbnailWords(w.thumbnail()), ramp);
}

TEST(SettingsLegacy, RawBlockShiftsTheFieldsBehindIt) {
  // Version 189 keeps the legacy block's size in thumbnailWidth (a 190 file
  // would zero it again at its own block).
  const std::string path = scratchFile("legacy.q4t");
  Bytes bytes = wordsOf({189, 7, 33, 66, 2, 3, 1, 5, 4, 270, 0});
  appendWord(&bytes, 1);   // legacy flag
  appendWord(&bytes, 4);   // S
  appendWord(&bytes, 99);  // dropped
  for (int i = 0; i < 16; ++i) bytes.insert(bytes.end(), {200, 100, 50});
  Bytes tail = wordsOf({1, 17, 1});
  bytes.insert(bytes.end(), tail.begin(), tail.end());
  writeBytesTo(path, bytes);
  Workspace w;
  ReadOutcome outcome = readInto(&w, path);
  EXPECT_TRUE(outcome.hasThumbnail);
  EXPECT_EQ(w.session()->thumbnailWidth, 4);
  EXPECT_EQ(w.session()->thumbnailHeight, 4);
  EXPECT_EQ(w.p()->glue, 17);
  EXPECT_EQ(w.p()->flip, 1);
  EXPECT_EQ(w.p()->tweaker, 66);
  double mean[3];
  meanColour(w.thumbnail(), mean);
  EXPECT_NEAR(mean[0], 200, 2);
  EXPECT_NEAR(mean[1], 100, 2);
  EXPECT_NEAR(mean[2], 50, 2);
}

TEST(SettingsLegacy, SizeZeroSkipsA64By64Block) {
  const std::string path = scratchFile("legacy0.q4t");
  Bytes bytes = wordsOf({189, 7, 33, 66, 2, 3, 1, 5, 4, 270, 0, 1, 0, 0});
  bytes.resize(bytes.size() + LEGACY_SKIP_BYTES, 0xAB);
  Bytes tail = wordsOf({1, 23, 1});
  bytes.insert(bytes.end(), tail.begin(), tail.end());
  writeBytesTo(path, bytes);
  Workspace w;
  ReadOutcome outcome = readInto(&w, path);
  EXPECT_FALSE(outcome.hasThumbnail);
  EXPECT_EQ(w.p()->glue, 23);
  EXPECT_EQ(w.p()->flip, 1);
}

TEST(SettingsThumbnailBlock, OddFlagsSizesAndLengthsAreSkipped) {
  const std::string donorPath = scratchFile("donor.q4t");
  const Bytes donor = fileWithThumbnail(donorPath);
  const std::string path = scratchFile("odd.q4t");
  struct Case {
    const char* what;
    size_t offset;
    int32_t value;
    bool taken;
    int32_t width;
  };
  const Case cases[] = {
      {"flag 2", 60, 2, false, 128},
      {"width 300", 64, 300, true, 128},
      {"width -5", 64, -5, false, 0},
      {"length over the buffer", 72, THUMBNAIL_STREAM_LIMIT + 1, false, 128},
      {"negative length", 72, -4, false, 128},
      {"length past the end", 72, wordAt(donor, 72) + 10, false, 128},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Bytes bytes = donor;
    Bytes word = wordsOf({c.value});
    std::copy(word.begin(), word.end(), bytes.begin() + long(c.offset));
    writeBytesTo(path, bytes);
    Workspace w;
    const std::vector<uint32_t> before = thumbnailWords(w.thumbnail());
    ReadOutcome outcome = readInto(&w, path);
    EXPECT_EQ(outcome.hasThumbnail, c.taken);
    EXPECT_EQ(w.session()->thumbnailWidth, c.width);
    EXPECT_EQ(w.session()->thumbnailHeight, c.width);
    if (!c.taken) {
      EXPECT_EQ(thumbnailWords(w.thumbnail()), before);
    }
    EXPECT_EQ(w.p()->glue, 1);  // the parameters load all the same
  }
}

TEST(SettingsThumbnailBlock, CorruptStreamLeavesTheThumbnailAsItWas) {
  const std::string path = scratchFile("corrupt.q4t");
  Bytes bytes = fileWithThumbnail(path);
  bytes[76] = 0x00;  // no SOI: the library's fatal path
  bytes[77] = 0x00;
  writeBytesTo(path, bytes);
  Workspace w;
  paintQuarters(w.thumbnail());
  setBytes4(5, 5, w.thumbnail(), 0, 1, 2, 3, 255);
  const std::vector<uint32_t> before = thumbnailWords(w.thumbnail());
  ReadOutcome outcome = readInto(&w, path);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_FALSE(outcome.hasThumbnail);
  EXPECT_EQ(thumbnailWords(w.thumbnail()), before);
}

TEST(SettingsDamage, SavedOverALongerFileReadsBack) {
  const std::string path = scratchFile("over.q4t");
  const Bytes longer = fileWithThumbnail(path);
  Workspace w;
  pixelMapFree(w.thumbnail());
  w.p()->edgeStyle = 9;
  w.p()->flip = 1;
  writeSettingsFile(w.session(), path.c_str());
  const Bytes now = readBytesFrom(path);
  ASSERT_EQ(now.size(), longer.size());  // the old tail stays behind
  EXPECT_EQ(wordAt(now, 60), 0);
  Workspace r;
  ReadOutcome outcome = readInto(&r, path);
  EXPECT_FALSE(outcome.hasThumbnail);
  EXPECT_EQ(r.p()->edgeStyle, 9);
  EXPECT_EQ(r.p()->flip, 1);
}

TEST(SettingsDamage, TruncatedAtEveryLength) {
  const std::string fullPath = scratchFile("full.q4t");
  Bytes full;
  {
    Workspace w;
    EdgeParameters* p = w.p();
    p->edgeStyle = 7, p->smoothing = 33, p->tweaker = 44, p->edgeExtent = 2, p->source = 3, p->colorize = 1;
    p->edgeSpare = 5, p->chromeStyle = 4, p->angle = 270, p->removeNoise = 0, p->glue = 30, p->flip = 1;
    paintQuarters(w.thumbnail());
    writeSettingsFile(w.session(), fullPath.c_str());
    full = readBytesFrom(fullPath);
  }
  const int32_t expected[] = {7, 33, 44, 2, 3, 1, 5, 4, 270, 0};
  const std::string path = scratchFile("cut.q4t");
  for (size_t length = 0; length <= full.size(); ++length) {
    SCOPED_TRACE(length);
    writeBytesTo(path, Bytes(full.begin(), full.begin() + long(length)));
    Workspace w;
    // Fields the cut file does not reach keep what they held.
    EdgeParameters* p = w.p();
    int32_t* const fields[] = {&p->edgeStyle, &p->smoothing, &p->tweaker, &p->edgeExtent, &p->source,
                               &p->colorize,  &p->edgeSpare, &p->chromeStyle, &p->angle, &p->removeNoise};
    for (int32_t* field : fields) *field = -99;
    p->glue = -99;
    p->flip = -99;
    const std::vector<uint32_t> ramp = thumbnailWords(w.thumbnail());
    SettingsReadReport report;
    ASSERT_EQ(readSettingsFileReported(w.session(), path.c_str(), SettingsReadAll, &report), 0);
    EXPECT_EQ(report.endedEarly, length < full.size());
    EXPECT_EQ(report.versionRead, length >= 4);
    for (size_t i = 0; i < 10; ++i) EXPECT_EQ(*fields[i], length >= 8 + 4 * i ? expected[i] : -99) << i;
    EXPECT_EQ(p->glue, length >= 56 ? 30 : -99);
    EXPECT_EQ(p->flip, length >= 60 ? 1 : -99);
    EXPECT_EQ(report.hasThumbnail, length == full.size());
    if (length < full.size()) {
      if (thumbnailWords(w.thumbnail()) != ramp) ADD_FAILURE() << "thumbnail changed by a cut file";
    }
  }
}

TEST(SettingsDamage, MissingFileChangesNothing) {
  Workspace w;
  w.p()->edgeStyle = 12;
  bool hasThumbnail = true;
  EXPECT_EQ(readSettingsFile(w.session(), scratchFile("absent.q4t").c_str(), SettingsReadAll, &hasThumbnail),
            FILE_OPEN_FAILED);
  EXPECT_FALSE(hasThumbnail);
  EXPECT_EQ(w.p()->edgeStyle, 12);
}

TEST(SettingsThumbnails, GreyRampAndCapture) {
  Workspace w;
  int32_t c[4];
  getBytes4(3, 0, w.thumbnail(), 0, c);
  EXPECT_EQ(c[0], 255);
  EXPECT_EQ(c[3], 255);
  getBytes4(77, 127, w.thumbnail(), 0, c);
  EXPECT_EQ(c[0], 128);
  EXPECT_EQ(c[1], 128);
  EXPECT_EQ(c[2], 128);

  // An 8-bit RGB output buffer 200 x 100: red | green | blue thirds of 50,
  // 100 and 50 columns. The centred square is the green middle.
  std::vector<uint8_t> out(200 * 100 * 3);
  for (int y = 0; y < 100; ++y)
    for (int x = 0; x < 200; ++x) {
      uint8_t* px = &out[size_t(y * 200 + x) * 3];
      px[0] = x < 50 ? 250 : 0;
      px[1] = x >= 50 && x < 150 ? 240 : 0;
      px[2] = x >= 150 ? 230 : 0;
    }
  FilterRecord* record = w.session()->filterRecord;
  record->outData = out.data();
  record->outRect = Rect{10, 20, 110, 220};
  record->outRowBytes = 600;
  record->outLoPlane = 0;
  record->outHiPlane = 2;
  record->planes = 3;
  record->imageMode = 3;  // RGB
  record->depth = 8;
  captureThumbnail(w.session());  // no advanceState: nothing happens
  getBytes4(64, 64, w.thumbnail(), 0, c);
  EXPECT_EQ(c[0], 191);

  record->advanceState = [](void) -> OSErr { return 0; };
  captureThumbnail(w.session());
  double mean[3];
  meanColour(w.thumbnail(), mean);
  EXPECT_NEAR(mean[0], 0, 1);
  EXPECT_NEAR(mean[1], 240, 1);
  EXPECT_NEAR(mean[2], 0, 1);

  // 16-bit grey, host scale: (v + 1) >> 7, capped at 255.
  std::vector<uint16_t> grey(64 * 64, 16383);
  for (int x = 0; x < 64; ++x) grey[size_t(x)] = 32768;
  record->outData = grey.data();
  record->outRect = Rect{0, 0, 64, 64};
  record->outRowBytes = 128;
  record->outHiPlane = 0;
  record->planes = 1;
  record->imageMode = 9;  // 16-bit grey
  record->depth = 16;
  captureThumbnail(w.session());
  getBytes4(64, 100, w.thumbnail(), 0, c);
  EXPECT_NEAR(c[0], 128, 1);
  EXPECT_EQ(c[1], c[0]);
  getBytes4(64, 0, w.thumbnail(), 0, c);  // the white top row pulls row 0 up
  EXPECT_GT(c[0], 128);
}

TEST(SettingsKeptFiles, NamesCacheAndDotThumbnails) {
  const std::string folder = scratchPath("tempdir");
  std::system(("mkdir -p '" + folder + "'").c_str());
  const char* previous = std::getenv("TMPDIR");
  const std::string kept = previous ? previous : "";
  setenv("TMPDIR", folder.c_str(), 1);

  PathSpec path;
  memoryDotPath(&path, 7);
  EXPECT_EQ(std::string(path.text), folder + "/Marrowline memory dot 7.q4t");
  memoryDotPath(&path, 25);
  EXPECT_EQ(std::string(path.text), folder + "/Marrowline memory dot 25.q4t");
  memoryDotPath(&path, 26);
  EXPECT_STREQ(path.text, "");
  undoFilePath(&path, 1);
  EXPECT_EQ(std::string(path.text), folder + "/Marrowline undo 1");
  dotMapPath(&path);
  EXPECT_EQ(std::string(path.text), folder + "/Marrowline memdot map 3");

  std::remove((folder + "/Marrowline cached settings C").c_str());
  {
    Workspace w;
    loadCachedSettings(w.session());  // none yet: nothing changes
    expectDefaults(w.p());
    w.p()->edgeStyle = 1;
    w.p()->glue = 40;
    paintQuarters(w.thumbnail());
    saveCachedSettings(w.session());
    saveMemoryDotFile(w.session(), 3);
  }
  EXPECT_EQ(readBytesFrom(folder + "/Marrowline cached settings C").size() > 76, true);
  {
    Workspace w;
    loadCachedSettings(w.session());
    EXPECT_EQ(w.p()->edgeStyle, 1);
    EXPECT_EQ(w.p()->glue, 40);
    Workspace dot;
    loadMemoryDotFile(dot.session(), 3);
    EXPECT_EQ(dot.p()->glue, 40);

    PixelMap raster;
    pixelMapInit(&raster, w.session(), w.thumbnail()->kernelTable);
    memoryDotPath(&path, 3);
    w.p()->glue = 2;
    ASSERT_TRUE(readDotThumbnail(w.session(), path.text, &raster, DOT_THUMBNAIL_SIDE));
    EXPECT_EQ(raster.baseWidth, 88);
    EXPECT_EQ(w.p()->glue, 2);  // a thumbnail read leaves the parameters
    int32_t c[4];
    getBytes4(10, 10, &raster, 0, c);  // red quarter
    EXPECT_GT(c[0], 180);
    EXPECT_LT(c[1], 80);
    pixelMapFree(&raster);
    EXPECT_FALSE(readDotThumbnail(w.session(), scratchFile("nothing.q4t").c_str(), &raster, 88));
  }
  if (previous) setenv("TMPDIR", kept.c_str(), 1);
  else unsetenv("TMPDIR");
}
