// How the fenxi tool prints dates, prices and line values.
#pragma once

#include <cstdint>
#include <string>

namespace fenxi_cli {

std::string Date(std::int32_t date);  // 2024-01-31
std::string Time(std::int32_t time);  // 09:30, empty for 0
// Decimal digits of a power-of-ten unit (0 for other units).
int UnitDecimals(int unit);
// A raw price at the file's unit, with as many decimals as the unit has.
std::string Price(std::int64_t raw, int unit);
// A value with up to eight significant digits, trailing zeros dropped, but
// never fewer than `minDecimals` decimals; "nan" for NaN.
std::string Number(double v, int minDecimals = 0);
// The least decimals of a line: the prices' (`priceDecimals`) for price
// lines, two more for percent lines, none for counts.
int LineDecimals(const char* measure, int priceDecimals);

}  // namespace fenxi_cli
