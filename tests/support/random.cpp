#include "support/random.h"

#include <cstdlib>

uint64_t test_seed()
{
    static const uint64_t seed = [] {
        const char* text = std::getenv("QIP_TEST_SEED");
        return text ? std::strtoull(text, nullptr, 0) : uint64_t{20261121};
    }();
    return seed;
}

test_random test_randomFor(uint64_t caseNumber)
{
    // The seed is mixed before the case's number comes in: the states of two seeds must not lie a few steps
    // of the generator apart, or one would draw the other's numbers, shifted.
    test_random seed{test_seed()};
    test_random random{test_randomBits(&seed) + caseNumber};
    random.state = test_randomBits(&random);
    return random;
}

uint64_t test_randomBits(test_random* random)
{
    // splitmix64
    uint64_t z = random->state += 0x9e3779b97f4a7c15u;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
}

int64_t test_randomRange(test_random* random, int64_t low, int64_t high)
{
    const uint64_t count = static_cast<uint64_t>(high) - static_cast<uint64_t>(low) + 1;
    const uint64_t bits = test_randomBits(random);
    return static_cast<int64_t>(static_cast<uint64_t>(low) + (count ? bits % count : bits));
}

int32_t test_randomInt(test_random* random, int64_t low, int64_t high)
{
    return static_cast<int32_t>(test_randomRange(random, low, high));
}

bool test_chance(test_random* random, int percent)
{
    return test_randomRange(random, 0, 99) < percent;
}

void test_randomFill(test_random* random, void* bytes, int64_t count)
{
    auto* const target = static_cast<unsigned char*>(bytes);
    for (int64_t i = 0; i < count; ++i)
        target[i] = static_cast<unsigned char>(test_randomBits(random) >> 56);
}

std::string test_caseName(uint64_t caseNumber)
{
    return "seed " + std::to_string(test_seed()) + ", case " + std::to_string(caseNumber);
}
