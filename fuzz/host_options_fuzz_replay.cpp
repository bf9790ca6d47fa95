// The command line's replay series (main is replay_driver.cpp). Seeds are
// command lines people write: every option with a good value, script values
// by name and by number, and the mistakes the parser must refuse.
#include <initializer_list>
#include <string>

#include "replay_driver.h"

namespace {

// The arguments one behind the other, each ended by a NUL but the last.
FuzzBytes line(std::initializer_list<const char*> words) {
  FuzzBytes bytes;
  bool first = true;
  for (const char* word : words) {
    if (!first) bytes.push_back(0);
    first = false;
    for (const char* c = word; *c != 0; ++c) bytes.push_back(static_cast<uint8_t>(*c));
  }
  return bytes;
}

}  // namespace

bool makeReplayPlan(ReplayPlan* plan) {
  plan->inputNoun = "command lines";
  plan->seeds = {
      line({"in.png", "out.png"}),
      line({"--help"}),
      line({"--selection", "300,10,700,513", "--mask", "m.png", "in.png", "out.png"}),
      line({"--edge-style", "chrome", "--glue", "62", "--smoothing", "500", "--flip", "1", "a.png", "b.png"}),
      line({"--edge-style=thin/soft", "--chrome-style", "sine", "--source", "red", "--angle", "-45", "a", "b"}),
      line({"--fore", "10,20,30", "--back", "255,255,255", "--dialog", "--cancel-after", "3", "a", "b"}),
      line({"--preview", "fit", "a.png", "b.png"}),
      line({"--preview", "50,10,20", "--plugin", "x.so", "--record", "r.txt", "a", "b"}),
      line({"--preset", "p.q4t", "--progress-log", "p.log", "--no-descriptors", "a", "b"}),
      line({"--host-sig", "PSP8", "--buffer-procs-version", "1", "--row-padding", "4", "--no-sampling", "a", "b"}),
      line({"--fail-alloc-size", "100", "--no-buffer-procs", "--no-handle-procs", "--no-advance-state", "a", "b"}),
      line({"--selection", "5,5,5,5", "a", "b"}),
      line({"--remove-noise", "2", "a", "b"}),
      line({"--tweaker", "99999999999", "a", "b"}),
      line({"--unknown", "a", "b"}),
      line({"a"}),
  };
  plan->mutations = {MUTATE_FLIP_BIT, MUTATE_SET_BYTE, MUTATE_CUT, MUTATE_SPLICE};
  plan->randomStart = 20261126u;
  plan->mutantsPerSeed = 200;
  plan->maxEdits = 3;
  return true;
}
