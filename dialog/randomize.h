// Randomize: the twelve parameters from a weighted draw that favours looks
// worth keeping (low smoothing, both extents, a few common glue modes).
#pragma once

#include <cstdint>

struct EdgeParameters;

// The generator the draws take their numbers from: the C runtime's rand()
// unless a test puts a fixed sequence in its place (null: rand() again).
using RandomSource = int (*)();
void setRandomSource(RandomSource source);
// Seeds rand() with the time in seconds; the Prepare selector calls it.
void seedRandom();

// Uniform over low..high, both ends included (the ends in either order).
int32_t randomInRange(int32_t low, int32_t high);
// Draws the twelve parameters and the settings name, in a fixed order of
// draws; nothing else of the record changes.
void randomizeParameters(EdgeParameters* p);
