#include "export/file_sink.h"

#include <cstring>

#include "platform/memory.h"

namespace {

void send(FileSink* sink, const uint8_t* data, size_t count) {
  int32_t done = static_cast<int32_t>(count);
  const int16_t code = writeBytes(sink->file, &done, data);
  if (sink->failure == FILE_OK) sink->failure = code;
}

}  // namespace

void initFileSink(FileSink* sink, FileHandle file) {
  sink->file = file;
  sink->buffer = static_cast<uint8_t*>(platformAllocate(FILE_SINK_BYTES));
  sink->count = 0;
  sink->failure = FILE_OK;
}

void flushFileSink(FileSink* sink) {
  if (sink->count > 0) send(sink, sink->buffer, sink->count);
  sink->count = 0;
}

void putBytes(FileSink* sink, const uint8_t* data, size_t count) {
  if (sink->buffer == nullptr) {
    if (count > 0) send(sink, data, count);
    return;
  }
  while (count > 0) {
    const size_t room = FILE_SINK_BYTES - sink->count;
    const size_t n = count < room ? count : room;
    std::memcpy(sink->buffer + sink->count, data, n);
    sink->count += n, data += n, count -= n;
    if (sink->count == FILE_SINK_BYTES) flushFileSink(sink);
  }
}

void putByte(FileSink* sink, uint8_t value) {
  if (sink->buffer != nullptr && sink->count + 1 < FILE_SINK_BYTES) {
    sink->buffer[sink->count++] = value;
    return;
  }
  putBytes(sink, &value, 1);
}

void putText(FileSink* sink, const char* text) {
  putBytes(sink, reinterpret_cast<const uint8_t*>(text), std::strlen(text));
}

void releaseFileSink(FileSink* sink) {
  flushFileSink(sink);
  platformFree(sink->buffer);
  sink->buffer = nullptr;
}
