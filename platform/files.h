// Files and folders of the operating system. platform/win32/files.cpp serves
// these from KERNEL32, platform/posix/files.cpp from the POSIX calls; the
// file services of presets/files build everything else on top.
#pragma once

#include <cstdint>

// The operating system's handle of an open file: a HANDLE on Windows, a file
// descriptor elsewhere, held in an integer wide enough for either.
using FileHandle = intptr_t;
constexpr FileHandle INVALID_FILE_HANDLE = -1;

// The separator the system puts between a folder and a name.
#ifdef _WIN32
constexpr char PLATFORM_SEPARATOR = '\\';
#else
constexpr char PLATFORM_SEPARATOR = '/';
#endif

// Opens an existing file for reading, or for writing (created when missing,
// never emptied, positioned at 0). Other readers may share the file either
// way. False when it can't be opened.
bool platformOpenFile(const char* path, bool forWriting, FileHandle* handle);

// Moves up to `count` bytes; `done` receives how many moved. A read that
// meets the end of the file early is not an error here (done < count).
// False only when the system reports a failure.
bool platformReadFile(FileHandle file, void* data, int32_t count, int32_t* done);
bool platformWriteFile(FileHandle file, const void* data, int32_t count, int32_t* done);

// Ends the file at the current position.
bool platformTruncateFile(FileHandle file);
void platformCloseFile(FileHandle file);

// The temporary folder, ending in a separator, as NUL-terminated text cut to
// `capacity` bytes with its terminator. Always gives some folder: Windows
// falls back to C:\Windows\Temp\, POSIX to /tmp/.
void platformTempFolder(char* out, int32_t capacity);

// Gives a file a new name (in the same folder or another). False when it
// fails, as when the new name is taken.
bool platformRenameFile(const char* from, const char* to);

// Creates one folder. False when it fails, as when it exists already.
bool platformMakeFolder(const char* path);
