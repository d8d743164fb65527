#include "formula/exact_sum.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace fenxi::formula {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// 2^e for a normal power of two.
double Pow2(int e) {
    const std::uint64_t bits = static_cast<std::uint64_t>(e + 1023) << 52;
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

// x * 2^e where the result is known to be a normal double (exact).
double Scale(double x, int e) {
    while (e > 1023) {
        x *= Pow2(1023);
        e -= 1023;
    }
    while (e < -1022) {
        x *= Pow2(-1022);
        e += 1022;
    }
    return x * Pow2(e);
}

// Bits [s, s + 127] of a magnitude held in limbs 0..top.
U128 Window(const std::uint64_t* m, int top, int s) {
    const int k = s >> 6, off = s & 63;
    auto at = [&](int j) -> std::uint64_t { return j <= top ? m[j] : 0; };
    if (off == 0) return {at(k + 1), at(k)};
    return {(at(k + 1) >> off) | (at(k + 2) << (64 - off)), (at(k) >> off) | (at(k + 1) << (64 - off))};
}

// Any bit below s.
bool BitsBelow(const std::uint64_t* m, int lo, int s) {
    const int k = s >> 6, off = s & 63;
    for (int j = lo; j < k; ++j)
        if (m[j] != 0) return true;
    return off != 0 && (m[k] & ((std::uint64_t{1} << off) - 1)) != 0;
}

// m * 2^(s-1074) / d correctly rounded, for 2^125 <= m < 2^126 and d < 2^53;
// false where the quotient would not be a normal double (the caller then
// takes the long route).
bool NearQuotient(U128 m, int s, std::uint64_t d, double& out) {
    // The step (-1, 0 or +1 in the last place) from the double `bits` to the
    // correctly rounded quotient, as far as one step goes: the exact
    // remainder against half the gap to the neighbour.
    auto step = [m, d](std::uint64_t bits) {
        const int biased = static_cast<int>(bits >> 52);
        const std::uint64_t mq = (bits & ((std::uint64_t{1} << 52) - 1)) | (std::uint64_t{1} << 52);
        const int eq = biased - 1075;  // q = mq * 2^eq, eq >= 20 here
        const U128 p = U128::Product(mq, d) << eq;
        const bool above = m >= p;
        const U128 r = above ? m - p : p - m;
        const int down = above || mq != (std::uint64_t{1} << 52) ? 1 : 2;  // the gap below 2^k is half
        const U128 half = U128(d) << (eq - down);
        const bool stay = r < half || (r == half && (mq & 1) == 0);
        return stay ? 0 : above ? 1 : -1;
    };
    // A first guess within about an ulp from m's top 63 bits (no 128-bit
    // conversion), stepped until the remainder says it is the nearest.
    const auto top = static_cast<std::int64_t>(static_cast<std::uint64_t>(m >> 63));
    const double guess = static_cast<double>(top) / static_cast<double>(d) * 0x1p63;
    std::uint64_t bits;
    std::memcpy(&bits, &guess, sizeof bits);
    for (int tries = 0; tries < 4; ++tries) {
        const int more = step(bits);
        if (more == 0) {
            const int e = static_cast<int>(bits >> 52) - 1023 + s - 1074;  // the result's exponent
            if (e > 1023 || e < -1022) return false;
            double q;
            std::memcpy(&q, &bits, sizeof q);
            out = Scale(q, s - 1074);
            return true;
        }
        bits += static_cast<std::uint64_t>(static_cast<std::int64_t>(more));
    }
    return false;
}

// The long route: the magnitude divided by d limb by limb, the quotient
// rounded with the remainder as the sticky part.
double LongQuotient(const std::uint64_t* m, int top, std::uint64_t d) {
    std::uint64_t q[ExactSum::kLimbs];
    std::uint64_t rem = 0;
    for (int j = top; j >= 0; --j) U128(rem, m[j]).DivideBy(d, q[j], rem);
    int qt = top;
    while (qt >= 0 && q[qt] == 0) --qt;
    const int p = qt < 0 ? -1 : qt * 64 + 63 - std::countl_zero(q[qt]);
    const int ulp = std::max(p - 52, 0);
    std::uint64_t mant = qt < 0 ? 0 : Window(q, qt, ulp).lo & ((std::uint64_t{1} << 53) - 1);
    int cmp;  // what lies below the ulp against half an ulp
    if (ulp == 0) {
        const U128 twice = U128(rem) << 1;
        cmp = twice > U128(d) ? 1 : twice == U128(d) ? 0 : -1;
    } else {
        const bool roundBit = (Window(q, qt, ulp - 1).lo & 1) != 0;
        const bool rest = BitsBelow(q, 0, ulp - 1) || rem != 0;
        cmp = !roundBit ? -1 : rest ? 1 : 0;
    }
    if (cmp > 0 || (cmp == 0 && (mant & 1))) ++mant;
    if (mant == 0) return 0.0;
    const int e = ulp - 1074;
    const int top2 = 63 - std::countl_zero(mant) + e;  // the result's exponent
    if (top2 > 1023) return kNaN;
    return std::ldexp(static_cast<double>(mant), e);
}

}  // namespace

void ExactSum::Widen() {
    wide_ = true;
    if (narrow_.Zero()) return;
    AddAt(narrow_.Magnitude(), scale_, narrow_.Negative());
}

void ExactSum::AddMultiple(std::int64_t c, const ExactSum& s) {
    if (c == 0) return;
    if (!s.wide_) {
        if (s.narrow_.Zero()) return;
        const U128 mag = s.narrow_.Magnitude();
        const std::uint64_t cm = c < 0 ? static_cast<std::uint64_t>(-c) : static_cast<std::uint64_t>(c);
        const bool subtract = s.narrow_.Negative() != (c < 0);
        if ((mag >> (127 - std::bit_width(cm))).Zero()) {  // the product fits 127 bits
            const U128 v = mag.Times(cm);
            if (!wide_ && AddNarrow(v, s.scale_, subtract)) return;
            if (!wide_) Widen();
            AddAt(v, s.scale_, subtract);
            return;
        }
        ExactSum w = s;
        w.Widen();
        return AddMultiple(c, w);
    }
    if (!wide_) Widen();
    if (s.hi_ < 0) return;
    const bool negative = s.NegativeWide();
    const int lo = s.lo_, hi = std::min(s.hi_ + 1, kLimbs - 1);
    const std::uint64_t mag = c < 0 ? static_cast<std::uint64_t>(-c) : static_cast<std::uint64_t>(c);
    const bool subtract = negative != (c < 0);
    U128 product;         // carried part of mag * |s|
    unsigned carry = 0;   // of the addition (or borrow of the subtraction)
    unsigned inverse = 1;  // +1 of the two's complement negation of s
    int j = lo;
    for (; j < kLimbs; ++j) {
        if (j > hi && product.Zero() && carry == 0) break;
        std::uint64_t sv = j <= hi ? s.limb_[j] : 0;
        if (negative) {
            const std::uint64_t inv = ~(j <= hi ? s.limb_[j] : ~std::uint64_t{0});
            sv = inv + inverse;
            inverse = inverse && sv == 0;
        }
        product = product + U128::Product(sv, mag);
        const std::uint64_t w = product.lo;
        product = product >> 64;
        const std::uint64_t a = limb_[j];
        if (subtract) {
            const std::uint64_t t = a - w, r = t - carry;
            carry = (a < w) | (t < carry);
            limb_[j] = r;
        } else {
            const std::uint64_t t = a + w, r = t + carry;
            carry = (t < a) | (r < t);
            limb_[j] = r;
        }
    }
    // A carry or borrow that reached past the product runs through the fill.
    Touch(lo, j - 1);
}

double ExactSum::Divided(std::uint64_t d) const {
    if (d == 0) return kNaN;
    return wide_ ? DividedWide(d) : NarrowDivided(narrow_, scale_, d);
}

double ExactSum::NarrowDivided(const U128& sum, int scale, std::uint64_t d) {
    if (sum.Zero()) return 0.0;
    const bool negative = sum.Negative();
    const U128 mag = sum.Magnitude();
    const int up = 125 - mag.TopBit();
    const U128 m = mag << up;  // the top bit at 125, as the quotient's first guess wants
    double v;
    if (d < (std::uint64_t{1} << 53) && NearQuotient(m, scale - up, d, v)) return negative ? -v : v;
    ExactSum w;  // a tiny or huge quotient: the long route
    w.narrow_ = sum;
    w.scale_ = scale;
    w.Widen();
    return w.DividedWide(d);
}

double ExactSum::SumDivided(const double* terms, std::size_t count, std::uint64_t d) {
    // The range of the terms' lowest mantissa bits; negative and subnormal
    // terms take the general route.
    int lo = 1 << 20, hi = -1;
    bool general = false;
    for (std::size_t k = 0; k < count; ++k) {
        std::uint64_t bits;
        std::memcpy(&bits, &terms[k], sizeof bits);
        if (bits == 0) continue;
        const int biased = static_cast<int>(bits >> 52);  // the sign bit makes it 2048 or more
        general |= biased == 0 || biased >= 2047;
        lo = std::min(lo, biased - 1);
        hi = std::max(hi, biased - 1);
    }
    if (!general && hi >= 0 && hi - lo + 53 + std::bit_width(count) <= kNarrowBits) {
        U128 sum;
        for (std::size_t k = 0; k < count; ++k) {
            std::uint64_t bits;
            std::memcpy(&bits, &terms[k], sizeof bits);
            if (bits == 0) continue;
            const std::uint64_t mant = (bits & ((std::uint64_t{1} << 52) - 1)) | (std::uint64_t{1} << 52);
            // mant << sh as two words, without branches (sh < 71 here).
            const int sh = static_cast<int>(bits >> 52) - 1 - lo;
            const std::uint64_t low = sh < 64 ? mant << sh : 0;
            const std::uint64_t high = sh < 64 ? (mant >> 1) >> (63 - sh) : mant << (sh - 64);
            sum = sum + U128(high, low);
        }
        return NarrowDivided(sum, lo, d);
    }
    if (hi < 0 && !general) return 0.0;
    ExactSum s;
    for (std::size_t k = 0; k < count; ++k) s.Add(terms[k]);
    return s.Divided(d);
}

double ExactSum::DividedWide(std::uint64_t d) const {
    if (hi_ < 0) return 0.0;
    const bool negative = NegativeWide();
    const int lo = lo_, hi = std::min(hi_ + 1, kLimbs - 1);
    std::uint64_t m[kLimbs];
    const std::uint64_t* mag = limb_;
    if (negative) {
        unsigned inverse = 1;
        for (int j = lo; j <= hi; ++j) {
            m[j] = ~limb_[j] + inverse;
            inverse = inverse && m[j] == 0;
        }
        std::fill(m, m + lo, 0);
        mag = m;
    }
    int top = hi;
    while (top >= lo && mag[top] == 0) --top;
    if (top < lo) return 0.0;
    const int p = top * 64 + 63 - std::countl_zero(mag[top]);
    double v;
    if (p >= 125 && d < (std::uint64_t{1} << 53) && !BitsBelow(mag, lo, p - 125) &&
        NearQuotient(Window(mag, top, p - 125), p - 125, d, v))
        return negative ? -v : v;
    if (!negative) {
        std::copy(limb_ + lo, limb_ + top + 1, m + lo);
        std::fill(m, m + lo, 0);
    }
    v = LongQuotient(m, top, d);
    return negative ? -v : v;
}

}  // namespace fenxi::formula
