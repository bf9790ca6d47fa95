#include "gimp/tile_wire.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

// The message types of the tile exchange, as numbered on GIMP 2.10's wire.
constexpr uint32_t TILE_REQUEST = 2;
constexpr uint32_t TILE_ACK = 3;
constexpr uint32_t TILE_DATA = 4;

// Room for the longest run of messages sent at once: an ack and a request,
// or a request and a tile's header.
struct Message {
  uint32_t words[12];
  int32_t count = 0;
  void add(uint32_t value) { words[count++] = htonl(value); }
};

void addRequest(Message* m, int32_t drawable, int32_t tile, bool shadow) {
  m->add(TILE_REQUEST);
  m->add(uint32_t(drawable));
  m->add(uint32_t(tile));
  m->add(shadow ? 1 : 0);
}

bool writeAll(int fd, const void* data, size_t length) {
  const auto* at = static_cast<const uint8_t*>(data);
  while (length > 0) {
    const ssize_t n = ::write(fd, at, length);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    at += n;
    length -= size_t(n);
  }
  return true;
}

bool send(const TileWire& w, const Message& m) { return writeAll(w.toGimp, m.words, size_t(m.count) * 4); }

bool readWords(const TileWire& w, uint32_t* words, int32_t count) {
  auto* at = reinterpret_cast<uint8_t*>(words);
  size_t length = size_t(count) * 4;
  while (length > 0) {
    const ssize_t n = ::read(w.fromGimp, at, length);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    at += n;
    length -= size_t(n);
  }
  for (int32_t i = 0; i < count; ++i) words[i] = ntohl(words[i]);
  return true;
}

// A tile's header: drawable, tile, shadow, bytes a pixel, width, height,
// whether the pixels are in shared memory.
struct TileHeader {
  uint32_t type, drawable, tile, shadow, pixelBytes, width, height, shared;
};

bool readHeader(const TileWire& w, TileHeader* h) {
  static_assert(sizeof(TileHeader) == 8 * 4, "eight words");
  return readWords(w, reinterpret_cast<uint32_t*>(h), 8) && h->type == TILE_DATA;
}

// The tile at column `column` of tile row `row`: its number and its size,
// smaller at the drawable's right and bottom edges.
struct TileSpot {
  int32_t number, left, top, width, height;
};

TileSpot tileAt(const TileWire& w, int32_t row, int32_t column) {
  TileSpot t;
  t.number = row * tileWireColumns(w) + column;
  t.left = column * w.tileWidth;
  t.top = row * w.tileHeight;
  t.width = std::min(w.tileWidth, w.width - t.left);
  t.height = std::min(w.tileHeight, w.height - t.top);
  return t;
}

bool tileRowValid(const TileWire& w, int32_t row) {
  return w.tileWidth > 0 && w.tileHeight > 0 && row >= 0 && row * w.tileHeight < w.height;
}

}  // namespace

int32_t tileWireColumns(const TileWire& w) { return (w.width + w.tileWidth - 1) / w.tileWidth; }

bool tileWireReadRow(const TileWire& w, int32_t tileRow, uint8_t* picture, uint8_t* copy, size_t rowBytes) {
  if (!tileRowValid(w, tileRow)) return false;
  bool ackOwed = false;
  for (int32_t column = 0; column < tileWireColumns(w); ++column) {
    const TileSpot t = tileAt(w, tileRow, column);
    Message m;
    if (ackOwed) m.add(TILE_ACK);
    addRequest(&m, w.drawable, t.number, false);
    if (!send(w, m)) return false;
    TileHeader h;
    if (!readHeader(w, &h) || int32_t(h.drawable) != w.drawable || int32_t(h.tile) != t.number || h.shadow != 0 ||
        int32_t(h.pixelBytes) != w.pixelBytes || int32_t(h.width) != t.width || int32_t(h.height) != t.height ||
        h.shared == 0)
      return false;
    ackOwed = true;
    const size_t span = size_t(t.width) * size_t(w.pixelBytes);
    for (int32_t y = 0; y < t.height; ++y) {
      const size_t at = size_t(t.top + y) * rowBytes + size_t(t.left) * size_t(w.pixelBytes);
      const uint8_t* from = w.shared + size_t(y) * span;
      std::memcpy(picture + at, from, span);
      if (copy) std::memcpy(copy + at, from, span);
    }
  }
  if (!ackOwed) return true;
  Message m;
  m.add(TILE_ACK);
  return send(w, m);
}

bool tileWireWriteRow(const TileWire& w, int32_t tileRow, int32_t left, int32_t right, const uint8_t* picture,
                      size_t rowBytes) {
  if (!tileRowValid(w, tileRow)) return false;
  left = std::max(left, 0);
  right = std::min(right, w.width);
  if (left >= right) return true;
  for (int32_t column = left / w.tileWidth; column * w.tileWidth < right; ++column) {
    const TileSpot t = tileAt(w, tileRow, column);
    // GIMP has read the tile before it acknowledges it, so the shared
    // memory is free again here.
    const size_t span = size_t(t.width) * size_t(w.pixelBytes);
    for (int32_t y = 0; y < t.height; ++y)
      std::memcpy(w.shared + size_t(y) * span,
                  picture + size_t(t.top + y) * rowBytes + size_t(t.left) * size_t(w.pixelBytes), span);
    Message m;
    addRequest(&m, -1, 0, false);
    m.add(TILE_DATA);
    for (int32_t field : {w.drawable, t.number, 1, w.pixelBytes, t.width, t.height, 1}) m.add(uint32_t(field));
    if (!send(w, m)) return false;
    TileHeader h;
    if (!readHeader(w, &h) || h.shared == 0) return false;
    uint32_t ack = 0;
    if (!readWords(w, &ack, 1) || ack != TILE_ACK) return false;
  }
  return true;
}
