// main for every fuzz entry's replay program; see replay_driver.h.
#include "replay_driver.h"

#include <cstdio>
#include <fstream>
#include <iterator>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

uint32_t nextReplayRandom(uint32_t* state) {
  *state = *state * 1664525u + 1013904223u;
  return *state >> 8;
}

void appendWord(FuzzBytes* bytes, int32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes->push_back(static_cast<uint8_t>(uint32_t(value) >> shift));
}

namespace {

void spliceAt(FuzzBytes* data, size_t at, uint32_t* state) {
  size_t from = nextReplayRandom(state) % data->size();
  size_t length = 1 + nextReplayRandom(state) % 64;
  for (size_t i = 0; i < length && from + i < data->size() && at + i < data->size(); ++i)
    (*data)[at + i] = (*data)[from + i];
}

// Without slots the word goes at the boundary at or below `at`. A word that
// reaches past the end is planted as far as the input goes.
void plantWordAt(FuzzBytes* data, size_t at, const ReplayPlan& plan, uint32_t* state) {
  size_t word = plan.plantedWordSlots > 0 ? (nextReplayRandom(state) % plan.plantedWordSlots) * 4 : at / 4 * 4;
  if (plan.plantedWords.empty()) return;
  int32_t value = plan.plantedWords[nextReplayRandom(state) % plan.plantedWords.size()];
  for (size_t i = 0; i < 4 && word + i < data->size(); ++i)
    (*data)[word + i] = static_cast<uint8_t>(uint32_t(value) >> (24 - 8 * i));
}

int replayFiles(int argc, char** argv) {
  int replayed = 0;
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') continue;  // libFuzzer-style flags are ignored here
    std::ifstream in(argv[i], std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "cannot read %s\n", argv[i]);
      return -1;
    }
    FuzzBytes data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(data.data(), data.size());
    ++replayed;
  }
  return replayed;
}

}  // namespace

FuzzBytes mutateSeed(const FuzzBytes& seed, const ReplayPlan& plan, uint32_t* state) {
  FuzzBytes data = seed;
  if (data.empty() || plan.mutations.empty()) return data;
  int edits = 1 + static_cast<int>(nextReplayRandom(state) % static_cast<uint32_t>(plan.maxEdits));
  for (int e = 0; e < edits && !data.empty(); ++e) {
    size_t at = nextReplayRandom(state) % data.size();
    switch (plan.mutations[nextReplayRandom(state) % plan.mutations.size()]) {
      case MUTATE_FLIP_BIT: data[at] ^= static_cast<uint8_t>(1u << (nextReplayRandom(state) % 8)); break;
      case MUTATE_SET_BYTE: data[at] = static_cast<uint8_t>(nextReplayRandom(state)); break;
      case MUTATE_CUT: data.resize(at); break;
      case MUTATE_SPLICE: spliceAt(&data, at, state); break;
      case MUTATE_PLANT_WORD: plantWordAt(&data, at, plan, state); break;
      case MUTATE_OWN:
        if (plan.ownMutation != nullptr) plan.ownMutation(&data, at, state);
        break;
    }
  }
  return data;
}

int main(int argc, char** argv) {
  int replayed = replayFiles(argc, argv);
  if (replayed < 0) return 1;
  if (replayed > 0) {
    std::printf("replayed %d inputs\n", replayed);
    return 0;
  }

  ReplayPlan plan;
  if (!makeReplayPlan(&plan) || plan.seeds.empty() || plan.maxEdits < 1) {
    std::fprintf(stderr, "could not make the seed %s\n", plan.inputNoun);
    return 1;
  }
  for (const FuzzBytes& seed : plan.seeds)
    if (seed.empty()) {
      std::fprintf(stderr, "could not make a seed among the %s\n", plan.inputNoun);
      return 1;
    }

  uint32_t state = plan.randomStart;
  int runs = 0;
  for (const FuzzBytes& seed : plan.seeds) {
    LLVMFuzzerTestOneInput(seed.data(), seed.size());
    for (int i = 0; i < plan.mutantsPerSeed; ++i, ++runs) {
      FuzzBytes data = mutateSeed(seed, plan, &state);
      LLVMFuzzerTestOneInput(data.data(), data.size());
    }
  }
  std::printf("ran %d mutated %s\n", runs, plan.inputNoun);
  return 0;
}
