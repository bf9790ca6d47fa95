// The layer every file format of the system is written and read through:
// open, close and truncate, fixed byte order, and a small buffered writer for
// pixel planes. Every multi-byte integer on disk is big-endian. Operations
// return one of the small result codes below and never show a message.
#pragma once

#include <cstdint>

#include "platform/files.h"

// Result codes of the file side.
constexpr int16_t FILE_OK = 0;
constexpr int16_t FILE_READ_FAILED = -19;
constexpr int16_t FILE_WRITE_FAILED = -20;
constexpr int16_t FILE_OPEN_FAILED = 99;  // also: a needed argument was null
constexpr int16_t FILE_DIALOG_REFUSED = 199;
constexpr int16_t PATH_NULL_SUBFOLDER = 396;  // makeSubfolder given a null argument
constexpr int16_t PATH_NULL_ARGUMENT = 398;   // another path operation given one

enum FileMode : int32_t {
  OpenRead = 0,   // an existing file, for reading
  OpenWrite = 1,  // created when missing, never emptied, position 0
};

// --- files -----------------------------------------------------------------
// 0, or FILE_OPEN_FAILED (handle unchanged).
int16_t openFile(const char* path, FileHandle* handle, FileMode mode);
// Ends the file at the current position: every writer that replaces a whole
// file calls this before closing, since openFile never empties a file.
int16_t truncateFile(FileHandle file);
void closeFile(FileHandle file);

// --- byte order --------------------------------------------------------------
// writeBytes/readBytes: `count` comes back as the number of bytes moved. A read
// that comes up short is a failure (FILE_READ_FAILED).
int16_t writeBytes(FileHandle file, int32_t* count, const void* data);
int16_t readBytes(FileHandle file, int32_t* count, void* data);
int16_t writeU8(uint32_t value, FileHandle file);
int16_t writeU16(uint32_t value, FileHandle file);  // high byte first
int16_t writeU32(uint32_t value, FileHandle file);  // high byte first
int16_t readU8(uint8_t* out, FileHandle file);
// Reads into *out and reverses it whether or not all four bytes came: test
// the code before trusting the value.
int16_t readU32(uint32_t* out, FileHandle file);
// `count` zero bytes, one write each; the code of the last, 0 below 1.
int16_t writeZeros(int32_t count, FileHandle file);
// The text without its terminator; FILE_OPEN_FAILED for a null text.
int16_t writeText(const char* text, FileHandle file);
// Reads and drops `count` bytes, 256 at a time and the rest one by one; the
// code of the last read, 0 when there is nothing to skip.
int16_t skipBytes(int32_t count, FileHandle file);

constexpr uint16_t swap16(uint16_t value) { return static_cast<uint16_t>((value >> 8) | (value << 8)); }
constexpr uint32_t swap32(uint32_t value) {
  return (value >> 24) | ((value >> 8) & 0xFF00u) | ((value << 8) & 0xFF0000u) | (value << 24);
}

// --- buffered writer -----------------------------------------------------------
// Pixel planes go through this so that a plane of megabytes costs one system
// call per 400 bytes. It lives on the caller's stack for one plane. putWord
// and putLong append the value's low byte first: a caller that wants
// big-endian order reverses the value first (swap16, swap32). Write errors
// are dropped.
constexpr int32_t WRITER_BUFFER_BYTES = 400;

struct BufferedWriter {
  uint8_t buffer[WRITER_BUFFER_BYTES];
  int32_t count;  // bytes pending, 0 to 399 between calls
  FileHandle file;
};

void initWriter(BufferedWriter* writer, FileHandle file);
void putByte(uint32_t value, BufferedWriter* writer);
void putWord(uint32_t value, BufferedWriter* writer);
void putLong(uint32_t value, BufferedWriter* writer);
void flushWriter(BufferedWriter* writer);
