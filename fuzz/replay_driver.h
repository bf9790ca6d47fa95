// The replay driver shared by every fuzz entry, so that each one also runs
// without libFuzzer, in every build and under ctest:
//   PROGRAM FILE...        replays saved inputs (a crash's reproducer)
//   PROGRAM CORPUS_DIR     every file of the corpus, as it is and mutated in a
//                          fixed, deterministic series (what ctest runs)
//   PROGRAM                the same series over the plan's own seeds
//   PROGRAM --write-seeds DIR   writes the plan's seeds, to start a corpus
// replay_driver.cpp holds main: file replay, the random generator, the
// mutations any input format suffers (bit flips, byte changes, cuts, splices,
// planted words) and the loop. A target links it with its fuzz entry and a
// file that defines makeReplayPlan: its seeds and any mutation of its own.
#ifndef MARROWLINE_FUZZ_REPLAY_DRIVER_H
#define MARROWLINE_FUZZ_REPLAY_DRIVER_H

#include <cstddef>
#include <cstdint>
#include <vector>

using FuzzBytes = std::vector<uint8_t>;

// The series' kinds of damage. Each edit picks one of the plan's list with
// equal chance, so a kind listed twice comes twice as often.
enum MutationKind {
  MUTATE_FLIP_BIT,    // one bit of one byte
  MUTATE_SET_BYTE,    // one byte to any value
  MUTATE_CUT,         // the input ends early
  MUTATE_SPLICE,      // up to 64 bytes copied over another place
  MUTATE_PLANT_WORD,  // a telling big-endian word at a word boundary
  MUTATE_OWN          // the target's own damage (ReplayPlan::ownMutation)
};

// Damages data at offset `at` (below data->size()); draws what else it needs
// from nextReplayRandom(state).
using OwnMutation = void (*)(FuzzBytes* data, size_t at, uint32_t* state);

struct ReplayPlan {
  const char* inputNoun = "inputs";  // the report's word: "ran N mutated <noun>"
  std::vector<FuzzBytes> seeds;      // each replayed as is, then mutated
  std::vector<MutationKind> mutations;
  OwnMutation ownMutation = nullptr;
  // Planted words land at one of the first plantedWordSlots word boundaries
  // (where a format keeps its sizes and counts) and take one of these values.
  size_t plantedWordSlots = 0;
  std::vector<int32_t> plantedWords;
  uint32_t randomStart = 1;  // the series' fixed starting state
  int mutantsPerSeed = 0;
  int maxEdits = 1;  // each mutant takes 1..maxEdits edits
};

// Defined by each target: fills the plan, false when a seed could not be made.
bool makeReplayPlan(ReplayPlan* plan);

// The series' generator: a linear congruential step, its upper 24 bits.
uint32_t nextReplayRandom(uint32_t* state);

// Appends value as four big-endian bytes, as seed builders lay out words.
void appendWord(FuzzBytes* bytes, int32_t value);

// One mutant of seed, advancing state; used by main's loop.
FuzzBytes mutateSeed(const FuzzBytes& seed, const ReplayPlan& plan, uint32_t* state);

#endif
