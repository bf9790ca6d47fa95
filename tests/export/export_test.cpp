// The PSD writer and the page grammar, read back by a parser of the published
// PSD layout written here, independent of the writer.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "export/html_pages.h"
#include "export/psd_file.h"
#include "jpeg/metadata.h"
#include "session/session.h"
#include "tests/region/region_harness.h"

namespace fs = std::filesystem;

namespace {

std::vector<uint8_t> readAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

std::string readText(const fs::path& path) {
  std::vector<uint8_t> bytes = readAll(path);
  return std::string(bytes.begin(), bytes.end());
}

struct Cursor {
  const std::vector<uint8_t>& data;
  size_t at = 0;
  uint32_t u8() { return at < data.size() ? data[at++] : (ADD_FAILURE() << "past the end", 0u); }
  uint32_t u16() { return (u8() << 8) | u8(); }
  uint32_t u32() { return (u16() << 16) | u16(); }
  std::string text(size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += static_cast<char>(u8());
    return s;
  }
  void skip(size_t n) { at += n; }
};

fs::path scratchFolder(const char* name) {
  fs::path folder = fs::temp_directory_path() / ("marrowline-export-test-" + std::string(name));
  fs::remove_all(folder);
  fs::create_directories(folder);
  return folder;
}

// A picture for the render to stand in for: the test's pixels are put into
// offscreenImage directly, so every expected byte is known.
void fillEight(FilterSession* session) {
  PixelMap* map = &session->work->offscreenImage;
  for (int32_t y = 0; y < map->baseHeight; ++y)
    for (int32_t x = 0; x < map->baseWidth; ++x) setBytes4(x, y, map, 0, 90, 90, 90, 255);
  setBytes4(0, 0, map, 0, 10, 20, 30, 0);     // transparent on a light square
  setBytes4(8, 0, map, 0, 10, 20, 30, 0);     // transparent on a dark square
  setBytes4(8, 8, map, 0, 10, 20, 30, 0);     // and on a light one again
  setBytes4(1, 0, map, 0, 12, 34, 56, 255);   // opaque
  setBytes4(2, 0, map, 0, 200, 100, 50, 128); // half
}

void fillSixteen(FilterSession* session) {
  PixelMap* map = &session->work->offscreenImage;
  for (int32_t y = 0; y < map->baseHeight; ++y)
    for (int32_t x = 0; x < map->baseWidth; ++x) setWords4(x, y, map, 0, 1000, 1000, 1000, 32768);
  setWords4(0, 0, map, 0, 32768, 16384, 0, 32768);
  setWords4(8, 0, map, 0, 5000, 5000, 5000, 0);
}

struct PsdRun {
  Harness h;
  fs::path path;
  PsdJob job{};
  int16_t code = 0;
};

void runPsd(PsdRun* run, int32_t depth, int32_t width, int32_t height, PsdRender fill, const fs::path& path) {
  HarnessPicture picture = makeTestPicture(width, height, 3, depth, false);
  harnessInit(&run->h, picture, Rect{0, 0, static_cast<int16_t>(height), static_cast<int16_t>(width)});
  ASSERT_TRUE(harnessStart(&run->h));
  run->path = path;
  makePsdJob(&run->job, run->h.session);
  run->code = writePsdFile(run->h.session, path.string().c_str(), &run->job, fill);
  harnessEnd(&run->h);
}

// Walks the image resources, checking each frame; gives ids and sizes.
std::vector<std::pair<uint32_t, uint32_t>> readResources(Cursor* c) {
  const uint32_t length = c->u32();
  const size_t end = c->at + length;
  std::vector<std::pair<uint32_t, uint32_t>> found;
  while (c->at < end) {
    EXPECT_EQ(c->text(4), "8BIM");
    const uint32_t id = c->u16();
    EXPECT_EQ(c->u16(), 0u) << "name of " << id;
    const uint32_t size = c->u32();
    found.emplace_back(id, size);
    c->skip(size + (size & 1));
  }
  EXPECT_EQ(c->at, end) << "resource lengths do not add up";
  return found;
}

// The layer record, checked against the published layout; gives the
// channel byte count of the table.
uint32_t readLayerRecord(Cursor* c, uint32_t width, uint32_t height) {
  EXPECT_EQ(c->u16(), 1u);
  EXPECT_EQ(c->u32(), 0u);
  EXPECT_EQ(c->u32(), 0u);
  EXPECT_EQ(c->u32(), height);
  EXPECT_EQ(c->u32(), width);
  EXPECT_EQ(c->u16(), 4u);
  uint32_t channelBytes = 0;
  for (int32_t id : {-1, 0, 1, 2}) {
    EXPECT_EQ(static_cast<int16_t>(c->u16()), id);
    channelBytes = c->u32();
  }
  EXPECT_EQ(c->text(8), "8BIMnorm");
  EXPECT_EQ(c->u8(), 255u);
  c->skip(3);
  const uint32_t extra = c->u32();
  const size_t extraEnd = c->at + extra;
  EXPECT_EQ(c->u32(), 0u);
  const uint32_t ranges = c->u32();
  c->skip(ranges);
  const uint32_t nameLength = c->u8();
  EXPECT_EQ(c->text(nameLength), "layer 1");
  EXPECT_EQ(c->at, extraEnd);
  return channelBytes;
}

}  // namespace

TEST(PsdFile, EightBitLayoutLayerAndMergedImage) {
  PsdRun run;
  runPsd(&run, 8, 100, 50, fillEight, scratchFolder("psd8") / "out.psd");
  ASSERT_EQ(run.code, 0);
  const std::vector<uint8_t> file = readAll(run.path);
  Cursor c{file};
  EXPECT_EQ(c.text(4), "8BPS");
  EXPECT_EQ(c.u16(), 1u);
  c.skip(6);
  EXPECT_EQ(c.u16(), 3u);  // the fourth merged plane goes unannounced
  EXPECT_EQ(c.u32(), 50u);
  EXPECT_EQ(c.u32(), 100u);
  EXPECT_EQ(c.u16(), 8u);
  EXPECT_EQ(c.u16(), 3u);
  EXPECT_EQ(c.u32(), 0u);  // no colour mode data

  const auto resources = readResources(&c);
  std::vector<uint32_t> ids;
  for (const auto& r : resources) ids.push_back(r.first);
  EXPECT_EQ(ids, (std::vector<uint32_t>{1001, 1005, 1011, 1016, 1035, 1028, 1058, 1024, 1026}));
  EXPECT_EQ(resources[0].second, 120u);
  EXPECT_EQ(resources[2].second, 9u);
  EXPECT_EQ(resources[4].second, std::strlen(makerUrl));
  EXPECT_EQ(resources[6].second, 27 + std::strlen(programName));

  EXPECT_EQ(c.u32(), 20132u);  // the section
  EXPECT_EQ(c.u32(), 20124u);  // the layer info
  EXPECT_EQ(readLayerRecord(&c, 100, 50), 5002u);
  const size_t planes = c.at;
  // Alpha, red, green, blue: each a raw compression word and the samples.
  auto layerSample = [&](int32_t channel, int32_t x, int32_t y) {
    return file[planes + channel * 5002 + 2 + y * 100 + x];
  };
  EXPECT_EQ(layerSample(0, 0, 0), 0);
  EXPECT_EQ(layerSample(0, 2, 0), 128);
  EXPECT_EQ(layerSample(1, 1, 0), 12);
  EXPECT_EQ(layerSample(3, 1, 0), 56);
  EXPECT_EQ(layerSample(1, 0, 0), 10);  // colour kept under a transparent pixel
  c.at = planes + 4 * 5002;
  EXPECT_EQ(c.u32(), 0u);  // global layer mask
  EXPECT_EQ(c.u16(), 0u);  // raw merged image
  const size_t merged = c.at;
  ASSERT_EQ(file.size(), merged + 4 * 5000);
  auto mergedSample = [&](int32_t plane, int32_t x, int32_t y) { return file[merged + plane * 5000 + y * 100 + x]; };
  EXPECT_EQ(mergedSample(0, 0, 0), 255);
  EXPECT_EQ(mergedSample(2, 0, 0), 255);
  EXPECT_EQ(mergedSample(0, 8, 0), 204);
  EXPECT_EQ(mergedSample(0, 8, 8), 255);  // x xor y: back on a light square
  EXPECT_EQ(mergedSample(0, 1, 0), 12);
  EXPECT_EQ(mergedSample(2, 1, 0), 56);
  EXPECT_EQ(mergedSample(0, 2, 0), (255 * 127 + 200 * 128) / 255);
  EXPECT_EQ(mergedSample(3, 1, 0), 255);
  EXPECT_EQ(mergedSample(3, 8, 0), 204);
}

TEST(PsdFile, SixteenBitWidensSamplesAndFramesTheLayerBlock) {
  PsdRun run;
  runPsd(&run, 16, 30, 10, fillSixteen, scratchFolder("psd16") / "out.psd");
  ASSERT_EQ(run.code, 0);
  const std::vector<uint8_t> file = readAll(run.path);
  Cursor c{file};
  c.skip(12);
  EXPECT_EQ(c.u16(), 4u);
  c.skip(8);
  EXPECT_EQ(c.u16(), 16u);
  c.skip(2);
  EXPECT_EQ(c.u32(), 0u);
  readResources(&c);

  const uint32_t channel = 30 * 10 * 2 + 2, layerInfo = 4 * channel + 116;
  const uint32_t padded = (layerInfo + 4 + 3) / 4 * 4;
  const size_t sectionStart = c.at + 4;
  EXPECT_EQ(c.u32(), padded + 28);
  EXPECT_EQ(c.u32(), 0u);
  EXPECT_EQ(c.u32(), 0u);
  EXPECT_EQ(c.text(8), "8BIMMt16");
  EXPECT_EQ(c.u32(), 0u);
  EXPECT_EQ(c.text(8), "8BIMLr16");
  EXPECT_EQ(c.u32(), layerInfo);
  EXPECT_EQ(readLayerRecord(&c, 30, 10), channel);
  const size_t planes = c.at;
  auto layerWord = [&](int32_t ch, int32_t x) {
    const size_t at = planes + ch * channel + 2 + 2 * x;
    return (file[at] << 8) | file[at + 1];
  };
  EXPECT_EQ(layerWord(0, 0), 65535);  // alpha 32768
  EXPECT_EQ(layerWord(1, 0), 65535);
  EXPECT_EQ(layerWord(2, 0), 32768);
  EXPECT_EQ(layerWord(3, 0), 0);
  EXPECT_EQ(layerWord(0, 8), 0);

  c.at = sectionStart + padded + 28;
  EXPECT_EQ(c.u16(), 0u);
  const size_t merged = c.at, plane = 30 * 10 * 2;
  ASSERT_EQ(file.size(), merged + 5 * plane);  // four planes and the extra white one
  auto mergedWord = [&](int32_t p, int32_t x) { return (file[merged + p * plane + 2 * x] << 8) | file[merged + p * plane + 2 * x + 1]; };
  EXPECT_EQ(mergedWord(0, 0), 65535);
  EXPECT_EQ(mergedWord(1, 0), 32768);
  EXPECT_EQ(mergedWord(0, 8), 2 * 26112);
  EXPECT_EQ(mergedWord(0, 1), 2000);
  EXPECT_EQ(mergedWord(3, 5), 65535);
  EXPECT_EQ(mergedWord(4, 5), 65535);
}

// A float picture, as a host may pass one although the filter does not
// offer itself for it: the samples go as their bit patterns.
TEST(PsdFile, FloatFileCarriesItsToningBlockAndMaskBlocks) {
  Harness h;
  harnessInit(&h, makeTestPicture(12, 6, 3, 8, false), Rect{0, 0, 6, 12});
  ASSERT_TRUE(harnessStart(&h));
  PsdJob job{4, 1, 12, 6, 4};
  const fs::path path = scratchFolder("psd32") / "out.psd";
  auto fill = [](FilterSession* session) {
    PixelMap* map = &session->work->offscreenImage;
    const float pixel[4] = {0.5f, 1.5f, 0.0f, 0.25f};
    setFloats4(3, 0, map, 0, pixel);
  };
  ASSERT_EQ(writePsdFile(h.session, path.string().c_str(), &job, fill), 0);
  harnessEnd(&h);

  const std::vector<uint8_t> file = readAll(path);
  Cursor c{file};
  c.skip(12);
  EXPECT_EQ(c.u16(), 3u);
  c.skip(8);
  EXPECT_EQ(c.u16(), 32u);
  c.skip(2);
  EXPECT_EQ(c.u32(), 74u);
  EXPECT_EQ(c.text(4), "hdrt");
  c.skip(70);
  std::vector<uint32_t> ids;
  for (const auto& r : readResources(&c)) ids.push_back(r.first);
  EXPECT_EQ(ids, (std::vector<uint32_t>{1001, 1005, 1011, 1016, 1035, 1028, 1058, 1069, 1072, 1024, 1026}));

  const uint32_t channel = 12 * 6 * 4 + 2, layerInfo = 4 * channel + 116;
  const uint32_t padded = (layerInfo + 4 + 3) / 4 * 4;
  const size_t sectionEnd = c.at + 4 + padded + 68;
  EXPECT_EQ(c.u32(), padded + 68);
  c.skip(8);
  EXPECT_EQ(c.text(8), "8BIMMt32");
  c.skip(4);
  EXPECT_EQ(c.text(8), "8BIMLr32");
  EXPECT_EQ(c.u32(), layerInfo);
  EXPECT_EQ(readLayerRecord(&c, 12, 6), channel);
  const size_t planes = c.at;
  auto floatAt = [&](size_t at) {
    const uint32_t bits = (uint32_t(file[at]) << 24) | (file[at + 1] << 16) | (file[at + 2] << 8) | file[at + 3];
    float v;
    std::memcpy(&v, &bits, 4);
    return v;
  };
  EXPECT_EQ(floatAt(planes + 2 + 4 * 3), 0.25f);                // alpha
  EXPECT_EQ(floatAt(planes + 2 * channel + 2 + 4 * 3), 1.5f);   // green
  c.at = planes + 4 * channel + (padded - 4 - layerInfo);
  EXPECT_EQ(c.text(8), "8BIMLMsk");
  EXPECT_EQ(c.u32(), 14u);
  c.skip(16);
  EXPECT_EQ(c.text(8), "8BIMPat3");
  c.skip(4);
  EXPECT_EQ(c.at, sectionEnd);
  const size_t merged = sectionEnd + 2, plane = 12 * 6 * 4;
  ASSERT_EQ(file.size(), merged + 4 * plane);
  EXPECT_EQ(floatAt(merged + 4 * 3), 0.5f);             // red, not composited
  EXPECT_EQ(floatAt(merged + 3 * plane + 4 * 3), 0.25f);  // the fourth plane: alpha
}

TEST(PsdFile, FailuresLeaveNoFileThatPassesForAPicture) {
  // An unopenable path: the file side's code and nothing made.
  const fs::path folder = scratchFolder("psdfail");
  PsdRun missing;
  runPsd(&missing, 8, 20, 20, fillEight, folder / "no such folder" / "out.psd");
  EXPECT_EQ(missing.code, 99);
  EXPECT_FALSE(fs::exists(missing.path));

  // The picture too large to plan: an existing file is left alone.
  const fs::path kept = folder / "kept.psd";
  std::ofstream(kept) << "older";
  Harness h;
  harnessInit(&h, makeTestPicture(16, 16, 3, 8, false), Rect{0, 0, 16, 16});
  ASSERT_TRUE(harnessStart(&h));
  PsdJob huge{4, 1, 32767, 32767, 4};
  EXPECT_EQ(writePsdFile(h.session, kept.string().c_str(), &huge, fillEight), PSD_NO_IMAGE);
  EXPECT_EQ(readText(kept), "older");

  // A render that fails: the file is cut to nothing, not left half valid.
  PsdJob job;
  makePsdJob(&job, h.session);
  auto failing = [](FilterSession* session) { setResult(session, RESULT_MEM_FULL); };
  EXPECT_EQ(writePsdFile(h.session, kept.string().c_str(), &job, failing), RESULT_MEM_FULL);
  EXPECT_EQ(fs::file_size(kept), 0u);
  setResult(h.session, 0);
  harnessEnd(&h);
}

TEST(PsdFile, SampleSizesAndKeywords) {
  EXPECT_EQ(psdBytesPerSample(plugInModeRGBColor, 8), 1);
  EXPECT_EQ(psdBytesPerSample(plugInModeGrayScale, 8), 1);
  EXPECT_EQ(psdBytesPerSample(plugInModeRGB48, 16), 2);
  EXPECT_EQ(psdBytesPerSample(plugInModeGray16, 16), 2);
  EXPECT_EQ(psdBytesPerSample(plugInModeRGB96, 32), 4);
  EXPECT_EQ(psdBytesPerSample(plugInModeLabColor, 8), 1);

  auto keywords = [](int32_t style, int32_t glue, int32_t bytes) {
    MetadataBlock block;
    initMetadata(&block);
    addPsdKeywords(&block, style, glue, bytes);
    std::vector<std::string> list(block.keywords, block.keywords + block.keywordCount);
    return list;
  };
  EXPECT_EQ(keywords(4, 1, 1), (std::vector<std::string>{"chrome"}));
  EXPECT_EQ(keywords(13, 2, 2), (std::vector<std::string>{"thorny", glueModeName(2)}));
  EXPECT_EQ(keywords(14, 1, 4), (std::vector<std::string>{"HDR", "high dynamic range"}));
}

TEST(Pages, EncodingsOfNames) {
  char out[10];
  auto entity = [&](uint8_t b) { return encodeEntities(b, out), std::string(out); };
  EXPECT_EQ(entity('&'), "&amp;");
  EXPECT_EQ(entity('"'), "&quot;");
  EXPECT_EQ(entity('<'), "&lt;");
  EXPECT_EQ(entity('|'), "&#124;");
  EXPECT_EQ(entity(159), "&#159;");
  EXPECT_EQ(entity(160), "&nbsp;");
  EXPECT_EQ(entity(0xE9), "&eacute;");
  EXPECT_EQ(entity(0xFF), "&yuml;");
  EXPECT_EQ(entity('z'), "z");
  auto url = [&](uint8_t b) { return encodeUrlByte(b, out), std::string(out); };
  EXPECT_EQ(url('a'), "a");
  EXPECT_EQ(url('7'), "7");
  EXPECT_EQ(url(' '), "%20");
  EXPECT_EQ(url('%'), "%25");
  EXPECT_EQ(url(0xE9), "%e9");
}

TEST(Pages, RowsWrapAndTheLastRowIsFilled) {
  const fs::path folder = scratchFolder("rows");
  auto page = [&](int32_t cells, int32_t columns) {
    PageWriter writer;
    const fs::path path = folder / "page.html";
    EXPECT_EQ(openPage(&writer, path.string().c_str(), "here", PagePresets, columns), 0);
    for (int32_t i = 0; i < cells; ++i) {
      beginCellRow(&writer);
      writeCell(&writer, "x/My Look.q4t", 88, 88);
      advanceColumn(&writer);
    }
    EXPECT_EQ(closePage(&writer), 0);
    return readText(path);
  };
  auto count = [](const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
  };
  const std::string empty = "<p><font face=\"Hoefler";
  const std::string spacer = "<p>&nbsp;</p>";
  std::string six = page(6, 5);
  EXPECT_EQ(count(six, "<img src=\"web_images/My%20Look.jpg\" alt=\"My Look.jpg\""), 6u);
  EXPECT_EQ(count(six, empty), 4u);
  EXPECT_EQ(count(six, spacer), 10u);  // after each of the two rows
  std::string five = page(5, 5);
  EXPECT_EQ(count(five, empty), 0u);
  EXPECT_EQ(count(five, spacer), 5u);
  EXPECT_EQ(count(page(1, 15), empty), 9u);  // at most 10 columns
}

TEST(Pages, CellOfANameWithMarkupAndAPictureSize) {
  const fs::path folder = scratchFolder("cell");
  PageWriter writer;
  const fs::path path = folder / "page.html";
  ASSERT_EQ(openPage(&writer, path.string().c_str(), "a&b", PagePresets, 5), 0);
  writeCell(&writer, "a|b.q4t", 300, 150);
  closePage(&writer);
  const std::string text = readText(path);
  EXPECT_NE(text.find("presets from a&amp;b<br>"), std::string::npos);
  EXPECT_NE(text.find("<table id=\"Table_01\" width=\"306\" border=\"0\" cellspacing=\"0\" cellpadding=\"0\" "
                      "height=\"157\">"),
            std::string::npos);
  EXPECT_NE(text.find("src=\"web_images/a%7cb.jpg\" alt=\"a&#124;b.jpg\" width=\"300\" height=\"150\""),
            std::string::npos);
  EXPECT_NE(text.find(">a&#124;b</font></div></td>"), std::string::npos);

  int32_t w = 0, h = 0;
  dotPictureSize(600, 300, &w, &h);
  EXPECT_EQ(w * 1000 + h, 300150);
  dotPictureSize(100, 50, &w, &h);
  EXPECT_EQ(w * 1000 + h, 300150);
  dotPictureSize(1, 2000, &w, &h);
  EXPECT_EQ(w * 1000 + h, 1300);
}
