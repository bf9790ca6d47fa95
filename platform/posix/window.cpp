// Headless window layer: nothing is drawn; refusals are recorded.
#include "platform/window.h"

#include <string>

namespace {
int refusals = 0;
std::string lastRefusal;
}  // namespace

void platformRememberModule() {}
void* platformModuleHandle() { return nullptr; }

void platformShowRefusal(const char* title, const char* text) {
  ++refusals;
  lastRefusal = std::string(title) + ": " + text;
}

int platformRefusalCount() { return refusals; }
const char* platformLastRefusal() { return lastRefusal.c_str(); }
