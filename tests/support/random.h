// Reproducible random numbers: every failure can be run again from the seed that it prints.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

// A small generator with a 64-bit state; two generators of one seed give the same numbers everywhere.
struct test_random {
    uint64_t state;
};

// The seed of this run: the environment variable QIP_TEST_SEED, or a fixed default.
uint64_t test_seed();

// A generator for one case: mixes the run's seed with the case's number, so that a case can be run alone.
test_random test_randomFor(uint64_t caseNumber);

uint64_t test_randomBits(test_random* random);

// A number from low to high, both included.
int64_t test_randomRange(test_random* random, int64_t low, int64_t high);

// The same in 32 bits.
int32_t test_randomInt(test_random* random, int64_t low, int64_t high);

// True in `percent` cases of a hundred.
bool test_chance(test_random* random, int percent);

// One of several values.
template <class Values>
const auto& test_pick(test_random* random, const Values& values)
{
    return values[static_cast<size_t>(test_randomRange(random, 0, std::ssize(values) - 1))];
}

// Fills bytes, each with its own random value.
void test_randomFill(test_random* random, void* bytes, int64_t count);

// "seed S, case N": put it into every assertion message.
std::string test_caseName(uint64_t caseNumber);
