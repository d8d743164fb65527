#include "format.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace fenxi_cli {

std::string Date(std::int32_t date) {
    char b[16];
    std::snprintf(b, sizeof b, "%04d-%02d-%02d", date / 10000, date / 100 % 100, date % 100);
    return b;
}

std::string Time(std::int32_t time) {
    if (time == 0) return "";
    char b[16];
    std::snprintf(b, sizeof b, "%02d:%02d", time / 10000, time / 100 % 100);
    return b;
}

int UnitDecimals(int unit) {
    int digits = 0;
    for (int u = unit; u >= 10 && u % 10 == 0; u /= 10) ++digits;
    return digits;
}

std::string Price(std::int64_t raw, int unit) {
    char b[48];
    std::snprintf(b, sizeof b, "%.*f", UnitDecimals(unit), static_cast<double>(raw) / unit);
    return b;
}

std::string Number(double v, int minDecimals) {
    if (v != v) return "nan";
    char b[64];
    const double a = std::fabs(v);
    if (a >= 1e15 || (a < 1e-10 && a > 0)) {
        std::snprintf(b, sizeof b, "%.8g", v);
        return b;
    }
    const int significant = a == 0 ? 0 : 7 - static_cast<int>(std::floor(std::log10(a)));
    const int digits = std::clamp(std::max(significant, minDecimals), 0, 12);
    std::snprintf(b, sizeof b, "%.*f", digits, v);
    std::string t = b;
    if (t.find('.') != std::string::npos) {
        const std::size_t keep = t.find('.') + 1 + static_cast<std::size_t>(minDecimals);
        while (t.size() > keep && t.back() == '0') t.pop_back();
        if (t.back() == '.') t.pop_back();
    }
    if (t[0] == '-' && t.find_first_not_of("-0.") == std::string::npos) t.erase(0, 1);  // no -0
    return t;
}

int LineDecimals(const char* measure, int priceDecimals) {
    if (std::strcmp(measure, "price") == 0) return priceDecimals;
    if (std::strcmp(measure, "percent") == 0) return priceDecimals + 2;
    return 0;
}

}  // namespace fenxi_cli
