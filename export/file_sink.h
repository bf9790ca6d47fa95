// The buffered output of the exports' files: bytes gather in a 64 KiB block
// and go to the file when it is full. A PSD of a 4000 x 3000 picture is some
// 100 MB; in smaller writes the system calls, not the render, would be the
// slow part of an export. Write errors do not stop the sink: the first one
// is kept, for the writer to deal with at the end.
#pragma once

#include <cstddef>
#include <cstdint>

#include "files/file_io.h"

constexpr size_t FILE_SINK_BYTES = size_t(1) << 16;

struct FileSink {
  FileHandle file;
  uint8_t* buffer;  // null when it could not be had: every byte then goes out at once
  size_t count;
  int16_t failure;  // code of the first write that failed, 0 while none has
};

void initFileSink(FileSink* sink, FileHandle file);
void putBytes(FileSink* sink, const uint8_t* data, size_t count);
void putByte(FileSink* sink, uint8_t value);
void putText(FileSink* sink, const char* text);
void flushFileSink(FileSink* sink);
// Flushes and gives the buffer back; the file stays open.
void releaseFileSink(FileSink* sink);
