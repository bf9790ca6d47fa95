// Threads of the render: a small pool of workers that splits one job into
// parts, and the number of cores the process may use. The pool is made on
// the first job and taken down by platformStopWorkers at the end of a run,
// so no thread outlives the run (a module can be unloaded after it).
#pragma once

#include <cstdint>

// Cores this process may run on (its affinity), at least 1.
int32_t platformCoreCount();

// Calls task(context, part) for every part in 0 .. parts-1, on up to
// `threads` threads, the calling one included; returns when all are done.
// Parts must not depend on each other's order. One thread runs them in order.
using WorkerTask = void (*)(void* context, int32_t part);
void platformRunParts(WorkerTask task, void* context, int32_t parts, int32_t threads);

// Which of a job's threads is running: 0 on the thread that called
// platformRunParts, 1 .. threads-1 on the workers. Lets a part pick scratch
// of its own thread without a lock.
int32_t platformWorkerSlot();

// Joins the workers; harmless when there are none.
void platformStopWorkers();

// Workers alive now (0 once stopped), for tests.
int32_t platformLiveWorkers();
