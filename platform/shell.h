// What the pages need of the desktop: the entries of a folder, and the
// user's browser for a finished page.
#pragma once

#include <cstdint>

// Calls `visit` for each entry of the folder, in the directory's own order,
// with its bare name and whether it is a folder ("." and ".." are left out).
// A visit that returns false ends the walk. False when the folder can't be
// listed.
using FolderVisit = bool (*)(const char* name, bool isFolder, void* context);
bool platformWalkFolder(const char* folder, FolderVisit visit, void* context);

// Opens a document with the program the system has for it (a page: the
// default browser), without waiting for it to be closed. A failure is not
// reported.
void platformOpenDocument(const char* path);
