#include "files/file_io.h"

#include <cstring>

int16_t openFile(const char* path, FileHandle* handle, FileMode mode) {
  if (path == nullptr || handle == nullptr) return FILE_OPEN_FAILED;
  FileHandle opened = INVALID_FILE_HANDLE;
  if (!platformOpenFile(path, mode == OpenWrite, &opened)) return FILE_OPEN_FAILED;
  *handle = opened;
  return FILE_OK;
}

int16_t truncateFile(FileHandle file) { return platformTruncateFile(file) ? FILE_OK : FILE_WRITE_FAILED; }

void closeFile(FileHandle file) { platformCloseFile(file); }

int16_t writeBytes(FileHandle file, int32_t* count, const void* data) {
  if (count == nullptr) return FILE_WRITE_FAILED;
  int32_t wanted = *count;
  if (wanted <= 0) {
    *count = 0;
    return FILE_OK;
  }
  if (data == nullptr) {
    *count = 0;
    return FILE_WRITE_FAILED;
  }
  int32_t done = 0;
  bool ok = platformWriteFile(file, data, wanted, &done);
  *count = done;
  return ok && done == wanted ? FILE_OK : FILE_WRITE_FAILED;
}

int16_t readBytes(FileHandle file, int32_t* count, void* data) {
  if (count == nullptr) return FILE_READ_FAILED;
  int32_t wanted = *count;
  if (wanted <= 0) {
    *count = 0;
    return FILE_OK;
  }
  if (data == nullptr) {
    *count = 0;
    return FILE_READ_FAILED;
  }
  int32_t done = 0;
  bool ok = platformReadFile(file, data, wanted, &done);
  *count = done;
  return ok && done == wanted ? FILE_OK : FILE_READ_FAILED;
}

namespace {
int16_t writeFixed(FileHandle file, const uint8_t* bytes, int32_t length) {
  int32_t count = length;
  return writeBytes(file, &count, bytes);
}
}  // namespace

int16_t writeU8(uint32_t value, FileHandle file) {
  uint8_t byte = static_cast<uint8_t>(value);
  return writeFixed(file, &byte, 1);
}

int16_t writeU16(uint32_t value, FileHandle file) {
  uint8_t bytes[2] = {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  return writeFixed(file, bytes, 2);
}

int16_t writeU32(uint32_t value, FileHandle file) {
  uint8_t bytes[4] = {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
                      static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  return writeFixed(file, bytes, 4);
}

int16_t readU8(uint8_t* out, FileHandle file) {
  if (out == nullptr) return FILE_READ_FAILED;
  int32_t count = 1;
  return readBytes(file, &count, out);
}

int16_t readU32(uint32_t* out, FileHandle file) {
  if (out == nullptr) return FILE_READ_FAILED;
  // The bytes land over what the destination held, in memory order, and the
  // whole word is then taken as big-endian, whether the read completed or not.
  uint8_t bytes[4];
  std::memcpy(bytes, out, 4);
  int32_t count = 4;
  int16_t code = readBytes(file, &count, bytes);
  *out = (static_cast<uint32_t>(bytes[0]) << 24) | (static_cast<uint32_t>(bytes[1]) << 16) |
         (static_cast<uint32_t>(bytes[2]) << 8) | static_cast<uint32_t>(bytes[3]);
  return code;
}

int16_t writeZeros(int32_t count, FileHandle file) {
  int16_t code = FILE_OK;
  for (int32_t i = 0; i < count; ++i) code = writeU8(0, file);
  return code;
}

int16_t writeText(const char* text, FileHandle file) {
  if (text == nullptr) return FILE_OPEN_FAILED;
  size_t length = std::strlen(text);
  if (length > 0x7FFFFFFF) return FILE_WRITE_FAILED;
  int32_t count = static_cast<int32_t>(length);
  return writeBytes(file, &count, text);
}

int16_t skipBytes(int32_t count, FileHandle file) {
  int16_t code = FILE_OK;
  uint8_t scratch[256];
  while (count >= 256) {
    int32_t piece = 256;
    code = readBytes(file, &piece, scratch);
    count -= 256;
  }
  while (count > 0) {
    int32_t piece = 1;
    code = readBytes(file, &piece, scratch);
    --count;
  }
  return code;
}

void initWriter(BufferedWriter* writer, FileHandle file) {
  writer->count = 0;
  writer->file = file;
}

void flushWriter(BufferedWriter* writer) {
  if (writer->count > 0) {
    int32_t count = writer->count;
    writeBytes(writer->file, &count, writer->buffer);  // errors are dropped
  }
  writer->count = 0;
}

void putByte(uint32_t value, BufferedWriter* writer) {
  writer->buffer[writer->count++] = static_cast<uint8_t>(value);
  if (writer->count >= WRITER_BUFFER_BYTES) flushWriter(writer);
}

void putWord(uint32_t value, BufferedWriter* writer) {
  putByte(value, writer);
  putByte(value >> 8, writer);
}

void putLong(uint32_t value, BufferedWriter* writer) {
  putByte(value, writer);
  putByte(value >> 8, writer);
  putByte(value >> 16, writer);
  putByte(value >> 24, writer);
}
