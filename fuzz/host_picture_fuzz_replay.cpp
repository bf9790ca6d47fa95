// The picture readers' replay series (main is replay_driver.cpp). The seeds
// are the corpus's small pictures of every kind (fuzz/corpus/host_png,
// host_jpeg, host_tiff; see fuzz/corpus/make_pictures.py); the plan has none
// of its own.
#include "replay_driver.h"

bool makeReplayPlan(ReplayPlan* plan) {
  plan->inputNoun = "pictures";
  plan->mutations = {MUTATE_FLIP_BIT, MUTATE_SET_BYTE, MUTATE_CUT, MUTATE_SPLICE, MUTATE_PLANT_WORD};
  plan->plantedWordSlots = 12;  // headers: the signature and the first chunk, marker or directory
  plan->plantedWords = {0, 1, -1, 0x7FFF, 0x8000, 0x10000, 0x7FFFFFFF};
  plan->randomStart = 20261127u;
  plan->mutantsPerSeed = 60;
  plan->maxEdits = 3;
  return true;
}
