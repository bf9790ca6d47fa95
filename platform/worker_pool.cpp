// The render's worker pool over the C++ library's threads. Workers sleep on
// a generation count; each job's parts are taken from a shared counter, so
// a thread that finishes early takes the next part.
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/threads.h"

namespace {

struct Pool {
  std::mutex lock;
  std::condition_variable wake, finished;
  std::vector<std::thread> workers;
  uint64_t generation = 0;
  bool stopping = false;
  WorkerTask task = nullptr;
  void* context = nullptr;
  int32_t parts = 0;
  int32_t helpers = 0;            // workers that take part in this job
  std::atomic<int32_t> nextPart{0};
  int32_t busy = 0;               // workers still in this job
};

Pool& pool() {
  static Pool p;
  return p;
}

void takeParts(Pool& p) {
  for (int32_t part = p.nextPart.fetch_add(1); part < p.parts; part = p.nextPart.fetch_add(1))
    p.task(p.context, part);
}

void workerLoop(Pool* p, int32_t index) {
  uint64_t seen = 0;
  std::unique_lock<std::mutex> hold(p->lock);
  for (;;) {
    p->wake.wait(hold, [&] { return p->stopping || p->generation != seen; });
    if (p->stopping) return;
    seen = p->generation;
    if (index >= p->helpers) continue;
    hold.unlock();
    takeParts(*p);
    hold.lock();
    if (--p->busy == 0) p->finished.notify_one();
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
  std::unique_lock<std::mutex> hold(p.lock);
  while (static_cast<int32_t>(p.workers.size()) < threads - 1) {
    const int32_t index = static_cast<int32_t>(p.workers.size());
    p.workers.emplace_back(workerLoop, &p, index);
  }
  p.task = task;
  p.context = context;
  p.parts = parts;
  p.helpers = threads - 1;
  p.busy = threads - 1;
  p.nextPart.store(0);
  ++p.generation;
  hold.unlock();
  p.wake.notify_all();
  takeParts(p);
  hold.lock();
  p.finished.wait(hold, [&] { return p.busy == 0; });
  p.task = nullptr;
}

void platformStopWorkers() {
  Pool& p = pool();
  std::vector<std::thread> leaving;
  {
    std::lock_guard<std::mutex> hold(p.lock);
    p.stopping = true;
    leaving.swap(p.workers);
  }
  p.wake.notify_all();
  for (auto& t : leaving) t.join();
  std::lock_guard<std::mutex> hold(p.lock);
  p.stopping = false;
}

int32_t platformLiveWorkers() {
  Pool& p = pool();
  std::lock_guard<std::mutex> hold(p.lock);
  return static_cast<int32_t>(p.workers.size());
}
