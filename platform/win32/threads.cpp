#include <windows.h>

#include "platform/threads.h"

int32_t platformCoreCount() {
  DWORD_PTR process = 0, system = 0;
  if (!GetProcessAffinityMask(GetCurrentProcess(), &process, &system) || process == 0) return 1;
  int32_t count = 0;
  for (; process != 0; process &= process - 1) ++count;
  return count;
}
