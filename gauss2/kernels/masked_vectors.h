// Vectors of the masked kernels, as far as every level computes them alike: lane by lane. A level defines
// `vectorBytes` before it includes this file. All of it has internal linkage.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace
{

// Lanes of 8, 16 and 32 bits that wrap, and floats. +, -, *, &, |, ^, ==, / and shifts work on every lane.
using bytes = uint8_t __attribute__((vector_size(vectorBytes)));
using words = uint16_t __attribute__((vector_size(vectorBytes)));
using longs = uint32_t __attribute__((vector_size(vectorBytes)));
using signedLongs = int32_t __attribute__((vector_size(vectorBytes)));
using floats = float __attribute__((vector_size(vectorBytes)));

inline words wordsOf(int value)
{
    return words{} + static_cast<uint16_t>(value);
}

inline longs longsOf(int value)
{
    return longs{} + static_cast<uint32_t>(value);
}

// even, odd, even, odd, ...
inline bytes bytePairsOf(int even, int odd)
{
    return reinterpret_cast<bytes>(wordsOf(odd * 256 + even));
}

inline words pairsOf(int even, int odd)
{
    return reinterpret_cast<words>(longsOf(odd * 65536 + even));
}

inline bytes loadBytes(const uint8_t* from)
{
    bytes a;
    std::memcpy(&a, from, sizeof a);
    return a;
}

inline words loadWords(const void* from)
{
    words a;
    std::memcpy(&a, from, sizeof a);
    return a;
}

template <class Vector>
inline void store(void* to, Vector a)
{
    std::memcpy(to, &a, sizeof a);
}

inline words larger(words a, words b)
{
    return a > b ? a : b;
}

// a / b of signed numbers in single precision.
inline floats ratio(longs a, longs b)
{
    return __builtin_convertvector(reinterpret_cast<signedLongs>(a), floats) /
           __builtin_convertvector(reinterpret_cast<signedLongs>(b), floats);
}

inline longs truncated(floats a)
{
    return reinterpret_cast<longs>(__builtin_convertvector(a, signedLongs));
}

// -1 in the lanes below 0, else 0.
inline longs signs(longs a)
{
    return reinterpret_cast<longs>(reinterpret_cast<signedLongs>(a) >> 31);
}

} // namespace
