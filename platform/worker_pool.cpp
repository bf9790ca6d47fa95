// The render's worker pool over the C++ library's threads. A job is
// published by raising a generation count; each job's parts are taken from
// a shared counter, so a thread that finishes early takes the next part.
// A tile makes two short jobs, so workers and the caller spin a little
// before they sleep: waking a sleeping thread costs more than a part. The
// caller waits for the parts, not for the workers: on a busy machine a
// worker that has not been scheduled yet simply finds no part left.
#include <emmintrin.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/threads.h"

namespace {

constexpr int32_t SPIN_ROUNDS = 4000;  // a few tens of microseconds of pauses

// Set once when a worker starts; a trivial value, so nothing has to run
// when a thread ends.
thread_local int32_t workerSlot = 0;

struct Pool {
  std::mutex lock;
  std::condition_variable wake, finished;
  std::vector<std::thread> workers;
  std::atomic<uint64_t> generation{0};
  std::atomic<bool> stopping{false};
  WorkerTask task = nullptr;
  void* context = nullptr;
  std::atomic<int32_t> parts{0};
  std::atomic<int32_t> helpers{0};  // workers in this job; read by late workers too
  // The job's generation in the high half, the next part in the low half:
  // a part is claimed only for the job it belongs to.
  std::atomic<uint64_t> claim{0};
  std::atomic<int32_t> partsDone{0};
  ~Pool();
};

Pool& pool() {
  static Pool p;
  return p;
}

// Runs parts of job `job` until none is left. The job's fields stay put
// while a part is claimed and not done, since the caller waits for it.
void takeParts(Pool& p, uint32_t job) {
  for (;;) {
    uint64_t now = p.claim.load();
    if (static_cast<uint32_t>(now >> 32) != job) return;
    const int32_t part = static_cast<int32_t>(now & 0xffffffffu);
    const int32_t parts = p.parts.load();
    if (part >= parts) return;
    if (!p.claim.compare_exchange_weak(now, now + 1)) continue;
    p.task(p.context, part);
    if (p.partsDone.fetch_add(1) + 1 == parts) {
      std::lock_guard<std::mutex> hold(p.lock);
      p.finished.notify_one();
    }
  }
}

template <typename Done>
void spinUntil(Done done) {
  for (int32_t round = 0; round < SPIN_ROUNDS && !done(); ++round) _mm_pause();
}

// A worker starts from the generation before the job it is made for, so it
// never mistakes an earlier job for a new one.
void workerLoop(Pool* p, int32_t index, uint64_t seen) {
  workerSlot = index + 1;
  for (;;) {
    auto ready = [&] { return p->stopping.load() || p->generation.load() != seen; };
    spinUntil(ready);
    if (!ready()) {
      std::unique_lock<std::mutex> hold(p->lock);
      p->wake.wait(hold, ready);
    }
    if (p->stopping.load()) return;
    seen = p->generation.load();
    if (index >= p->helpers.load()) continue;
    takeParts(*p, static_cast<uint32_t>(seen));
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
  uint32_t job = 0;
  {
    std::lock_guard<std::mutex> hold(p.lock);
    while (static_cast<int32_t>(p.workers.size()) < threads - 1) {
      const int32_t index = static_cast<int32_t>(p.workers.size());
      p.workers.emplace_back(workerLoop, &p, index, p.generation.load());
    }
    // The claim moves to the new job first, so a worker still looking at the
    // last one can claim nothing while the fields below change.
    job = static_cast<uint32_t>(p.generation.load() + 1);
    p.claim.store(static_cast<uint64_t>(job) << 32);
    p.task = task;
    p.context = context;
    p.parts = parts;
    p.helpers.store(threads - 1);
    p.partsDone.store(0);
    p.generation.fetch_add(1);  // publishes the fields above
  }
  p.wake.notify_all();
  takeParts(p, job);
  auto allDone = [&] { return p.partsDone.load() == parts; };
  spinUntil(allDone);
  if (!allDone()) {
    std::unique_lock<std::mutex> hold(p.lock);
    p.finished.wait(hold, allDone);
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

int32_t platformWorkerSlot() { return workerSlot; }

int32_t platformLiveWorkers() {
  Pool& p = pool();
  std::lock_guard<std::mutex> hold(p.lock);
  return static_cast<int32_t>(p.workers.size());
}
