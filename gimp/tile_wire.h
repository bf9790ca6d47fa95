// Moving whole tiles of a drawable over GIMP 2.10's plug-in pipe directly.
//
// libgimp's tile backend spends two round trips on each tile it writes (a
// request, then the tile) and copies every tile once more through GEGL's
// cache. GIMP reads its end of the pipe one message at a time, so the
// request and the tile can go out together, and a tile can be copied
// between the shared memory and the picture's rows in place:
//
//   read:  request -> GIMP answers with the tile in shared memory -> ack
//          (the ack travels with the next request);
//   write: the tile into shared memory, then request and tile at once ->
//          GIMP answers both, the second answer saying it has the tile.
//
// Messages are a 32-bit type and 32-bit fields, all big-endian. Only the
// transfer thread uses the pipe while the filter runs, and each call here
// leaves no answer unread, so libgimp's own calls can come between them.
//
// Nothing here needs libgimp: the pipe's two ends and the shared memory are
// handed in.
#pragma once

#include <cstddef>
#include <cstdint>

struct TileWire {
  int fromGimp = -1;           // the pipe's ends, as GIMP passed them
  int toGimp = -1;
  uint8_t* shared = nullptr;   // GIMP's shared memory for one tile
  int32_t drawable = -1;
  int32_t width = 0, height = 0;               // the drawable's
  int32_t tileWidth = 128, tileHeight = 128;   // GIMP's tile grid
  int32_t pixelBytes = 0;                      // in the drawable's own format
};

// The tile columns of the drawable.
int32_t tileWireColumns(const TileWire& wire);

// Reads tile row `tileRow` of the drawable into the rows of `picture` (the
// whole drawable's rows, `rowBytes` apart) and the same bytes into `copy`
// when it is not null. False when GIMP's answers are not what was asked.
bool tileWireReadRow(const TileWire& wire, int32_t tileRow, uint8_t* picture, uint8_t* copy, size_t rowBytes);

// Writes the tiles of tile row `tileRow` that hold columns left..right (one
// past) of the shadow buffer from the rows of `picture`; whole tiles, so
// the columns next to the ones asked for go out as the picture has them.
bool tileWireWriteRow(const TileWire& wire, int32_t tileRow, int32_t left, int32_t right, const uint8_t* picture,
                      size_t rowBytes);
