// Bar builders and the sample-data loader shared by the test suites.
#pragma once

#include <cstdint>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fenxi/fenxi.h"

namespace testbars {

inline UNIKDATA Bar(std::int32_t open, std::int32_t high, std::int32_t low, std::int32_t close,
                    std::uint64_t volume = 0, double amount = 0.0) {
    UNIKDATA b{};
    b.Open = open;
    b.High = high;
    b.Low = low;
    b.Close = close;
    b.Volume = volume;
    b.Amount = amount;
    return b;
}

// Bars whose open, high, low and close all equal the given closes.
inline std::vector<UNIKDATA> Closes(std::initializer_list<std::int32_t> closes) {
    std::vector<UNIKDATA> bars;
    for (std::int32_t c : closes) bars.push_back(Bar(c, c, c, c));
    return bars;
}

// "12.21" -> 1221: a two-decimal price as an exact integer of cents.
inline std::int32_t Cents(const std::string& text) {
    const auto dot = text.find('.');
    std::string whole = text.substr(0, dot), frac = dot == std::string::npos ? "" : text.substr(dot + 1);
    frac = (frac + "00").substr(0, 2);
    return static_cast<std::int32_t>(std::stol(whole) * 100 + (whole[0] == '-' ? -1 : 1) * std::stol(frac));
}

// The shipped daily sample (unit 100), oldest first.
inline std::vector<UNIKDATA> Sample() {
    std::ifstream in(FENXI_DATA_DIR "/daily_sz002032.csv");
    if (!in) throw std::runtime_error("sample data missing");
    std::string line;
    std::getline(in, line);
    std::vector<UNIKDATA> bars;
    while (std::getline(in, line)) {
        std::stringstream ss(line);
        std::string f[7];
        for (auto& s : f) std::getline(ss, s, ',');
        UNIKDATA b = Bar(Cents(f[5]), Cents(f[3]), Cents(f[4]), Cents(f[2]), std::stoull(f[6]), std::stod(f[1]));
        b.Date = std::stoi(f[0]);
        bars.push_back(b);
    }
    return bars;
}

}  // namespace testbars

namespace testbars {

// Runs `generate(n)`, wipes the newest row's lines, runs `update(n)` and
// expects each of `lines` to be rebuilt bit for bit.
template <class Generate, class Update>
void ExpectUpdateRebuilds(CAnalysisTechniques::FENXIDATA*& rows, int n, Generate generate, Update update,
                          const std::vector<int>& lines, const std::string& what) {
    generate(n);
    const CAnalysisTechniques::FENXIDATA want = rows[n - 1];
    for (int c : lines) rows[n - 1].FenXi[c] = -12345.0;
    update(n);
    for (int c : lines) {
        const double got = rows[n - 1].FenXi[c];
        if (!(got == want.FenXi[c] || (got != got && want.FenXi[c] != want.FenXi[c])))
            ADD_FAILURE() << what << " line " << c << ": " << got << " != " << want.FenXi[c];
    }
}

}  // namespace testbars
