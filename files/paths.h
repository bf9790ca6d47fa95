// Fixed-length path records and the name surgery done on them. A path is
// NUL-terminated text in the system's 8-bit code page, at most 260 bytes with
// its terminator, held in a fixed field that nothing allocates.
//
// Folders and names are joined with the platform's separator ("\" on
// Windows, "/" elsewhere); folderOf and fileNameOf split at the last one.
#pragma once

#include <cstdint>

constexpr int32_t PATH_CAPACITY = 260;  // bytes, terminator included

struct PathSpec {
  char text[PATH_CAPACITY];
};

inline void clearPath(PathSpec* path) { path->text[0] = '\0'; }
// Copies text into a path; false (and the empty path) when it does not fit.
bool setPath(PathSpec* path, const char* text);

// folder + name, with a separator between them unless the folder is empty or
// already ends in "\" or "/". A result that would not fit gives the empty
// path. `out` may be the folder's own record.
int16_t joinPath(PathSpec* out, const char* folder, const char* name);
// The path up to and including its last separator; without one, the whole.
int16_t folderOf(PathSpec* out, const char* path);
// The part after the last separator; without one, the whole.
int16_t fileNameOf(PathSpec* out, const char* path);

// Cuts the text at its last ".", if it has one.
void stripExtension(char* text);
// From the last "." to the end, dot included; empty when the text has no "."
// or is shorter than 2 bytes.
int16_t extensionOf(PathSpec* out, const char* text);
// Makes a name safe for a file, in place: control bytes become " "; a byte
// above 127 becomes (byte & 127) + 32, and "_" where that gives "."; "\", "/"
// and ":" become "_".
void sanitizeName(char* text);
// Every " " becomes "_".
void underscoreSpaces(char* text);
// Appends a literal such as ".jpg"; false (path unchanged) when it does not fit.
bool appendExtension(PathSpec* path, const char* extension);
// Index of the first occurrence of needle in text, or -1; -1 also for null or
// empty arguments and for a needle longer than the text. Case folding covers
// A to Z only. Extension tests use this with case ignored, so a name counts
// as a preset when ".q4t" stands anywhere in it.
int32_t findText(const char* needle, const char* text, bool ignoreCase);

// out = base + name + separator, then creates that folder; a failure to create
// it (as when it exists) is ignored. PATH_NULL_SUBFOLDER for a null argument,
// FILE_OPEN_FAILED (out empty) when the result would not fit.
int16_t makeSubfolder(PathSpec* out, const char* base, const char* name);

// out = the temporary folder (ending in a separator) + name, cut to fit.
// Windows: GetTempPathA, or C:\Windows\Temp\ when that fails. Elsewhere:
// $TMPDIR, or /tmp.
int16_t tempFile(PathSpec* out, const char* name);
