// An exact sum of doubles and of whole multiples of doubles, rounded once
// when read: a fixed-point integer in units of 2^-1074 (the smallest
// subnormal), wide enough for 2^1101, in two's complement 64-bit limbs.
// Every double is a whole number of those units, so adding one is exact and
// the order of the terms cannot change the sum.
//
// The limbs at and above `hi_` all hold the sign fill beyond `hi_ + 1`, the
// limbs below `lo_` are zero: updates and reads touch the few limbs a
// column's values occupy (two or three for prices).
#pragma once

#include <cstdint>
#include <cstring>

namespace fenxi::formula {

class ExactSum {
public:
    static constexpr int kLimbs = 34;

    void Add(double x) { AddScaled(1, x); }
    void Sub(double x) { AddScaled(-1, x); }
    // Adds c * x exactly; |c| < 2^62.
    void AddMultiple(std::int64_t c, double x) { AddScaled(c, x); }
    // Adds c * s exactly; |c| < 2^62.
    void AddMultiple(std::int64_t c, const ExactSum& s);

    // The sum divided by d >= 1, rounded once to the nearest double (ties to
    // even); +0.0 for an exact zero, NaN when the rounded value overflows.
    double Divided(std::uint64_t d) const;

    bool Negative() const { return static_cast<std::int64_t>(limb_[kLimbs - 1]) < 0; }

private:
    using u128 = unsigned __int128;
    std::uint64_t limb_[kLimbs] = {};
    std::int16_t lo_ = kLimbs;  // limbs below are zero
    std::int16_t hi_ = -1;      // limbs above hold the sign fill

    void AddScaled(std::int64_t c, double x) {
        std::uint64_t bits;
        std::memcpy(&bits, &x, sizeof bits);
        const auto biased = static_cast<int>((bits >> 52) & 0x7ff);
        std::uint64_t mant = bits & ((std::uint64_t{1} << 52) - 1);
        if (biased == 0x7ff) return;  // callers pass finite values only
        int pos = 0;                  // the mantissa's lowest bit, in units of 2^-1074
        if (biased != 0) {
            mant |= std::uint64_t{1} << 52;
            pos = biased - 1;
        }
        if (mant == 0 || c == 0) return;
        const bool negative = ((bits >> 63) != 0) != (c < 0);
        const std::uint64_t mag = c < 0 ? static_cast<std::uint64_t>(-c) : static_cast<std::uint64_t>(c);
        AddAt(static_cast<u128>(mant) * mag, pos, negative);
    }

    // Adds (or subtracts) v * 2^pos units.
    void AddAt(u128 v, int pos, bool subtract) {
        const int k = pos >> 6, off = pos & 63;
        std::uint64_t w[3];
        if (off == 0) {
            w[0] = static_cast<std::uint64_t>(v);
            w[1] = static_cast<std::uint64_t>(v >> 64);
            w[2] = 0;
        } else {
            w[0] = static_cast<std::uint64_t>(v) << off;
            w[1] = static_cast<std::uint64_t>(v >> (64 - off));
            w[2] = static_cast<std::uint64_t>(v >> (128 - off));
        }
        Touch(k, subtract ? Minus(k, w) : Plus(k, w));
    }

    static int Words(const std::uint64_t w[3]) { return w[2] ? 3 : w[1] ? 2 : 1; }

    // Adds three limbs from k upwards and carries on; the last limb changed.
    int Plus(int k, const std::uint64_t w[3]) {
        unsigned carry = 0;
        int j = k;
        for (int t = 0; t < Words(w) && j < kLimbs; ++t, ++j) {
            const std::uint64_t a = limb_[j], s = a + w[t], r = s + carry;
            carry = (s < a) | (r < s);
            limb_[j] = r;
        }
        for (; carry && j < kLimbs; ++j) carry = ++limb_[j] == 0;
        return j - 1;
    }

    int Minus(int k, const std::uint64_t w[3]) {
        unsigned borrow = 0;
        int j = k;
        for (int t = 0; t < Words(w) && j < kLimbs; ++t, ++j) {
            const std::uint64_t a = limb_[j], s = a - w[t], r = s - borrow;
            borrow = (a < w[t]) | (s < borrow);
            limb_[j] = r;
        }
        for (; borrow && j < kLimbs; ++j) borrow = limb_[j]-- == 0;
        return j - 1;
    }

    void Touch(int lo, int hi) {
        if (lo < lo_) lo_ = static_cast<std::int16_t>(lo);
        if (hi > hi_) hi_ = static_cast<std::int16_t>(hi);
    }

};

}  // namespace fenxi::formula
