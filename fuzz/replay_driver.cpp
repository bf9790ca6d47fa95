// main for every fuzz entry's replay program; see replay_driver.h.
#include "replay_driver.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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

bool readInput(const std::filesystem::path& path, FuzzBytes* data) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return false;
  }
  data->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

// The arguments: files are replayed as they are; the files of a folder (a
// corpus) join the series' seeds. Flags in libFuzzer's style are passed over.
bool takeArguments(int argc, char** argv, int* replayed, std::vector<FuzzBytes>* corpus, bool* sawFolder) {
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') continue;
    const std::filesystem::path path(argv[i]);
    std::error_code failed;
    if (std::filesystem::is_directory(path, failed)) {
      *sawFolder = true;
      std::vector<std::filesystem::path> files;
      for (const auto& entry : std::filesystem::directory_iterator(path, failed))
        if (entry.is_regular_file()) files.push_back(entry.path());
      std::sort(files.begin(), files.end());  // the series stays the same on every machine
      for (const auto& file : files) {
        corpus->emplace_back();
        if (!readInput(file, &corpus->back())) return false;
      }
      continue;
    }
    FuzzBytes data;
    if (!readInput(path, &data)) return false;
    LLVMFuzzerTestOneInput(data.data(), data.size());
    ++*replayed;
  }
  return true;
}

// --write-seeds FOLDER: the plan's own seeds as files seed-NN, to start a
// corpus from.
int writeSeeds(const ReplayPlan& plan, const char* folder) {
  int index = 0;
  for (const FuzzBytes& seed : plan.seeds) {
    char name[32];
    std::snprintf(name, sizeof name, "seed-%02d", index++);
    std::ofstream out(std::filesystem::path(folder) / name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(seed.data()), static_cast<std::streamsize>(seed.size()));
    if (!out) return 1;
  }
  std::printf("wrote %d seeds\n", index);
  return 0;
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
  ReplayPlan plan;
  if (!makeReplayPlan(&plan) || plan.maxEdits < 1) {
    std::fprintf(stderr, "could not make the seed %s\n", plan.inputNoun);
    return 1;
  }
  for (const FuzzBytes& seed : plan.seeds)
    if (seed.empty()) {
      std::fprintf(stderr, "could not make a seed among the %s\n", plan.inputNoun);
      return 1;
    }
  if (argc == 3 && std::string(argv[1]) == "--write-seeds") return writeSeeds(plan, argv[2]);

  int replayed = 0;
  bool sawFolder = false;
  std::vector<FuzzBytes> corpus;
  if (!takeArguments(argc, argv, &replayed, &corpus, &sawFolder)) return 1;
  if (replayed > 0 && !sawFolder) {
    std::printf("replayed %d inputs\n", replayed);
    return 0;
  }

  // A corpus stands in for the plan's seeds, which are what it was made from.
  const std::vector<FuzzBytes>& seeds = sawFolder ? corpus : plan.seeds;
  if (seeds.empty()) {
    std::fprintf(stderr, "no seed %s: name the corpus folder\n", plan.inputNoun);
    return 1;
  }
  uint32_t state = plan.randomStart;
  int runs = 0;
  for (const FuzzBytes& seed : seeds) {
    LLVMFuzzerTestOneInput(seed.data(), seed.size());
    for (int i = 0; i < plan.mutantsPerSeed; ++i, ++runs) {
      FuzzBytes data = mutateSeed(seed, plan, &state);
      LLVMFuzzerTestOneInput(data.data(), data.size());
    }
  }
  std::printf("ran %zu seed %s%s and %d mutants\n", seeds.size(), plan.inputNoun,
              sawFolder ? " of the corpus" : "", runs);
  return 0;
}
