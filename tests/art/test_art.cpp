// The art as files: every resource the dialog names is drawn, at the size
// the dialog expects, in a form the resource compiler takes (24-bit
// bitmaps, 32-bit icons and cursors with a mask, hot spots at 8, 8); the
// pieces laid over the skin meet it without a seam; and the Windows module
// carries the very same bytes.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "dialog/dialog_tables.h"
#include "resources/art/art_pieces.h"
#include "tests/scripting/module_image.h"

namespace {

uint32_t u16(const std::vector<uint8_t>& b, size_t at) { return uint32_t(b.at(at)) | uint32_t(b.at(at + 1)) << 8; }
uint32_t u32(const std::vector<uint8_t>& b, size_t at) { return u16(b, at) | u16(b, at + 2) << 16; }

const std::vector<ArtPiece>& art() {
  static const std::vector<ArtPiece> pieces = drawAllArt();
  return pieces;
}

const ArtPiece* find(ArtKind kind, int32_t id) {
  for (const ArtPiece& piece : art())
    if (piece.kind == kind && piece.id == id) return &piece;
  return nullptr;
}

struct Size {
  int32_t width, height;
};

// What the dialog asks of each bitmap.
std::map<int32_t, Size> expectedBitmaps() {
  std::map<int32_t, Size> sizes{{BITMAP_SKIN, {866, 548}},          {BITMAP_SLIDER_TRACK, {135, 12}},
                                {BITMAP_SLIDER_THUMB, {12, 10}},    {BITMAP_DIAL, {54, 54}},
                                {BITMAP_DIAL_DISABLED, {54, 54}},   {BITMAP_THUMBNAIL_FRAME, {96, 96}},
                                {BITMAP_LOGO, {32, 32}},            {BITMAP_INFO, {687, 510}},
                                {BITMAP_ABOUT_MARK, {150, 96}},     {BITMAP_ABOUT_NAME, {195, 96}},
                                {BITMAP_ABOUT_SAMPLES, {360, 144}}};
  for (int32_t look = 0; look < LOOK_COUNT; ++look)
    for (bool pressed : {false, true}) sizes[dotFaceOfLook(DotLook(look), pressed)] = {8, 8};
  return sizes;
}

// The BITMAPINFOHEADER at `at`: size, width, height, planes, bits, no compression.
void expectInfoHeader(const std::vector<uint8_t>& b, size_t at, int32_t width, int32_t height, uint32_t bits) {
  EXPECT_EQ(u32(b, at), 40u);
  EXPECT_EQ(int32_t(u32(b, at + 4)), width);
  EXPECT_EQ(int32_t(u32(b, at + 8)), height);
  EXPECT_EQ(u16(b, at + 12), 1u);
  EXPECT_EQ(u16(b, at + 14), bits);
  EXPECT_EQ(u32(b, at + 16), 0u);
}

// The icon or cursor file's one image: directory, entry, header, colour and
// mask; the mask is set exactly where the picture is transparent.
void expectIconFile(const ArtPiece& piece, uint16_t type, uint16_t word1, uint16_t word2) {
  const std::vector<uint8_t> b = encodeArt(piece);
  const int32_t w = piece.image.width, h = piece.image.height;
  ASSERT_GE(b.size(), 22u + 40u);
  EXPECT_EQ(u16(b, 0), 0u);
  EXPECT_EQ(u16(b, 2), type);
  EXPECT_EQ(u16(b, 4), 1u);
  EXPECT_EQ(b[6], uint8_t(w));
  EXPECT_EQ(b[7], uint8_t(h));
  EXPECT_EQ(u16(b, 10), word1);
  EXPECT_EQ(u16(b, 12), word2);
  const uint32_t maskStride = uint32_t((w + 31) / 32 * 4);
  EXPECT_EQ(u32(b, 14), 40u + uint32_t(w * h * 4) + maskStride * uint32_t(h));
  EXPECT_EQ(u32(b, 18), 22u);
  EXPECT_EQ(b.size(), 22u + u32(b, 14));
  expectInfoHeader(b, 22, w, 2 * h, 32);
  const size_t colour = 22 + 40, mask = colour + size_t(w * h * 4);
  int32_t opaque = 0, wrong = 0;
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      const int32_t row = h - 1 - y;  // bottom-up
      const uint8_t* bgra = &b[colour + size_t(row * w + x) * 4];
      const uint8_t alpha = bgra[3];
      const bool masked = (b[mask + size_t(row) * maskStride + size_t(x / 8)] >> (7 - x % 8)) & 1;
      const bool black = bgra[0] == 0 && bgra[1] == 0 && bgra[2] == 0;
      if (alpha == piece.image.at(x, y).a && masked == (alpha < 128) && (!masked || black)) {
        opaque += alpha >= 128;
      } else {
        ++wrong;
      }
    }
  EXPECT_EQ(wrong, 0) << piece.name;
  EXPECT_GT(opaque, w * h / 12) << piece.name << " draws something";
  EXPECT_LT(opaque, w * h) << piece.name << " keeps a transparent surround";
}

}  // namespace

TEST(Art, EveryBitmapTheDialogNamesAtItsSize) {
  std::set<int32_t> seen;
  for (const auto& [id, size] : expectedBitmaps()) {
    const ArtPiece* piece = find(ART_BITMAP, id);
    ASSERT_NE(piece, nullptr) << "bitmap " << id;
    EXPECT_EQ(piece->image.width, size.width) << id;
    EXPECT_EQ(piece->image.height, size.height) << id;
    seen.insert(id);
  }
  // Whatever the control table names as a control's art is there too, and
  // nothing is drawn twice under one number.
  for (int32_t i = 0; i < controlRowCount(); ++i) {
    const ControlRow& row = controlRows()[i];
    if (row.art < 0) continue;
    EXPECT_NE(find(row.kind == kindIconButton ? ART_ICON : ART_BITMAP, row.art), nullptr) << "art of id " << row.id;
  }
  std::set<std::pair<int32_t, int32_t>> numbers;
  for (const ArtPiece& piece : art()) EXPECT_TRUE(numbers.insert({piece.kind, piece.id}).second) << piece.name;
}

TEST(Art, BitmapFilesAre24BitBottomUpAt96Dpi) {
  for (const ArtPiece& piece : art()) {
    if (piece.kind != ART_BITMAP) continue;
    SCOPED_TRACE(piece.name);
    const std::vector<uint8_t> b = encodeArt(piece);
    const int32_t w = piece.image.width, h = piece.image.height;
    const size_t stride = size_t((w * 3 + 3) / 4 * 4);
    ASSERT_GE(b.size(), 54u);
    EXPECT_EQ(b[0], 'B');
    EXPECT_EQ(b[1], 'M');
    EXPECT_EQ(u32(b, 2), b.size());
    EXPECT_EQ(u32(b, 10), 54u);
    expectInfoHeader(b, 14, w, h, 24);
    EXPECT_EQ(u32(b, 38), 3780u);
    EXPECT_EQ(b.size(), 54 + stride * size_t(h));
    // The top left pixel is the last row's first.
    const Colour c = piece.image.at(0, 0);
    const size_t at = 54 + stride * size_t(h - 1);
    EXPECT_EQ(b[at], c.b);
    EXPECT_EQ(b[at + 1], c.g);
    EXPECT_EQ(b[at + 2], c.r);
  }
}

TEST(Art, IconsAndCursorsCarryAlphaMaskAndHotSpot) {
  const int32_t icons[] = {231, 240, 241, 237, 242, 225, 232, 169, 5, 235, 236};
  for (int32_t id : icons) {
    const ArtPiece* piece = find(ART_ICON, id);
    ASSERT_NE(piece, nullptr) << "icon " << id;
    expectIconFile(*piece, 1, 1, 32);
  }
  for (int32_t id : {CURSOR_OPEN_HAND_RESOURCE, CURSOR_CLOSED_HAND_RESOURCE}) {
    const ArtPiece* piece = find(ART_CURSOR, id);
    ASSERT_NE(piece, nullptr) << "cursor " << id;
    EXPECT_EQ(piece->image.width, 32);
    EXPECT_EQ(piece->image.height, 32);
    expectIconFile(*piece, 2, 8, 8);
    // The hot spot lies on the hand.
    EXPECT_GE(piece->image.at(8, 8).a, 128) << piece->name;
  }
}

// An icon fits its button: the large square buttons take 24 pixels, the
// small ones 16, and nothing is bigger than the button's inside.
TEST(Art, IconsFitTheirButtons) {
  for (int32_t i = 0; i < controlRowCount(); ++i) {
    const ControlRow& row = controlRows()[i];
    if (row.kind != kindIconButton) continue;
    const ArtPiece* piece = find(ART_ICON, row.art);
    ASSERT_NE(piece, nullptr);
    const WindowRect place = placedRect(row);
    EXPECT_LE(piece->image.height, place.bottom - place.top - 4 + 6) << piece->name;  // the margin is clear
    EXPECT_EQ(piece->image.width, piece->image.height);
  }
}

TEST(Art, SkinHasWellsUnderTheControlsAndAWhitePreviewField) {
  const Raster& skin = find(ART_BITMAP, BITMAP_SKIN)->image;
  auto brightness = [&](int32_t x, int32_t y) {
    const Colour c = skin.at(x, y);
    return c.r + c.g + c.b;
  };
  for (int32_t i = 0; i < controlRowCount(); ++i) {
    const ControlRow& row = controlRows()[i];
    const WindowRect place = placedRect(row);
    const int32_t cx = (place.left + place.right) / 2, cy = (place.top + place.bottom) / 2;
    if (row.id == 5) {
      for (int32_t y = place.top; y < place.bottom; y += 7)
        for (int32_t x = place.left; x < place.right; x += 7) ASSERT_EQ(brightness(x, y), 3 * 255) << x << "," << y;
    } else if (row.kind == kindCheckbox || row.kind == kindPopup || row.kind == kindIconButton ||
               row.kind == kindReadout) {
      // Paler than the bare panel between the two columns.
      EXPECT_GT(brightness(cx, cy), brightness(302, cy) + 10) << "id " << row.id;
    }
  }
}

TEST(Art, PiecesOverTheSkinMeetItWithoutASeam) {
  const Raster& skin = find(ART_BITMAP, BITMAP_SKIN)->image;
  auto same = [](Colour a, Colour b) { return a.r == b.r && a.g == b.g && a.b == b.b; };
  struct Laid {
    int32_t bitmap, controlId;
  };
  for (Laid laid : {Laid{BITMAP_SLIDER_TRACK, 17}, Laid{BITMAP_SLIDER_TRACK, 19}, Laid{BITMAP_DIAL, 29},
                    Laid{BITMAP_DIAL_DISABLED, 29}, Laid{BITMAP_LOGO, 8}}) {
    const Raster& piece = find(ART_BITMAP, laid.bitmap)->image;
    const WindowRect place = placedRect(*controlRowOf(laid.controlId));
    const int32_t w = piece.width - 1, h = piece.height - 1;
    for (auto [x, y] : {std::pair{0, 0}, std::pair{w, 0}, std::pair{0, h}, std::pair{w, h}})
      EXPECT_TRUE(same(piece.at(x, y), skin.at(place.left + x, place.top + y)))
          << "bitmap " << laid.bitmap << " at id " << laid.controlId << ", corner " << x << "," << y;
  }
  // An empty dot's face sits on its socket at every slot alike.
  const Raster& empty = find(ART_BITMAP, dotFaceOfLook(LOOK_EMPTY, false))->image;
  for (int32_t slot = 0; slot < DOT_PLACE_COUNT; ++slot) {
    const DotPlace& p = dotPlaces()[slot];
    EXPECT_TRUE(same(empty.at(0, 0), skin.at(p.left, p.top + 2))) << "slot " << slot;
  }
}

// Dots: stored and current faces differ, pinned ones by their corners,
// pressed ones from the plain ones.
TEST(Art, DotFacesDifferByLook) {
  std::set<std::vector<uint8_t>> faces;
  for (int32_t look = 0; look < LOOK_COUNT; ++look)
    for (bool pressed : {false, true}) faces.insert(encodeArt(*find(ART_BITMAP, dotFaceOfLook(DotLook(look), pressed))));
  EXPECT_EQ(faces.size(), size_t(2 * LOOK_COUNT));
  auto corner = [](DotLook look) { return find(ART_BITMAP, dotFaceOfLook(look, false))->image.at(0, 0); };
  auto sum = [](Colour c) { return c.r + c.g + c.b; };
  EXPECT_LT(sum(corner(LOOK_STORED)), sum(corner(LOOK_STORED_PINNED)));
  EXPECT_LT(sum(corner(LOOK_CURRENT)), sum(corner(LOOK_CURRENT_PINNED)));
  const Colour middle = find(ART_BITMAP, dotFaceOfLook(LOOK_CURRENT, false))->image.at(4, 4);
  EXPECT_GT(middle.r, middle.b + 60) << "the current dot is orange";
}

TEST(ModuleArt, WindowsModuleCarriesTheArt) {
  using namespace module_image;
  Image pe;
  pe.bytes = readWholeFile(ML_WIN64_MODULE);
  if (pe.bytes.empty()) GTEST_SKIP() << "no Windows module at " << ML_WIN64_MODULE;
  constexpr uint32_t RT_CURSOR = 1, RT_BITMAP = 2, RT_ICON = 3, RT_GROUP_CURSOR = 12, RT_GROUP_ICON = 14;
  constexpr uint32_t ENGLISH = 1033;
  for (const ArtPiece& piece : art()) {
    SCOPED_TRACE(piece.name);
    const std::vector<uint8_t> file = encodeArt(piece);
    if (piece.kind == ART_BITMAP) {
      // The bitmap resource is the file without its 14-byte file header.
      EXPECT_TRUE(moduleResource(pe, nullptr, RT_BITMAP, uint32_t(piece.id), ENGLISH) ==
                  std::vector<uint8_t>(file.begin() + 14, file.end()));
      continue;
    }
    const bool cursor = piece.kind == ART_CURSOR;
    const std::vector<uint8_t> group =
        moduleResource(pe, nullptr, cursor ? RT_GROUP_CURSOR : RT_GROUP_ICON, uint32_t(piece.id), ENGLISH);
    ASSERT_EQ(group.size(), 6u + 14u);
    EXPECT_EQ(u16(group, 2), cursor ? 2u : 1u);
    EXPECT_EQ(u16(group, 4), 1u);
    const std::vector<uint8_t> image = moduleResource(pe, nullptr, cursor ? RT_CURSOR : RT_ICON, u16(group, 18), ENGLISH);
    // An icon image is the file's image as it stands; a cursor's has its
    // hot spot in front.
    const std::vector<uint8_t> expected(file.begin() + 22, file.end());
    if (cursor) {
      ASSERT_EQ(image.size(), expected.size() + 4);
      EXPECT_EQ(u16(image, 0), 8u);
      EXPECT_EQ(u16(image, 2), 8u);
      EXPECT_TRUE(std::vector<uint8_t>(image.begin() + 4, image.end()) == expected);
    } else {
      EXPECT_TRUE(image == expected);
    }
  }
  EXPECT_TRUE(pe.ok);
}
