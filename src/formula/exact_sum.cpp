#include "formula/exact_sum.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace fenxi::formula {

namespace {

using u128 = unsigned __int128;
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
u128 Window(const std::uint64_t* m, int top, int s) {
    const int k = s >> 6, off = s & 63;
    auto at = [&](int j) -> u128 { return j <= top ? m[j] : 0; };
    u128 v = at(k) >> off;
    v |= off ? at(k + 1) << (64 - off) : at(k + 1) << 64;
    if (off) v |= at(k + 2) << (128 - off);
    return v;
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
bool NearQuotient(u128 m, int s, std::uint64_t d, double& out) {
    // The step (-1, 0 or +1 in the last place) from the double `bits` to the
    // correctly rounded quotient, as far as one step goes: the exact
    // remainder against half the gap to the neighbour.
    auto step = [m, d](std::uint64_t bits) {
        const int biased = static_cast<int>(bits >> 52);
        const std::uint64_t mq = (bits & ((std::uint64_t{1} << 52) - 1)) | (std::uint64_t{1} << 52);
        const int eq = biased - 1075;  // q = mq * 2^eq, eq >= 20 here
        const u128 p = (static_cast<u128>(mq) * d) << eq;
        const bool above = m >= p;
        const u128 r = above ? m - p : p - m;
        const int down = above || mq != (std::uint64_t{1} << 52) ? 1 : 2;  // the gap below 2^k is half
        const u128 half = static_cast<u128>(d) << (eq - down);
        const bool stay = r < half || (r == half && (mq & 1) == 0);
        return stay ? 0 : above ? 1 : -1;
    };
    // A first guess within about an ulp from m's top 63 bits (no 128-bit
    // conversion), stepped until the remainder says it is the nearest.
    const auto top = static_cast<std::int64_t>(m >> 63);
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
    u128 rem = 0;
    for (int j = top; j >= 0; --j) {
        const u128 cur = (rem << 64) | m[j];
        q[j] = static_cast<std::uint64_t>(cur / d);
        rem = cur % d;
    }
    int qt = top;
    while (qt >= 0 && q[qt] == 0) --qt;
    const int p = qt < 0 ? -1 : qt * 64 + 63 - std::countl_zero(q[qt]);
    const int ulp = std::max(p - 52, 0);
    std::uint64_t mant = qt < 0 ? 0 : static_cast<std::uint64_t>(Window(q, qt, ulp)) & ((std::uint64_t{1} << 53) - 1);
    int cmp;  // what lies below the ulp against half an ulp
    if (ulp == 0) {
        const u128 twice = rem * 2;
        cmp = twice > d ? 1 : twice == d ? 0 : -1;
    } else {
        const bool roundBit = (Window(q, qt, ulp - 1) & 1) != 0;
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

void ExactSum::AddMultiple(std::int64_t c, const ExactSum& s) {
    if (c == 0 || s.hi_ < 0) return;
    const bool negative = s.Negative();
    const int lo = s.lo_, hi = std::min(s.hi_ + 1, kLimbs - 1);
    const std::uint64_t mag = c < 0 ? static_cast<std::uint64_t>(-c) : static_cast<std::uint64_t>(c);
    const bool subtract = negative != (c < 0);
    u128 product = 0;     // carried part of mag * |s|
    unsigned carry = 0;   // of the addition (or borrow of the subtraction)
    unsigned inverse = 1;  // +1 of the two's complement negation of s
    int j = lo;
    for (; j < kLimbs; ++j) {
        if (j > hi && product == 0 && carry == 0) break;
        std::uint64_t sv = j <= hi ? s.limb_[j] : 0;
        if (negative) {
            const std::uint64_t inv = ~(j <= hi ? s.limb_[j] : ~std::uint64_t{0});
            sv = inv + inverse;
            inverse = inverse && sv == 0;
        }
        product += static_cast<u128>(sv) * mag;
        const std::uint64_t w = static_cast<std::uint64_t>(product);
        product >>= 64;
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
    if (hi_ < 0 || d == 0) return d == 0 ? kNaN : 0.0;
    const bool negative = Negative();
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
