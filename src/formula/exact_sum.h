// An exact sum of doubles and of whole multiples of doubles, rounded once
// when read: a fixed-point integer in units of 2^-1074 (the smallest
// subnormal), wide enough for 2^1101, in two's complement 64-bit limbs.
// Every double is a whole number of those units, so adding one is exact and
// the order of the terms cannot change the sum.
//
// Most columns never need the limbs: while the sum fits, it is a signed
// 128-bit integer in units of 2^scale_ (the lowest bit any term had), so
// adding a term is a shift and an add. A term that does not fit moves the sum
// into the limbs for good ("wide"). Both forms hold the same exact value.
//
// In the limbs, those above `hi_` all hold the sign fill, those below `lo_`
// are zero: updates and reads touch the few limbs a column's values occupy.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "formula/u128.h"

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
    // The exact sum of `count` finite values divided by d, rounded once: a
    // window's terms summed at once (one scan for their range, then one
    // 128-bit add each where the range allows).
    static double SumDivided(const double* terms, std::size_t count, std::uint64_t d);

private:
    static constexpr std::int32_t kNoScale = 1 << 20;  // no term yet
    static constexpr int kNarrowBits = 124;              // |narrow_| < 2^124

    U128 narrow_;  // two's complement
    std::int32_t scale_ = kNoScale;
    bool wide_ = false;
    std::int16_t lo_ = kLimbs;  // limbs below are zero
    std::int16_t hi_ = -1;      // limbs above hold the sign fill
    std::uint64_t limb_[kLimbs] = {};

    bool NegativeWide() const { return static_cast<std::int64_t>(limb_[kLimbs - 1]) < 0; }
    double DividedWide(std::uint64_t d) const;
    static double NarrowDivided(const U128& sum, int scale, std::uint64_t d);
    void Widen();

    // v * 2^pos units added to the narrow form; false (nothing changed) when
    // the result would not fit it.
    bool AddNarrow(U128 v, int pos, bool subtract) {
        if (narrow_.Zero()) scale_ = pos;  // an empty sum takes the term's scale
        U128 base = narrow_;
        int scale = scale_;
        if (pos < scale) {  // the sum takes the finer scale
            const int up = scale - pos;
            const U128 mag = base.Magnitude();
            if (up >= kNarrowBits || !(mag >> (kNarrowBits - up)).Zero()) return false;
            base = base.Negative() ? -(mag << up) : mag << up;
            scale = pos;
        }
        const int sh = pos - scale;
        if (sh >= kNarrowBits || !(v >> (kNarrowBits - sh)).Zero()) return false;
        const U128 t = v << sh;  // < 2^124, as is |base|: the sum below cannot wrap
        const U128 r = subtract ? base - t : base + t;
        if (!(r.Magnitude() >> kNarrowBits).Zero()) return false;
        narrow_ = r;
        scale_ = scale;
        return true;
    }

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
        const int zeros = std::countr_zero(mant);  // whole numbers keep a coarse scale
        mant >>= zeros;
        pos += zeros;
        const bool negative = ((bits >> 63) != 0) != (c < 0);
        const std::uint64_t mag = c < 0 ? static_cast<std::uint64_t>(-c) : static_cast<std::uint64_t>(c);
        const U128 v = U128::Product(mant, mag);
        if (!wide_) {
            if (AddNarrow(v, pos, negative)) return;
            Widen();
        }
        AddAt(v, pos, negative);
    }

    // Adds (or subtracts) v * 2^pos units.
    void AddAt(U128 v, int pos, bool subtract) {
        const int k = pos >> 6, off = pos & 63;
        std::uint64_t w[3];
        if (off == 0) {
            w[0] = v.lo;
            w[1] = v.hi;
            w[2] = 0;
        } else {
            w[0] = v.lo << off;
            w[1] = (v.hi << off) | (v.lo >> (64 - off));
            w[2] = v.hi >> (64 - off);
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
