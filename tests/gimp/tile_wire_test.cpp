// The tile pipe against a stand-in for GIMP's end: it reads one message at a
// time, as GIMP does, serves tiles of a drawable from shared memory and
// takes written tiles into a shadow picture.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <thread>
#include <vector>

#include "gimp/tile_wire.h"

namespace {

constexpr int32_t WIDTH = 300, HEIGHT = 200, TILE = 128, PIXEL_BYTES = 3;

struct Pipes {
  int toPlugIn[2];
  int toGimp[2];
  Pipes() {
    EXPECT_EQ(pipe(toPlugIn), 0);
    EXPECT_EQ(pipe(toGimp), 0);
  }
  ~Pipes() {
    for (int fd : {toPlugIn[0], toPlugIn[1], toGimp[0], toGimp[1]})
      if (fd >= 0) close(fd);
  }
  void closeGimpEnds() {
    close(toPlugIn[1]);
    close(toGimp[0]);
    toPlugIn[1] = toGimp[0] = -1;
  }
};

struct FakeGimp {
  std::vector<uint8_t> drawable, shadow;
  std::vector<uint8_t> shared = std::vector<uint8_t>(size_t(TILE) * TILE * 8);
  int32_t drawableId = 7;
  int32_t wrongTileAt = -1;       // answers this request with another tile's number
  int32_t tilesRead = 0, tilesWritten = 0;
  bool tileCameWithRequest = true;  // every written tile was in the pipe with its request
  bool outOfTurn = false;           // a message GIMP would not take where it came
};

bool readWords(int fd, uint32_t* words, int count) {
  size_t length = size_t(count) * 4;
  auto* at = reinterpret_cast<uint8_t*>(words);
  while (length > 0) {
    const ssize_t n = read(fd, at, length);
    if (n <= 0) return false;
    at += n;
    length -= size_t(n);
  }
  for (int i = 0; i < count; ++i) words[i] = ntohl(words[i]);
  return true;
}

void writeWords(int fd, std::vector<uint32_t> words) {
  for (uint32_t& w : words) w = htonl(w);
  ASSERT_EQ(write(fd, words.data(), words.size() * 4), ssize_t(words.size() * 4));
}

bool pipeHasData(int fd) {
  pollfd p{fd, POLLIN, 0};
  return poll(&p, 1, 0) == 1;
}

void copyTile(FakeGimp* g, int32_t tile, bool intoShared, std::vector<uint8_t>* picture, int32_t* w, int32_t* h) {
  const int32_t columns = (WIDTH + TILE - 1) / TILE;
  const int32_t left = tile % columns * TILE, top = tile / columns * TILE;
  *w = std::min(TILE, WIDTH - left);
  *h = std::min(TILE, HEIGHT - top);
  const size_t span = size_t(*w) * PIXEL_BYTES;
  for (int32_t y = 0; y < *h; ++y) {
    uint8_t* row = picture->data() + (size_t(top + y) * WIDTH + size_t(left)) * PIXEL_BYTES;
    if (intoShared) std::memcpy(g->shared.data() + size_t(y) * span, row, span);
    else std::memcpy(row, g->shared.data() + size_t(y) * span, span);
  }
}

// GIMP's side of the tile messages until the plug-in closes its end.
void serve(FakeGimp* g, int fromPlugIn, int toPlugIn) {
  uint32_t type = 0;
  while (readWords(fromPlugIn, &type, 1)) {
    uint32_t req[3];
    if (type != 2 || !readWords(fromPlugIn, req, 3)) {
      g->outOfTurn = true;
      return;
    }
    if (int32_t(req[0]) == -1) {
      g->tileCameWithRequest = g->tileCameWithRequest && pipeHasData(fromPlugIn);
      writeWords(toPlugIn, {4, uint32_t(-1), 0, 0, 0, 0, 0, 1});
      uint32_t data[8];
      if (!readWords(fromPlugIn, data, 8) || data[0] != 4 || int32_t(data[1]) != g->drawableId || data[3] != 1 ||
          data[4] != PIXEL_BYTES || data[7] != 1) {
        g->outOfTurn = true;
        return;
      }
      int32_t w = 0, h = 0;
      copyTile(g, int32_t(data[2]), false, &g->shadow, &w, &h);
      if (uint32_t(w) != data[5] || uint32_t(h) != data[6]) g->outOfTurn = true;
      g->tilesWritten++;
      writeWords(toPlugIn, {3});
    } else {
      const int32_t tile = int32_t(req[1]);
      int32_t w = 0, h = 0;
      copyTile(g, tile, true, &g->drawable, &w, &h);
      const uint32_t answered = uint32_t(tile == g->wrongTileAt ? tile + 1 : tile);
      writeWords(toPlugIn, {4, req[0], answered, 0, PIXEL_BYTES, uint32_t(w), uint32_t(h), 1});
      uint32_t ack = 0;
      if (!readWords(fromPlugIn, &ack, 1) || ack != 3) {
        g->outOfTurn = ack != 0 || g->wrongTileAt < 0;
        return;
      }
      g->tilesRead++;
    }
  }
}

struct Session {
  Pipes pipes;
  FakeGimp gimp;
  TileWire wire;
  std::thread thread;
  Session() {
    gimp.drawable.resize(size_t(WIDTH) * HEIGHT * PIXEL_BYTES);
    for (size_t i = 0; i < gimp.drawable.size(); ++i) gimp.drawable[i] = uint8_t(i * 7 + i / 911);
    gimp.shadow.assign(gimp.drawable.size(), 0);
    wire.fromGimp = pipes.toPlugIn[0];
    wire.toGimp = pipes.toGimp[1];
    wire.shared = gimp.shared.data();
    wire.drawable = gimp.drawableId;
    wire.width = WIDTH;
    wire.height = HEIGHT;
    wire.tileWidth = wire.tileHeight = TILE;
    wire.pixelBytes = PIXEL_BYTES;
  }
  void start() { thread = std::thread(serve, &gimp, pipes.toGimp[0], pipes.toPlugIn[1]); }
  // Closes the plug-in's end, which ends the stand-in.
  void finish() {
    close(pipes.toGimp[1]);
    pipes.toGimp[1] = -1;
    thread.join();
  }
};

constexpr size_t ROW_BYTES = size_t(WIDTH) * PIXEL_BYTES;

TEST(TileWire, ReadsEveryTileRowIntoBothPicturesIncludingTheSmallerEdgeTiles) {
  Session s;
  s.start();
  std::vector<uint8_t> picture(s.gimp.drawable.size()), copy(s.gimp.drawable.size());
  EXPECT_TRUE(tileWireReadRow(s.wire, 1, picture.data(), copy.data(), ROW_BYTES));
  EXPECT_TRUE(tileWireReadRow(s.wire, 0, picture.data(), nullptr, ROW_BYTES));
  s.finish();
  EXPECT_FALSE(s.gimp.outOfTurn);
  EXPECT_EQ(s.gimp.tilesRead, 6);
  EXPECT_EQ(picture, s.gimp.drawable);
  // The copy got tile row 1 only.
  EXPECT_TRUE(std::equal(copy.begin() + TILE * ROW_BYTES, copy.end(), s.gimp.drawable.begin() + TILE * ROW_BYTES));
  EXPECT_EQ(copy[0], 0);
}

TEST(TileWire, WritesWholeTilesOfTheColumnsAskedForEachWithItsRequest) {
  Session s;
  s.start();
  // Columns 130..260 lie in tiles 1 and 2 of the bottom row (the last one 44 wide).
  EXPECT_TRUE(tileWireWriteRow(s.wire, 1, 130, 260, s.gimp.drawable.data(), ROW_BYTES));
  EXPECT_TRUE(tileWireWriteRow(s.wire, 0, 500, 600, s.gimp.drawable.data(), ROW_BYTES));  // no columns there
  s.finish();
  EXPECT_FALSE(s.gimp.outOfTurn);
  EXPECT_TRUE(s.gimp.tileCameWithRequest);
  EXPECT_EQ(s.gimp.tilesWritten, 2);
  for (int32_t y = 0; y < HEIGHT; ++y) {
    const size_t row = size_t(y) * ROW_BYTES;
    const size_t from = y >= TILE ? size_t(TILE) * PIXEL_BYTES : ROW_BYTES;
    EXPECT_TRUE(std::all_of(s.gimp.shadow.begin() + row, s.gimp.shadow.begin() + row + from, [](uint8_t b) { return b == 0; }))
        << "row " << y;
    EXPECT_TRUE(std::equal(s.gimp.shadow.begin() + row + from, s.gimp.shadow.begin() + row + ROW_BYTES,
                           s.gimp.drawable.begin() + row + from))
        << "row " << y;
  }
}

TEST(TileWire, AWrongAnswerOrAClosedPipeFailsInsteadOfHanging) {
  {
    Session s;
    s.gimp.wrongTileAt = 1;
    s.start();
    std::vector<uint8_t> picture(s.gimp.drawable.size());
    EXPECT_FALSE(tileWireReadRow(s.wire, 0, picture.data(), nullptr, ROW_BYTES));
    s.finish();
    EXPECT_FALSE(s.gimp.outOfTurn);
  }
  {
    // GIMP gone: the writes fail rather than end the process.
    std::signal(SIGPIPE, SIG_IGN);
    Session s;
    s.pipes.closeGimpEnds();
    std::vector<uint8_t> picture(s.gimp.drawable.size());
    EXPECT_FALSE(tileWireReadRow(s.wire, 0, picture.data(), nullptr, ROW_BYTES));
    EXPECT_FALSE(tileWireWriteRow(s.wire, 0, 0, WIDTH, picture.data(), ROW_BYTES));
    // A row outside the drawable asks GIMP nothing.
    EXPECT_FALSE(tileWireReadRow(s.wire, 2, picture.data(), nullptr, ROW_BYTES));
  }
}

}  // namespace
