// The render's worker pool over the C++ library's threads. A job is
// published by raising a generation count; each job's parts are taken from
// a shared counter, so a thread that finishes early takes the next part.
// A tile makes two short jobs, so workers and the caller spin a little
// before they sleep: waking a sleeping thread costs more than a part.
#include <emmintrin.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/threads.h"

namespace {

constexpr int32_t SPIN_ROUNDS = 4000;  // a few tens of microseconds of pauses

struct Pool {
  std::mutex lock;
  std::condition_variable wake, finished;
  std::vector<std::thread> workers;
  std::atomic<uint64_t> generation{0};
  std::atomic<bool> stopping{false};
  WorkerTask task = nullptr;
  void* context = nullptr;
  int32_t parts = 0;
  int32_t helpers = 0;            // workers that take part in this job
  std::atomic<int32_t> nextPart{0};
  std::atomic<int32_t> busy{0};   // helpers still in this job
  ~Pool();
};

Pool& pool() {
  static Pool p;
  return p;
}

void takeParts(Pool& p) {
  for (int32_t part = p.nextPart.fetch_add(1); part < p.parts; part = p.nextPart.fetch_add(1))
    p.task(p.context, part);
}

template <typename Done>
void spinUntil(Done done) {
  for (int32_t round = 0; round < SPIN_ROUNDS && !done(); ++round) _mm_pause();
}

// A worker starts from the generation before the job it is made for, so it
// never mistakes an earlier job for a new one.
void workerLoop(Pool* p, int32_t index, uint64_t seen) {
  for (;;) {
    auto ready = [&] { return p->stopping.load() || p->generation.load() != seen; };
    spinUntil(ready);
    if (!ready()) {
      std::unique_lock<std::mutex> hold(p->lock);
      p->wake.wait(hold, ready);
    }
    if (p->stopping.load()) return;
    seen = p->generation.load();
    if (index >= p->helpers) continue;
    takeParts(*p);
    if (p->busy.fetch_sub(1) == 1) {
      std::lock_guard<std::mutex> hold(p->lock);
      p->finished.notify_one();
    }
  }
}

}  // namespace

void platformRunParts(WorkerTask task, void* context, int32_t parts, int32_t threads) {
  if (parts <= 0) return;
  if (threads > parts) threads = parts;
  if (threads <= 1) {
    for (int32_t part = 0; part < parts; ++part) task(context, part);
    return;
  }
  Pool& p = pool();
  {
    std::lock_guard<std::mutex> hold(p.lock);
    while (static_cast<int32_t>(p.workers.size()) < threads - 1) {
      const int32_t index = static_cast<int32_t>(p.workers.size());
      p.workers.emplace_back(workerLoop, &p, index, p.generation.load());
    }
    p.task = task;
    p.context = context;
    p.parts = parts;
    p.helpers = threads - 1;
    p.busy.store(threads - 1);
    p.nextPart.store(0);
    p.generation.fetch_add(1);  // publishes the fields above
  }
  p.wake.notify_all();
  takeParts(p);
  spinUntil([&] { return p.busy.load() == 0; });
  if (p.busy.load() != 0) {
    std::unique_lock<std::mutex> hold(p.lock);
    p.finished.wait(hold, [&] { return p.busy.load() == 0; });
  }
}

// A program that renders tiles without a run around them (tests, tools)
// still ends with its workers joined. A run takes them down itself.
Pool::~Pool() { platformStopWorkers(); }

void platformStopWorkers() {
  Pool& p = pool();
  std::vector<std::thread> leaving;
  {
    std::lock_guard<std::mutex> hold(p.lock);
    p.stopping.store(true);
    leaving.swap(p.workers);
  }
  p.wake.notify_all();
  for (auto& t : leaving) t.join();
  p.stopping.store(false);
}

int32_t platformLiveWorkers() {
  Pool& p = pool();
  std::lock_guard<std::mutex> hold(p.lock);
  return static_cast<int32_t>(p.workers.size());
}
