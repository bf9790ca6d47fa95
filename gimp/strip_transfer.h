// Moving a picture in and out in strips of rows while the filter runs.
//
// GIMP 2.10 hands a plug-in its pixels one 128 x 128 tile per round trip, so
// reading and writing a large drawable takes a good part of the filter's
// own time. The filter asks for its rows top to bottom and finishes its
// output top to bottom, so a transfer thread can read the strips that hold
// output ahead of the filter's requests (others only when asked for) and
// write finished strips behind it:
//
//   - before each request the session's rows hook waits until the rows the
//     request covers are present (the strips it needs go first);
//   - the rows above the request's output top are taken as finished; when a
//     request goes back up (a style that walks the picture twice), the strips
//     below its output top count as unfinished again and are written anew;
//   - a finished strip whose output still equals the picture as read is left
//     for the end, so a first walk that changes nothing costs no transfer;
//   - progress goes out from the transfer thread too: the plug-in wire takes
//     one call at a time, and this thread is the only one that uses it while
//     the filter runs.
//
// Nothing here needs libgimp: the moves are callbacks, all made on the
// transfer thread, one at a time.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "pihost/host_image.h"

struct StripMoves {
  // Brings rows top..bottom (one past) of the drawable into both pictures.
  void (*read)(void* context, HostImage* source, HostImage* filtered, int32_t top, int32_t bottom) = nullptr;
  // Copies the filtered rows top..bottom out of the picture (to be sent).
  void (*stage)(void* context, const HostImage& filtered, int32_t top, int32_t bottom) = nullptr;
  // Sends what was staged.
  void (*send)(void* context) = nullptr;
  // Shows the fraction done; false when the user has cancelled. May be null.
  bool (*progress)(void* context, double fraction) = nullptr;
  void* context = nullptr;
};

// What the transfer did, for the plug-in's timing line.
struct StripTransferCounts {
  int32_t stripsRead = 0;
  int32_t stripsWritten = 0;   // writes of a strip, a strip written twice counts twice
  int32_t stripsWrittenEarly = 0;  // of those, the ones sent while the filter still ran
  double filterWaitMs = 0;     // time the filter waited for its rows
  double tailMs = 0;           // time from the filter's end until every strip was sent
  double threadCpuMs = 0;      // the transfer thread's own processor time
};

struct StripTransfer {
  StripTransfer() = default;
  StripTransfer(const StripTransfer&) = delete;
  StripTransfer& operator=(const StripTransfer&) = delete;
  // Stops a thread still running (a run left by an exception) instead of
  // ending the process.
  ~StripTransfer();

  // Set before stripTransferStart.
  StripMoves moves;
  int32_t stripRows = 64;     // strips lie on this grid of the picture's rows
  int32_t outputTop = 0;      // the rows the filter may change
  int32_t outputBottom = 0;
  int32_t outputLeft = 0;     // and the columns, for telling a changed strip
  int32_t outputRight = 0;

  // Internal state, guarded by `lock` but for the atomics: the filter's
  // hooks run once a tile, and on a busy machine a transfer thread put off
  // while holding the lock would hold up the filter, so they look at the
  // atomics and take the lock only when something changes.
  enum class Written : uint8_t { No, Deferred, Yes };
  std::mutex lock;
  std::condition_variable changed;
  std::thread worker;
  HostImage* source = nullptr;
  HostImage* filtered = nullptr;
  std::vector<std::atomic<uint8_t>> present;  // set (under the lock) once a strip's rows are in
  std::vector<Written> written;
  int32_t needTop = 0, needBottom = 0;  // the rows the filter waits for
  int32_t finishedTop = 0;              // output rows above this are final
  int32_t stagingStrip = -1;            // the strip being copied out, -1 when none
  int32_t nextRead = 0;                 // the next strip to read ahead, if it holds output
  bool runEnded = false;
  bool abandoned = false;
  double fraction = 0;
  int32_t percentShown = -1;
  std::atomic<bool> cancelled{false};
  StripTransferCounts counts;
  // The filter thread's own: what it last announced.
  int32_t announcedOutputTop = -1;
  int32_t announcedPercent = -1;
};

// Starts the transfer thread for the session's two pictures (sized already).
void stripTransferStart(StripTransfer* transfer, HostImage* source, HostImage* filtered);

// The session's rows hook (context: the StripTransfer).
void stripTransferRows(void* context, int32_t top, int32_t bottom, int32_t outputTop);

// The session's progress and abort hooks (context: the StripTransfer).
void stripTransferProgress(void* context, int32_t done, int32_t total);
bool stripTransferCancelled(void* context);

// After the filter: with `keep`, every output strip still unsent is sent
// (unread strips are read first, so rows the filter never asked for keep
// the drawable's pixels); without, the thread stops at once. Joins it.
StripTransferCounts stripTransferFinish(StripTransfer* transfer, bool keep);
