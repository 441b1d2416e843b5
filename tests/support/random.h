// Reproducible random numbers: every failure can be run again from the seed that it prints.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>

// A small generator with a 64-bit state; two generators of one seed give the same numbers everywhere. With
// bytes, a fuzzer's, the numbers are what these say, and 0 behind the last one.
struct test_random {
    uint64_t state;
    const uint8_t* bytes = nullptr;
    size_t byteCount = 0;
};

// The seed of this run: the environment variable QIP_TEST_SEED, or a fixed default.
inline uint64_t test_seed()
{
    const char* text = std::getenv("QIP_TEST_SEED");
    return text ? std::strtoull(text, nullptr, 0) : 20261121;
}

// The number of random cases of a test: the environment variable QIP_TEST_CASES, or the test's own default.
inline uint64_t test_caseCount(uint64_t usual)
{
    const char* text = std::getenv("QIP_TEST_CASES");
    return text ? std::strtoull(text, nullptr, 0) : usual;
}

// The next number of `count` bytes, 8 at most.
inline uint64_t test_numberOfBytes(test_random* random, int count)
{
    uint64_t number = 0;
    for (; count > 0 && random->byteCount > 0; --count, --random->byteCount)
        number = number << 8 | *random->bytes++;
    return number;
}

inline uint64_t test_randomBits(test_random* random)
{
    if (random->bytes)
        return test_numberOfBytes(random, 8);
    // splitmix64
    uint64_t z = random->state += 0x9e3779b97f4a7c15u;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
}

// A generator for one case, so that a case can be run alone. The seed is mixed before the case's number
// comes in: the states of two seeds must not lie a few steps of the generator apart, or one would draw the
// other's numbers, shifted.
inline test_random test_randomFor(uint64_t caseNumber)
{
    test_random seed{test_seed()};
    test_random random{test_randomBits(&seed) + caseNumber};
    return {test_randomBits(&random)};
}

// A generator of its own, for many numbers: of a fuzzer's bytes it takes eight.
inline test_random test_branch(test_random* random)
{
    return {test_randomBits(random)};
}

// A number from low to high, both included.
inline int64_t test_randomRange(test_random* random, int64_t low, int64_t high)
{
    const uint64_t count = static_cast<uint64_t>(high) - static_cast<uint64_t>(low) + 1;
    const auto bytes = count ? static_cast<int>(std::bit_width(count - 1) + 7) / 8 : 8;
    const uint64_t bits = random->bytes ? test_numberOfBytes(random, bytes) : test_randomBits(random);
    return static_cast<int64_t>(static_cast<uint64_t>(low) + (count ? bits % count : bits));
}

inline int32_t test_randomInt(test_random* random, int64_t low, int64_t high)
{
    return static_cast<int32_t>(test_randomRange(random, low, high));
}

// True in `percent` cases of a hundred.
inline bool test_chance(test_random* random, int percent)
{
    return test_randomRange(random, 0, 99) < percent;
}

// One of several values.
template <class Values>
const auto& test_pick(test_random* random, const Values& values)
{
    return values[static_cast<size_t>(test_randomRange(random, 0, std::ssize(values) - 1))];
}

// "seed S, case N": put it into every assertion message.
inline std::string test_caseName(uint64_t caseNumber)
{
    return "seed " + std::to_string(test_seed()) + ", case " + std::to_string(caseNumber);
}

// Runs body(random, number) for the cases from 0 on, until one fails.
template <class Body>
void test_forCases(uint64_t count, const Body& body)
{
    for (uint64_t number = 0; number < count && !testing::Test::HasFailure(); ++number) {
        SCOPED_TRACE(test_caseName(number));
        test_random random = test_randomFor(number);
        body(random, number);
    }
}
