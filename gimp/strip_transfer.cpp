#include "gimp/strip_transfer.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>

#include "gimp/picture_rows.h"

namespace {

using Clock = std::chrono::steady_clock;
using Written = StripTransfer::Written;

double msSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double threadCpuMs() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

int32_t stripCount(const StripTransfer& t) { return (t.source->height + t.stripRows - 1) / t.stripRows; }
int32_t stripTop(const StripTransfer& t, int32_t strip) { return strip * t.stripRows; }
int32_t stripBottom(const StripTransfer& t, int32_t strip) {
  return std::min((strip + 1) * t.stripRows, t.source->height);
}

// The output rows of a strip; empty (top >= bottom) outside the output.
int32_t outTop(const StripTransfer& t, int32_t strip) { return std::max(stripTop(t, strip), t.outputTop); }
int32_t outBottom(const StripTransfer& t, int32_t strip) { return std::min(stripBottom(t, strip), t.outputBottom); }
bool holdsOutput(const StripTransfer& t, int32_t strip) { return outTop(t, strip) < outBottom(t, strip); }
bool finished(const StripTransfer& t, int32_t strip) { return outBottom(t, strip) <= t.finishedTop; }

bool rowsPresent(const StripTransfer& t, int32_t top, int32_t bottom) {
  for (int32_t s = top / t.stripRows; s * t.stripRows < bottom; ++s)
    if (!t.present[size_t(s)].load(std::memory_order_acquire)) return false;
  return true;
}

// Whether the filtered rows of a strip, within the output's columns, still
// equal the picture as read.
bool stripUnchanged(const StripTransfer& t, int32_t strip) {
  const size_t pixelBytes = picturePixelBytes(*t.source);
  const size_t rowBytes = pictureRowBytes(*t.source);
  const auto* a = static_cast<const uint8_t*>(pictureSamples(*t.source));
  const auto* b = static_cast<const uint8_t*>(pictureSamples(*t.filtered));
  const size_t length = size_t(t.outputRight - t.outputLeft) * pixelBytes;
  for (int32_t y = outTop(t, strip); y < outBottom(t, strip); ++y) {
    const size_t at = size_t(y) * rowBytes + size_t(t.outputLeft) * pixelBytes;
    if (std::memcmp(a + at, b + at, length) != 0) return false;
  }
  return true;
}

enum class Job { None, Read, Write, Progress, Done };

// The next thing for the transfer thread to do, under the lock: rows the
// filter waits for first, then finished strips, then reading ahead, then
// the progress bar.
Job nextJob(StripTransfer* t, int32_t* strip) {
  if (t->abandoned) return Job::Done;
  const int32_t count = stripCount(*t);
  for (int32_t s = t->needTop / t->stripRows; s * t->stripRows < t->needBottom; ++s) {
    if (!t->present[size_t(s)]) {
      *strip = s;
      return Job::Read;
    }
  }
  if (t->runEnded) {
    for (int32_t s = 0; s < count; ++s) {
      if (!holdsOutput(*t, s) || t->written[size_t(s)] == Written::Yes) continue;
      *strip = s;
      return t->present[size_t(s)] ? Job::Write : Job::Read;
    }
    return Job::Done;
  }
  for (int32_t s = 0; s < count; ++s) {
    if (holdsOutput(*t, s) && finished(*t, s) && t->present[size_t(s)] && t->written[size_t(s)] == Written::No) {
      *strip = s;
      return Job::Write;
    }
  }
  // Reading ahead takes the strips that hold output, top down; the rows
  // above and below that only the filter's margin reaches come when asked
  // for, and the rest of a tall layer not at all.
  while (t->nextRead < count && (t->present[size_t(t->nextRead)] || !holdsOutput(*t, t->nextRead))) t->nextRead++;
  if (t->nextRead < count) {
    *strip = t->nextRead;
    return Job::Read;
  }
  if (t->moves.progress && int32_t(t->fraction * 100.0) != t->percentShown) return Job::Progress;
  return Job::None;
}

void transferLoop(StripTransfer* t) {
  std::unique_lock<std::mutex> hold(t->lock);
  for (;;) {
    int32_t strip = -1;
    const Job job = nextJob(t, &strip);
    if (job == Job::Done) {
      t->counts.threadCpuMs = threadCpuMs();
      return;
    }
    if (job == Job::None) {
      t->changed.wait(hold);
      continue;
    }
    if (job == Job::Read) {
      hold.unlock();
      t->moves.read(t->moves.context, t->source, t->filtered, stripTop(*t, strip), stripBottom(*t, strip));
      hold.lock();
      t->present[size_t(strip)].store(1, std::memory_order_release);
      t->counts.stripsRead++;
      t->changed.notify_all();
    } else if (job == Job::Write) {
      // The filter does not touch a finished strip unless it goes back up,
      // and then its hook waits until this copy is done.
      const bool atEnd = t->runEnded;
      t->stagingStrip = strip;
      hold.unlock();
      const bool send = atEnd || !stripUnchanged(*t, strip);
      if (send) t->moves.stage(t->moves.context, *t->filtered, outTop(*t, strip), outBottom(*t, strip));
      hold.lock();
      t->stagingStrip = -1;
      t->written[size_t(strip)] = send ? Written::Yes : Written::Deferred;
      t->changed.notify_all();
      if (send) {
        t->counts.stripsWritten++;
        if (!atEnd) t->counts.stripsWrittenEarly++;
        hold.unlock();
        t->moves.send(t->moves.context);
        hold.lock();
      }
    } else {
      const double fraction = t->fraction;
      t->percentShown = int32_t(fraction * 100.0);
      hold.unlock();
      const bool go = t->moves.progress(t->moves.context, fraction);
      hold.lock();
      if (!go) t->cancelled.store(true);
    }
  }
}

}  // namespace

void stripTransferStart(StripTransfer* t, HostImage* source, HostImage* filtered) {
  t->source = source;
  t->filtered = filtered;
  t->present = std::vector<std::atomic<uint8_t>>(size_t(stripCount(*t)));
  for (auto& strip : t->present) strip.store(0);
  t->written.assign(size_t(stripCount(*t)), Written::No);
  t->finishedTop = t->outputTop;
  t->worker = std::thread(transferLoop, t);
}

void stripTransferRows(void* context, int32_t top, int32_t bottom, int32_t outputTop) {
  auto* t = static_cast<StripTransfer*>(context);
  top = std::max(top, 0);
  bottom = std::min(bottom, t->source->height);
  // Mostly the rows are there and the output is where it was.
  const bool newOutput = outputTop >= 0 && outputTop != t->announcedOutputTop;
  if (!newOutput && (top >= bottom || rowsPresent(*t, top, bottom))) return;
  const auto start = Clock::now();
  std::unique_lock<std::mutex> hold(t->lock);
  if (newOutput) {
    t->announcedOutputTop = outputTop;
    const bool back = outputTop < t->finishedTop;
    t->finishedTop = std::max(outputTop, t->outputTop);
    if (back) {
      // Going back up: the strips below are the filter's again. Wait for a
      // copy out of one of them to end, then have them written anew.
      t->changed.wait(hold, [&] { return t->stagingStrip < 0 || finished(*t, t->stagingStrip); });
      for (size_t s = 0; s < t->written.size(); ++s)
        if (!finished(*t, int32_t(s))) t->written[s] = Written::No;
    }
    t->changed.notify_all();
  }
  if (top < bottom) {
    t->needTop = top;
    t->needBottom = bottom;
    t->changed.notify_all();
    t->changed.wait(hold, [&] { return t->abandoned || rowsPresent(*t, top, bottom); });
  }
  t->counts.filterWaitMs += msSince(start);
}

void stripTransferProgress(void* context, int32_t done, int32_t total) {
  auto* t = static_cast<StripTransfer*>(context);
  if (total <= 0) return;
  const double fraction = double(std::clamp(done, 0, total)) / double(total);
  if (int32_t(fraction * 100.0) == t->announcedPercent) return;
  t->announcedPercent = int32_t(fraction * 100.0);
  std::lock_guard<std::mutex> hold(t->lock);
  t->fraction = fraction;
  t->changed.notify_all();
}

bool stripTransferCancelled(void* context) {
  return static_cast<StripTransfer*>(context)->cancelled.load();
}

StripTransferCounts stripTransferFinish(StripTransfer* t, bool keep) {
  const auto start = Clock::now();
  {
    std::lock_guard<std::mutex> hold(t->lock);
    t->runEnded = true;
    t->abandoned = !keep;
    t->finishedTop = t->outputBottom;
    t->needTop = t->needBottom = 0;
    t->changed.notify_all();
  }
  if (t->worker.joinable()) t->worker.join();
  t->counts.tailMs = msSince(start);
  return t->counts;
}

StripTransfer::~StripTransfer() {
  if (worker.joinable()) stripTransferFinish(this, false);
}
