#include <sched.h>

#include "platform/threads.h"

int32_t platformCoreCount() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof(set), &set) != 0) return 1;
  const int32_t count = CPU_COUNT(&set);
  return count > 0 ? count : 1;
}
