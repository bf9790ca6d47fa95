// Cutting host buffers out of a picture (padding, sampling rate, planes),
// committing output back, mask blending and the 16-bit sample scale.
#include <gtest/gtest.h>

#include <cstring>

#include "pihost/host_image.h"

namespace {

// A picture whose sample (x, y, plane) is 100 * plane + 10 * y + x.
HostImage numberedPicture(int32_t width, int32_t height, int32_t colorPlanes, bool alpha, int32_t depth = 8) {
  HostImage image;
  hostImageAllocate(&image, width, height, colorPlanes, alpha, depth, 0);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x)
      for (int32_t p = 0; p < imagePlanes(image); ++p) setHostSample(&image, x, y, p, uint16_t(100 * p + 10 * y + x));
  return image;
}

uint32_t sampleAt(const HostBuffer& b, int32_t x, int32_t y, int32_t p) {
  const size_t at = size_t(y) * size_t(b.rowBytes) + (size_t(x) * size_t(b.samplesPerPixel) + size_t(p)) * size_t(b.bytesPerSample);
  if (b.bytesPerSample == 1) return b.bytes[at];
  uint16_t v;
  std::memcpy(&v, &b.bytes[at], 2);
  return v;
}

CutRequest request(int16_t top, int16_t left, int16_t bottom, int16_t right, int16_t padding, int32_t hi) {
  CutRequest r;
  r.rect = Rect{top, left, bottom, right};
  r.loPlane = 0;
  r.hiPlane = hi;
  r.padding = padding;
  return r;
}

TEST(HostSampleScale, EveryHostValueSurvivesThePngRoundTrip) {
  EXPECT_EQ(fileSampleToHost16(0), 0);
  EXPECT_EQ(fileSampleToHost16(65535), 32768);
  EXPECT_EQ(hostSampleToFile16(32768), 65535);
  EXPECT_EQ(hostSampleToFile16(0), 0);
  EXPECT_EQ(hostSampleToFile16(40000), 65535);  // past white is clamped
  // in = (v * 32768 + 32767) / 65535, out = (v * 65535 + 16384) / 32768
  EXPECT_EQ(fileSampleToHost16(1), (1u * 32768u + 32767u) / 65535u);
  EXPECT_EQ(hostSampleToFile16(1), (65535u + 16384u) / 32768u);
  for (uint32_t s = 0; s <= 32768; ++s) ASSERT_EQ(fileSampleToHost16(hostSampleToFile16(s)), s) << s;
}

TEST(CutImageRect, InsideThePictureCopiesTheRequestedPlanesInterleaved) {
  const HostImage image = numberedPicture(6, 5, 3, true);
  CutRequest r = request(1, 2, 4, 5, plugInDoesNotWantPadding, 3);
  r.loPlane = 1;
  r.hiPlane = 2;
  HostBuffer b;
  ASSERT_EQ(cutImageRect(image, r, &b), noErr);
  EXPECT_EQ(b.width, 3);
  EXPECT_EQ(b.height, 3);
  EXPECT_EQ(b.rowBytes, 6);
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 3; ++x) {
      EXPECT_EQ(sampleAt(b, x, y, 0), 100u + 10u * uint32_t(y + 1) + uint32_t(x + 2));
      EXPECT_EQ(sampleAt(b, x, y, 1), 200u + 10u * uint32_t(y + 1) + uint32_t(x + 2));
    }
}

TEST(CutImageRect, SixteenBitSamplesAndRowPadding) {
  const HostImage image = numberedPicture(4, 3, 1, false, 16);
  CutRequest r = request(0, 0, 3, 4, plugInDoesNotWantPadding, 0);
  r.rowPaddingBytes = 6;
  HostBuffer b;
  ASSERT_EQ(cutImageRect(image, r, &b), noErr);
  EXPECT_EQ(b.rowBytes, 4 * 2 + 6);
  EXPECT_EQ(sampleAt(b, 3, 2, 0), 23u);
}

// All 65536 stored words, through the whole-pixel rows and through rows
// of a plane subset: cut to the host scale as the accessors give them, and
// committed back as setHostSample would store them.
TEST(CutImageRect, EverySixteenBitWordConvertsBothWays) {
  for (const bool alpha : {false, true}) {
    HostImage image;
    hostImageAllocate(&image, 256, 256, 1, alpha, 16, 0);
    for (size_t i = 0; i < image.words.size(); ++i) image.words[i] = uint16_t(alpha ? i / 2 + (i % 2) * 7 : i);
    const HostImage before = image;
    CutRequest r = request(0, 0, 256, 256, plugInDoesNotWantPadding, 0);  // grey only: a subset when alpha
    HostBuffer b;
    ASSERT_EQ(cutImageRect(image, r, &b), noErr);
    for (int32_t y = 0; y < 256; ++y)
      for (int32_t x = 0; x < 256; ++x) ASSERT_EQ(sampleAt(b, x, y, 0), hostSample(image, x, y, 0)) << x << "," << y;

    commitImageRect(&image, b, r.rect, 0, 0, r.rect);
    EXPECT_TRUE(hostImagesEqual(image, before)) << alpha;  // unchanged samples keep their words
    HostImage expected = before;
    for (int32_t y = 0; y < 256; ++y)
      for (int32_t x = 0; x < 256; ++x) {
        const uint16_t value = uint16_t((y * 256 + x) * 13 % 40000);  // past white too
        std::memcpy(&b.bytes[size_t(y) * size_t(b.rowBytes) + size_t(x) * 2], &value, 2);
        setHostSample(&expected, x, y, 0, value);
      }
    commitImageRect(&image, b, r.rect, 0, 0, r.rect);
    EXPECT_TRUE(hostImagesEqual(image, expected)) << alpha;
  }
}

TEST(CutImageRect, PaddingOutsideThePicture) {
  const HostImage image = numberedPicture(4, 3, 1, false);
  HostBuffer b;
  // Edge replication: the corner beyond the top left repeats pixel (0, 0),
  // the one beyond the bottom right repeats pixel (3, 2).
  ASSERT_EQ(cutImageRect(image, request(-2, -2, 5, 6, plugInWantsEdgeReplication, 0), &b), noErr);
  EXPECT_EQ(sampleAt(b, 0, 0, 0), 0u);
  EXPECT_EQ(sampleAt(b, 7, 6, 0), 23u);
  EXPECT_EQ(sampleAt(b, 3, 0, 0), 1u);   // above column 1
  EXPECT_EQ(sampleAt(b, 0, 3, 0), 10u);  // left of row 1
  EXPECT_EQ(sampleAt(b, 3, 3, 0), 11u);  // inside

  // A fill value, and no padding at all (left as zero).
  ASSERT_EQ(cutImageRect(image, request(-1, -1, 2, 2, 77, 0), &b), noErr);
  EXPECT_EQ(sampleAt(b, 0, 0, 0), 77u);
  EXPECT_EQ(sampleAt(b, 1, 1, 0), 0u);
  ASSERT_EQ(cutImageRect(image, request(-1, -1, 2, 2, plugInDoesNotWantPadding, 0), &b), noErr);
  EXPECT_EQ(sampleAt(b, 0, 0, 0), 0u);
  EXPECT_EQ(sampleAt(b, 2, 2, 0), 11u);

  // The plug-in asked to be told: the request is refused.
  EXPECT_EQ(cutImageRect(image, request(-1, 0, 2, 2, plugInWantsErrorOnBoundsException, 0), &b), paramErr);
  EXPECT_EQ(cutImageRect(image, request(0, 0, 2, 2, plugInWantsErrorOnBoundsException, 0), &b), noErr);

  // 16-bit fill values are scaled to the 0..32768 range.
  const HostImage deep = numberedPicture(2, 2, 1, false, 16);
  ASSERT_EQ(cutImageRect(deep, request(-1, 0, 1, 1, 255, 0), &b), noErr);
  EXPECT_EQ(sampleAt(b, 0, 0, 0), 32768u);
}

TEST(CutImageRect, InputRateTakesEveryNthPixel) {
  const HostImage image = numberedPicture(9, 9, 1, false);
  CutRequest r = request(0, 0, 3, 3, plugInWantsEdgeReplication, 0);
  r.rate = 3 << 16;
  HostBuffer b;
  ASSERT_EQ(cutImageRect(image, r, &b), noErr);
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 3; ++x) EXPECT_EQ(sampleAt(b, x, y, 0), uint32_t(10 * (3 * y) + 3 * x));

  // The rectangle is in reduced coordinates: (1, 2) at rate 2 is pixel (2, 4);
  // past the picture's edge the last pixel repeats.
  r.rect = Rect{2, 1, 4, 6};
  r.rate = 2 << 16;
  ASSERT_EQ(cutImageRect(image, r, &b), noErr);
  EXPECT_EQ(sampleAt(b, 0, 0, 0), 42u);
  EXPECT_EQ(sampleAt(b, 3, 1, 0), uint32_t(10 * 6 + 8));
  EXPECT_EQ(sampleAt(b, 4, 1, 0), uint32_t(10 * 6 + 8));
  r.rate = 0x18000;  // 1.5: pixel floor(1.5 x)
  r.rect = Rect{0, 0, 1, 4};
  ASSERT_EQ(cutImageRect(image, r, &b), noErr);
  EXPECT_EQ(sampleAt(b, 1, 0, 0), 1u);
  EXPECT_EQ(sampleAt(b, 3, 0, 0), 4u);
}

TEST(CutImageRect, RefusesBadRequests) {
  const HostImage image = numberedPicture(4, 4, 3, false);
  HostBuffer b;
  EXPECT_EQ(cutImageRect(image, request(0, 0, 2, 2, -2, 3), &b), paramErr);  // plane 3 of 3
  CutRequest r = request(0, 0, 2, 2, -2, 2);
  r.loPlane = 2;
  r.hiPlane = 1;
  EXPECT_EQ(cutImageRect(image, r, &b), paramErr);
  r = request(0, 0, 2, 2, -2, 2);
  r.rate = 0;
  EXPECT_EQ(cutImageRect(image, r, &b), paramErr);
  ASSERT_EQ(cutImageRect(image, request(3, 3, 1, 1, -2, 2), &b), noErr);  // empty
  EXPECT_TRUE(b.bytes.empty());
  EXPECT_EQ(cutImageRect(image, request(-32768, -32768, 32767, 32767, -1, 2), &b), memFullErr);
}

TEST(CutMaskRect, ReducesAndPadsLikeThePicture) {
  HostMask mask;
  mask.width = 4;
  mask.height = 4;
  for (int i = 0; i < 16; ++i) mask.values.push_back(uint8_t(i * 10));
  CutRequest r = request(0, 0, 2, 3, plugInWantsEdgeReplication, 0);
  r.rate = 2 << 16;
  HostBuffer b;
  ASSERT_EQ(cutMaskRect(mask, r, &b), noErr);
  EXPECT_EQ(sampleAt(b, 1, 1, 0), uint32_t(10 * (2 * 4 + 2)));
  EXPECT_EQ(sampleAt(b, 2, 0, 0), uint32_t(10 * 3));  // column 4 is past the edge
}

TEST(CommitImageRect, WritesOnlyInsideTheClip) {
  HostImage image = numberedPicture(6, 6, 1, false);
  const HostImage before = image;
  HostBuffer b;
  CutRequest r = request(1, 1, 5, 5, plugInDoesNotWantPadding, 0);
  ASSERT_EQ(cutImageRect(image, r, &b), noErr);
  std::fill(b.bytes.begin(), b.bytes.end(), uint8_t(250));
  commitImageRect(&image, b, r.rect, 0, 0, Rect{2, 2, 4, 6});
  for (int32_t y = 0; y < 6; ++y)
    for (int32_t x = 0; x < 6; ++x) {
      const bool written = y >= 2 && y < 4 && x >= 2 && x < 5;
      EXPECT_EQ(hostPixel(image, x, y)[0], written ? 250 : hostPixel(before, x, y)[0]) << x << "," << y;
    }
}

TEST(LendImageRows, OnlyRowsThePluginCanTakeAsTheyStand) {
  HostImage image = numberedPicture(6, 5, 3, true);
  CutRequest r = request(1, 2, 4, 5, plugInDoesNotWantPadding, 3);
  LentRows rows;
  ASSERT_TRUE(lendImageRows(&image, r, &rows));
  EXPECT_EQ(rows.rowBytes, 6 * 4);
  EXPECT_EQ(rows.first[0], 10 + 2);                      // pixel (2, 1), plane 0
  EXPECT_EQ(rows.first[2 * rows.rowBytes + 4 + 3], 255);  // pixel (3, 3), alpha: 300 stored as 255
  EXPECT_EQ(rows.first[2 * rows.rowBytes + 4 + 1], 100 + 30 + 3);

  // Anything that needs a conversion, a copy or padding is cut instead.
  CutRequest planes = r;
  planes.hiPlane = 2;
  CutRequest sampled = r;
  sampled.rate = 2 << 16;
  CutRequest padded = r;
  padded.rowPaddingBytes = 4;
  const CutRequest outside[] = {request(-1, 0, 2, 2, plugInWantsEdgeReplication, 3),
                                request(0, 0, 2, 7, plugInDoesNotWantPadding, 3),
                                request(3, 0, 6, 2, plugInDoesNotWantPadding, 3),
                                request(2, 2, 2, 4, plugInDoesNotWantPadding, 3)};
  for (const CutRequest& refused : {planes, sampled, padded, outside[0], outside[1], outside[2], outside[3]})
    EXPECT_FALSE(lendImageRows(&image, refused, &rows));
  HostImage deep = numberedPicture(6, 5, 3, true, 16);
  EXPECT_FALSE(lendImageRows(&deep, r, &rows));

  HostMask mask{4, 3, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
  ASSERT_TRUE(lendMaskRows(&mask, request(1, 1, 3, 4, plugInDoesNotWantPadding, 0), &rows));
  EXPECT_EQ(rows.rowBytes, 4);
  EXPECT_EQ(rows.first[0], 5);
  EXPECT_EQ(rows.first[rows.rowBytes + 2], 11);
  EXPECT_FALSE(lendMaskRows(&mask, request(1, 1, 4, 4, plugInWantsEdgeReplication, 0), &rows));
}

// Pictures past the size where the samples move to large pages.
TEST(HostImageCopy, LargePicturesKeepEverySample) {
  for (int32_t depth : {8, 16}) {
    HostImage image;
    hostImageAllocate(&image, 1601, 1300, 3, true, depth, 0);
    for (size_t i = 0; i < image.bytes.size(); ++i) image.bytes[i] = uint8_t(i * 7 + i / 4099);
    for (size_t i = 0; i < image.words.size(); ++i) image.words[i] = uint16_t(i * 40503u + i / 65521);
    image.iccProfile = {1, 2, 3};
    const HostImage copy = hostImageCopy(image);
    EXPECT_TRUE(hostImagesEqual(copy, image)) << depth;
    EXPECT_EQ(copy.iccProfile, image.iccProfile);
    HostImage moved = image;
    hostImageToLargePages(&moved);
    EXPECT_TRUE(hostImagesEqual(moved, image)) << depth;
  }
}

// Buffers of many parts: the rows split over the host's threads give the
// one-thread bytes for cuts with padding and sampling, commits and blends.
TEST(HostCopyThreads, ThePartsGiveTheOneThreadBytes) {
  for (int32_t depth : {8, 16}) {
    const HostImage image = numberedPicture(403, 300, 3, true, depth);
    HostMask mask{403, 300, std::vector<uint8_t>(403 * 300)};
    for (size_t i = 0; i < mask.values.size(); ++i) mask.values[i] = uint8_t(i * 31 + i / 403);
    CutRequest padded = request(-5, -7, 297, 401, plugInWantsEdgeReplication, 3);
    CutRequest sampled = request(0, 0, 150, 201, plugInDoesNotWantPadding, 2);
    sampled.rate = 0x20000;
    CutRequest subset = request(10, 0, 300, 403, 99, 2);
    subset.loPlane = 1;
    auto render = [&](int32_t threads) {
      setHostCopyThreads(threads);
      std::vector<uint8_t> bytes;
      HostImage target = image;
      for (const CutRequest& r : {padded, sampled, subset}) {
        HostBuffer b;
        EXPECT_EQ(cutImageRect(image, r, &b), noErr);
        bytes.insert(bytes.end(), b.bytes.begin(), b.bytes.end());
        for (size_t i = 0; i < b.bytes.size(); i += 3) b.bytes[i] = uint8_t(b.bytes[i] + 1);
        if (r.rate == 0x10000) commitImageRect(&target, b, r.rect, r.loPlane, r.hiPlane, Rect{3, 2, 290, 400});
      }
      HostImage blended;
      blendByMask(image, target, &mask, Rect{1, 1, 299, 402}, &blended);
      bytes.insert(bytes.end(), blended.bytes.begin(), blended.bytes.end());
      for (uint16_t w : blended.words) bytes.push_back(uint8_t(w)), bytes.push_back(uint8_t(w >> 8));
      return bytes;
    };
    const std::vector<uint8_t> one = render(1);
    EXPECT_EQ(render(3), one) << depth;
    EXPECT_EQ(render(2), one) << depth;
    setHostCopyThreads(0);
  }
}

TEST(BlendByMask, LaysTheFilteredPictureInByTheMask) {
  HostImage original, filtered, result;
  hostImageAllocate(&original, 4, 1, 1, true, 8, 10);
  hostImageAllocate(&filtered, 4, 1, 1, true, 8, 200);
  HostMask mask;
  mask.width = 4;
  mask.height = 1;
  mask.values = {0, 255, 128, 255};
  blendByMask(original, filtered, &mask, Rect{0, 0, 1, 3}, &result);
  EXPECT_EQ(hostPixel(result, 0, 0)[0], 10);
  EXPECT_EQ(hostPixel(result, 1, 0)[0], 200);
  EXPECT_EQ(hostPixel(result, 2, 0)[0], (200 * 128 + 10 * 127 + 127) / 255);
  EXPECT_EQ(hostPixel(result, 2, 0)[1], (200 * 128 + 10 * 127 + 127) / 255);  // alpha too
  EXPECT_EQ(hostPixel(result, 3, 0)[0], 10);  // outside the filter rectangle
  blendByMask(original, filtered, nullptr, Rect{0, 0, 1, 2}, &result);
  EXPECT_EQ(hostPixel(result, 1, 0)[0], 200);
  EXPECT_EQ(hostPixel(result, 2, 0)[0], 10);
}

}  // namespace
