// Picture files in and out (PNG, JPEG, TIFF), the exactness of 16-bit
// samples on their way through host buffers, and the blend at the file's
// own depth.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "pihost/image_files.h"

namespace {

std::string scratch(const std::string& name) {
  mkdir(ML_TEST_SCRATCH, 0755);
  return std::string(ML_TEST_SCRATCH) + "/" + name;
}

// Stored samples that mostly do not lie on the host's 0..32768 grid, so a
// trip through the host scale would show.
HostImage oddPicture(int32_t width, int32_t height, int32_t colorPlanes, bool alpha, int32_t depth) {
  HostImage image;
  hostImageAllocate(&image, width, height, colorPlanes, alpha, depth, 0);
  for (size_t i = 0; i < image.words.size(); ++i) image.words[i] = uint16_t(i * 2654435761u >> 7);
  for (size_t i = 0; i < image.bytes.size(); ++i) image.bytes[i] = uint8_t(i * 37 + i / 7);
  return image;
}

// A profile PNG accepts: the 128-byte header for the picture's colour
// space and one private tag of 456 bytes that do not compress away.
std::vector<uint8_t> sampleProfile(int32_t colorPlanes) {
  std::vector<uint8_t> profile(600, 0);
  auto put = [&profile](size_t at, const char* text) { std::memcpy(&profile[at], text, 4); };
  profile[2] = 600 >> 8;  // big-endian length
  profile[3] = 600 & 0xFF;
  profile[8] = 2;  // version 2.1
  profile[9] = 0x10;
  put(12, "mntr");
  put(16, colorPlanes == 1 ? "GRAY" : "RGB ");
  put(20, "XYZ ");
  put(36, "acsp");
  const uint8_t d50[12] = {0, 0, 0xF6, 0xD6, 0, 1, 0, 0, 0, 0, 0xD3, 0x2D};
  std::memcpy(&profile[68], d50, sizeof d50);
  profile[131] = 1;  // one tag at 144, 456 bytes long
  put(132, "zxyz");
  profile[139] = 144;
  profile[142] = 456 >> 8;
  profile[143] = 456 & 0xFF;
  for (size_t i = 144; i < profile.size(); ++i) profile[i] = uint8_t(uint32_t(i) * 2654435761u >> 13);
  return profile;
}

void writeBytes(const std::string& path, const std::string& bytes) {
  FILE* file = std::fopen(path.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
}

TEST(ImageFiles, PngAndTiffKeepEveryKindAndItsProfileExactly) {
  for (const char* extension : {".png", ".tif"}) {
    for (int32_t depth : {8, 16}) {
      for (int32_t planes : {1, 3}) {
        for (bool alpha : {false, true}) {
          HostImage image = oddPicture(37, 23, planes, alpha, depth);
          image.iccProfile = sampleProfile(planes);
          const std::string path =
              scratch("kind" + std::to_string(depth) + std::to_string(planes) + (alpha ? "a" : "") + extension);
          std::string error;
          ASSERT_TRUE(writeImageFile(path, image, &error)) << error;
          HostImage back;
          ASSERT_TRUE(readImageFile(path, &back, &error)) << error;
          EXPECT_TRUE(hostImagesEqual(back, image)) << path;
          EXPECT_EQ(back.iccProfile, image.iccProfile) << path;
        }
      }
    }
  }
}

TEST(ImageFiles, JpegIsEightBitWithItsProfileAndCloseSamples) {
  for (int32_t planes : {1, 3}) {
    HostImage image;
    hostImageAllocate(&image, 64, 48, planes, false, 8, 0);
    for (int32_t y = 0; y < 48; ++y)
      for (int32_t x = 0; x < 64; ++x)
        for (int32_t p = 0; p < planes; ++p) setHostSample(&image, x, y, p, uint16_t(x * 2 + y + p * 20));
    image.iccProfile = sampleProfile(planes);
    const std::string path = scratch("smooth" + std::to_string(planes) + ".JPG");  // the case of the name is free
    std::string error;
    ASSERT_TRUE(writeImageFile(path, image, &error)) << error;
    HostImage back;
    ASSERT_TRUE(readImageFile(path, &back, &error)) << error;
    ASSERT_EQ(back.width, 64);
    ASSERT_EQ(back.colorPlanes, planes);
    EXPECT_EQ(back.depth, 8);
    EXPECT_EQ(back.iccProfile, image.iccProfile);
    int worst = 0;
    for (size_t i = 0; i < back.bytes.size(); ++i) worst = std::max(worst, std::abs(back.bytes[i] - image.bytes[i]));
    EXPECT_LE(worst, 6);
  }
  // 16 bits and alpha are narrowed, and the program says so.
  const HostImage deep = oddPicture(8, 8, 3, true, 16);
  EXPECT_TRUE(imageFileNarrows("x.jpeg", deep));
  EXPECT_FALSE(imageFileNarrows("x.tiff", deep));
  std::string error;
  ASSERT_TRUE(writeImageFile(scratch("deep.jpg"), deep, &error)) << error;
  HostImage back;
  ASSERT_TRUE(readImageFile(scratch("deep.jpg"), &back, &error)) << error;
  EXPECT_FALSE(back.hasAlpha);
  EXPECT_EQ(back.depth, 8);
}

TEST(ImageFiles, BadFilesGiveOneLineAndAnEmptyPicture) {
  writeBytes(scratch("cut.jpg"), std::string("\xFF\xD8\xFF\xE0\x00\x10JFIF", 10));
  writeBytes(scratch("text.tif"), "not a tiff at all");
  writeBytes(scratch("text.png"), "not a png");
  const struct {
    std::string path;
    const char* fragment;
  } cases[] = {
      {scratch("cut.jpg"), "cannot read"},
      {scratch("text.tif"), "cannot open"},
      {scratch("text.png"), "is not a PNG file"},
      {scratch("missing.png"), "cannot open"},
      {scratch("picture.bmp"), "unknown picture type"},
  };
  for (const auto& c : cases) {
    HostImage image;
    std::string error;
    EXPECT_FALSE(readImageFile(c.path, &image, &error)) << c.path;
    EXPECT_NE(error.find(c.fragment), std::string::npos) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    EXPECT_EQ(hostSampleCount(image), 0u);
  }
  std::string error;
  EXPECT_FALSE(writeImageFile(scratch("out.gif"), oddPicture(2, 2, 1, false, 8), &error));
}

TEST(HostFidelity, SixteenBitSamplesHandedOutUnchangedKeepTheirStoredWords) {
  const HostImage original = oddPicture(20, 10, 3, true, 16);
  HostImage filtered = original;
  CutRequest request;
  request.rect = Rect{0, 0, 10, 20};
  request.hiPlane = 3;
  HostBuffer buffer;
  ASSERT_EQ(cutImageRect(filtered, request, &buffer), noErr);
  // The plug-in changes one sample and leaves the rest as handed out.
  uint16_t changed = 1234;
  std::memcpy(&buffer.bytes[size_t(3) * size_t(buffer.rowBytes) + 2 * (5 * 4 + 1)], &changed, 2);
  commitImageRect(&filtered, buffer, request.rect, 0, 3, request.rect);
  size_t differing = 0;
  for (size_t i = 0; i < original.words.size(); ++i) differing += filtered.words[i] != original.words[i];
  EXPECT_EQ(differing, 1u);
  EXPECT_EQ(hostSample(filtered, 5, 3, 1), 1234);
  EXPECT_EQ(filtered.words[hostSampleIndex(filtered, 5, 3, 1)], hostSampleToFile16(1234));
}

TEST(HostFidelity, MaskBlendsAtTheFilesOwnDepth) {
  const HostImage original = oddPicture(4, 1, 1, false, 16);
  HostImage filtered = original;
  for (uint16_t& w : filtered.words) w = uint16_t(65535 - w);
  HostMask mask;
  mask.width = 4;
  mask.height = 1;
  mask.values = {0, 255, 128, 1};
  HostImage result = filtered;
  blendByMaskInPlace(original, &mask, Rect{0, 0, 1, 3}, &result);
  EXPECT_EQ(result.words[0], original.words[0]);  // mask 0: the stored word itself
  EXPECT_EQ(result.words[1], filtered.words[1]);
  const uint32_t o = original.words[2], f = filtered.words[2];
  EXPECT_EQ(result.words[2], (f * 128 + o * 127 + 127) / 255);
  EXPECT_EQ(result.words[3], filtered.words[3]);  // outside the rectangle: left as it is
}

}  // namespace
