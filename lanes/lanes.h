// Lanes: a register full of numbers of one type, as a type of the compiler. This file holds what is written
// alike for every processor level. +, -, *, /, &, |, ^, ~, <<, >> and comparisons work lane by lane;
// integers wrap, and a comparison gives lanes with all bits set or none.
//
// A level's header (lanes_portable.h, lanes_sse41.h, lanes_neon.h, lanes_avx2.h) says how many bytes a register
// has, includes this file, and adds what operators cannot say; what two of the levels have in common there is in
// lanes_x86.h, halves_128.h and transpose.h. Kernels are written once over all this and compiled for every level, so everything here has
// internal linkage: no level may run another level's copy.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

// What a kernel calls is always compiled into it: a kernel is fast only as one function without calls.
// lanes_inline stands before a function, lanes_inlined after the parameters of a lambda.
#define lanes_inlined __attribute__((always_inline))
#define lanes_inline  lanes_inlined inline

namespace
{

template <class Number>
using lanesOf __attribute__((vector_size(laneBytes))) = Number;

using u8s = lanesOf<uint8_t>;
using u16s = lanesOf<uint16_t>;
using u32s = lanesOf<uint32_t>;
using u64s = lanesOf<uint64_t>;
using i8s = lanesOf<int8_t>;
using i16s = lanesOf<int16_t>;
using i32s = lanesOf<int32_t>;
using f32s = lanesOf<float>;
using f64s = lanesOf<double>;

template <class Number>
constexpr int laneCount = laneBytes / static_cast<int>(sizeof(Number));

// A lane of twice the width takes the place of two narrow ones; the first of these is its low half.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

// ---- loads, stores, equal lanes ----

template <class Number>
lanes_inline lanesOf<Number> load(const Number* from)
{
    lanesOf<Number> a;
    std::memcpy(&a, from, sizeof a);
    return a;
}

template <class Number, class Lanes>
lanes_inline void store(Number* to, Lanes a)
{
    static_assert(sizeof a == laneBytes && sizeof a[0] == sizeof(Number));
    std::memcpy(to, &a, sizeof a);
}

template <class Number>
lanes_inline lanesOf<Number> filled(Number value)
{
    return lanesOf<Number>{} + value;
}

// even, odd, even, odd, ...: two weights for addPairs.
template <class Number>
lanes_inline lanesOf<Number> pairsOf(int even, int odd)
{
    if constexpr (sizeof(Number) == 1)
        return (u8s)filled(static_cast<uint16_t>(odd * 256 + even));
    else
        return (u16s)filled(static_cast<uint32_t>(odd * 65536 + even));
}

// ---- the even and the odd lanes, each in lanes of twice the width ----

lanes_inline u16s evens(u8s a)
{
    return (u16s)a & uint16_t{0x00ff};
}

lanes_inline u32s evens(u16s a)
{
    return (u32s)a & uint32_t{0x0000ffff};
}

lanes_inline u16s odds(u8s a)
{
    return (u16s)a >> 8;
}

lanes_inline u32s odds(u16s a)
{
    return (u32s)a >> 16;
}

// The way back to narrow lanes: even, odd, even, odd, ...; all numbers must fit.
lanes_inline u8s merged(u16s even, u16s odd)
{
    return (u8s)(even | odd << 8);
}

lanes_inline u16s merged(u32s even, u32s odd)
{
    return (u16s)(even | odd << 16);
}

// The same with the low half of each lane.
lanes_inline u32s lowMerged(u64s even, u64s odd)
{
    return (u32s)((even & uint64_t{0xffffffff}) | odd << 32);
}

// The same with the upper half of each lane of `odd`; the lower halves are not looked at. Each level has
// one of its own for 32 bits.
lanes_inline u8s mergedUpper(u16s even, u16s odd)
{
    return (u8s)(even | (odd & uint16_t{0xff00}));
}

// ---- numbers ----

template <class Lanes>
lanes_inline Lanes larger(Lanes a, Lanes b)
{
    return a > b ? a : b;
}

// a - 32768, in lanes that are to be read as signed numbers.
lanes_inline u16s lowered(u16s a)
{
    constexpr uint16_t sign = 0x8000;
    return a ^ sign;
}

// In each four lanes: the first, the sum of the first two, of three, of four.
lanes_inline u16s runningSumsOfFour(u16s a)
{
    a += (u16s)((u64s)a << 16);
    return a + (u16s)((u64s)a << 32);
}

// `a` holds signed numbers.
lanes_inline f32s toFloats(u32s a)
{
    return __builtin_convertvector((i32s)a, f32s);
}

// A whole number below 2^52 becomes a double when it takes the place of the low bits of 2^52.
lanes_inline f64s toDoubles(u64s a)
{
    constexpr uint64_t bits = 0x4330000000000000;
    return (f64s)(a | bits) - 0x1p52;
}

// The whole part, as a signed number.
lanes_inline u32s truncated(f32s a)
{
    return (u32s) __builtin_convertvector(a, i32s);
}

// All bits in the lanes below 0, else none.
lanes_inline u32s signsOf(u32s a)
{
    return (u32s)((i32s)a >> 31);
}

} // namespace
