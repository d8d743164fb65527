// A 128-bit unsigned integer, modulo 2^128, for the exact sums: the same
// code on every target (32-bit x86 has no __int128). Signed values are kept
// in two's complement and read with Negative() and Magnitude().
#pragma once

#include <bit>
#include <cstdint>

namespace fenxi::formula {

struct U128 {
    std::uint64_t lo = 0, hi = 0;

    constexpr U128() = default;
    constexpr U128(std::uint64_t v) : lo(v) {}  // NOLINT: widening, as for built-in integers
    constexpr U128(std::uint64_t high, std::uint64_t low) : lo(low), hi(high) {}

    explicit constexpr operator std::uint64_t() const { return lo; }
    constexpr bool Zero() const { return (lo | hi) == 0; }
    constexpr bool Negative() const { return (hi >> 63) != 0; }
    constexpr U128 Magnitude() const { return Negative() ? -*this : *this; }
    // The index of the highest set bit; -1 for zero.
    constexpr int TopBit() const {
        return hi != 0 ? 127 - std::countl_zero(hi) : lo != 0 ? 63 - std::countl_zero(lo) : -1;
    }

    friend constexpr U128 operator+(U128 a, U128 b) {
        const std::uint64_t lo = a.lo + b.lo;
        return {a.hi + b.hi + (lo < a.lo ? 1u : 0u), lo};
    }
    friend constexpr U128 operator-(U128 a, U128 b) {
        return {a.hi - b.hi - (a.lo < b.lo ? 1u : 0u), a.lo - b.lo};
    }
    constexpr U128 operator-() const { return U128{} - *this; }
    friend constexpr U128 operator|(U128 a, U128 b) { return {a.hi | b.hi, a.lo | b.lo}; }
    friend constexpr U128 operator<<(U128 a, int s) {  // 0 <= s < 128
        if (s == 0) return a;
        if (s >= 64) return {a.lo << (s - 64), 0};
        return {(a.hi << s) | (a.lo >> (64 - s)), a.lo << s};
    }
    friend constexpr U128 operator>>(U128 a, int s) {  // 0 <= s < 128
        if (s == 0) return a;
        if (s >= 64) return {0, a.hi >> (s - 64)};
        return {a.hi >> s, (a.lo >> s) | (a.hi << (64 - s))};
    }
    friend constexpr bool operator==(U128 a, U128 b) { return a.lo == b.lo && a.hi == b.hi; }
    friend constexpr bool operator<(U128 a, U128 b) { return a.hi != b.hi ? a.hi < b.hi : a.lo < b.lo; }
    friend constexpr bool operator>(U128 a, U128 b) { return b < a; }
    friend constexpr bool operator<=(U128 a, U128 b) { return !(b < a); }
    friend constexpr bool operator>=(U128 a, U128 b) { return !(a < b); }

    // The full product of two 64-bit numbers.
    static U128 Product(std::uint64_t a, std::uint64_t b) {
#if defined(__SIZEOF_INT128__)
        const unsigned __int128 p = static_cast<unsigned __int128>(a) * b;
        return {static_cast<std::uint64_t>(p >> 64), static_cast<std::uint64_t>(p)};
#else
        return ProductIn32(a, b);
#endif
    }
    // This times m, modulo 2^128.
    U128 Times(std::uint64_t m) const {
        U128 p = Product(lo, m);
        p.hi += hi * m;
        return p;
    }
    // (this / d, this % d) for this < d * 2^64 (the quotient fits 64 bits).
    void DivideBy(std::uint64_t d, std::uint64_t& quotient, std::uint64_t& remainder) const {
#if defined(__SIZEOF_INT128__)
        const unsigned __int128 v = (static_cast<unsigned __int128>(hi) << 64) | lo;
        quotient = static_cast<std::uint64_t>(v / d);
        remainder = static_cast<std::uint64_t>(v % d);
#else
        DivideBitwise(d, quotient, remainder);
#endif
    }

    // The routes of targets without 128-bit integers (32-bit x86), compiled
    // everywhere so that the tests hold them to the native ones.
    static U128 ProductIn32(std::uint64_t a, std::uint64_t b) {
        const std::uint64_t a0 = a & 0xffffffffu, a1 = a >> 32, b0 = b & 0xffffffffu, b1 = b >> 32;
        const std::uint64_t p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0, p11 = a1 * b1;
        const std::uint64_t mid = (p00 >> 32) + (p01 & 0xffffffffu) + (p10 & 0xffffffffu);
        return {p11 + (p01 >> 32) + (p10 >> 32) + (mid >> 32), (mid << 32) | (p00 & 0xffffffffu)};
    }
    void DivideBitwise(std::uint64_t d, std::uint64_t& quotient, std::uint64_t& remainder) const {
        std::uint64_t r = hi, q = 0;  // r < d throughout
        for (int k = 63; k >= 0; --k) {
            const bool carry = (r >> 63) != 0;
            r = (r << 1) | ((lo >> k) & 1);
            q <<= 1;
            if (carry || r >= d) {
                r -= d;
                q |= 1;
            }
        }
        quotient = q;
        remainder = r;
    }
};

}  // namespace fenxi::formula
