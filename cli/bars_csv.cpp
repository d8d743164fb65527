#include "bars_csv.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <optional>
#include <string_view>

namespace fenxi_cli {
namespace {

enum Column { kDate, kTime, kOpen, kHigh, kLow, kClose, kVolume, kAmount, kCode, kColumns };
constexpr const char* kColumnNames[kColumns] = {"date", "time", "open", "high", "low", "close", "volume", "amount", "code"};

std::string Lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    return s;
}

std::optional<Column> ColumnOf(std::string name) {
    name.erase(std::remove_if(name.begin(), name.end(), [](unsigned char c) { return std::isspace(c) || c == '"'; }),
               name.end());
    static const std::map<std::string, Column> aliases = {
        {"date", kDate},       {"dt", kDate},        {"datetime", kDate},   {"trade_date", kDate},
        {"日期", kDate},       {"time", kTime},      {"open", kOpen},       {"开盘", kOpen},
        {"开盘价", kOpen},     {"high", kHigh},      {"最高", kHigh},       {"最高价", kHigh},
        {"low", kLow},         {"最低", kLow},       {"最低价", kLow},      {"close", kClose},
        {"收盘", kClose},      {"收盘价", kClose},   {"volume", kVolume},   {"vol", kVolume},
        {"成交量", kVolume},   {"amount", kAmount},  {"成交额", kAmount},   {"成交金额", kAmount},
        {"turnover", kAmount}, {"money", kAmount},   {"symbol", kCode},     {"code", kCode},
        {"ts_code", kCode},    {"ticker", kCode},    {"代码", kCode},       {"股票代码", kCode},
        {"证券代码", kCode},
    };
    const auto it = aliases.find(Lower(name));
    return it == aliases.end() ? std::nullopt : std::optional<Column>(it->second);
}

// A field as it may be quoted in a message: at most 40 bytes of it.
std::string Quote(std::string_view text) {
    return "'" + std::string(text.size() > 40 ? std::string(text.substr(0, 40)) + "..." : std::string(text)) + "'";
}

// Lines of at most kMaxLineBytes, read byte by byte: a longer line or a
// byte 0 stops the reading at once, whatever follows.
class Lines {
public:
    Lines(std::istream& in, const std::string& name) : buf_(in.rdbuf()), name_(name) {}

    bool Next(std::string& line) {
        line.clear();
        if (buf_ == nullptr) return false;
        for (;;) {
            const int c = buf_->sbumpc();
            if (c == std::char_traits<char>::eof()) {
                if (line.empty()) return false;
                break;
            }
            if (c == '\n') break;
            if (c == 0) throw InputError(Where(number_ + 1) + "a byte 0: not a text file");
            if (line.size() == kMaxLineBytes)
                throw InputError(Where(number_ + 1) + "a line longer than " + std::to_string(kMaxLineBytes) + " bytes");
            line.push_back(static_cast<char>(c));
        }
        ++number_;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        return true;
    }
    int Number() const { return number_; }
    std::string Where(int line) const { return name_ + ":" + std::to_string(line) + ": "; }

private:
    std::streambuf* buf_;
    std::string name_;
    int number_ = 0;
};

// The fields of a line, blanks around them and one pair of quotes removed.
void Split(std::string_view line, char sep, std::vector<std::string_view>& fields) {
    fields.clear();
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = line.find(sep, start);
        std::string_view f = line.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
        const auto first = f.find_first_not_of(" \t");
        const auto last = f.find_last_not_of(" \t");
        f = first == std::string_view::npos ? std::string_view() : f.substr(first, last - first + 1);
        if (f.size() >= 2 && f.front() == '"' && f.back() == '"') f = f.substr(1, f.size() - 2);
        fields.push_back(f);
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
}

std::vector<std::string> Split(const std::string& line, char sep) {
    std::vector<std::string_view> views;
    Split(line, sep, views);
    return {views.begin(), views.end()};
}

bool Digits(std::string_view s, std::size_t from, std::size_t count, int& out) {
    if (from + count > s.size()) return false;
    out = 0;
    for (std::size_t k = from; k < from + count; ++k) {
        if (!std::isdigit(static_cast<unsigned char>(s[k]))) return false;
        out = out * 10 + (s[k] - '0');
    }
    return true;
}

bool ValidDay(int year, int month, int day) {
    static constexpr int kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 1 || month < 1 || month > 12 || day < 1 || day > kDays[month - 1]) return false;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return !(month == 2 && day == 29 && !leap);
}

// "09:30", "9:30:15", "093000" or "0930": HHMMSS with a real clock time.
bool ParseTime(std::string_view t, std::int32_t& time) {
    int h = 0, m = 0, s = 0;
    std::size_t at = 0;
    const std::size_t colon = t.find(':');
    if (colon != std::string_view::npos) {
        if (colon < 1 || colon > 2 || !Digits(t, 0, colon, h) || !Digits(t, colon + 1, 2, m)) return false;
        at = colon + 3;
        if (at < t.size() && (t[at] != ':' || !Digits(t, at + 1, 2, s) || at + 3 != t.size())) return false;
    } else {
        if ((t.size() != 4 && t.size() != 6) || !Digits(t, 0, 2, h) || !Digits(t, 2, 2, m)) return false;
        if (t.size() == 6 && !Digits(t, 4, 2, s)) return false;
    }
    if (h > 23 || m > 59 || s > 59) return false;
    time = h * 10000 + m * 100 + s;
    return true;
}

// "2024-01-31", "20240131" or "20240131.0", optionally followed by a space or
// T and a time: a real calendar date YYYYMMDD and time HHMMSS.
bool ParseDateTime(std::string_view text, std::int32_t& date, std::int32_t& time) {
    int y = 0, mo = 0, d = 0;
    std::size_t at = 0;
    if (text.size() >= 10 && text[4] == '-' && text[7] == '-') {
        if (!Digits(text, 0, 4, y) || !Digits(text, 5, 2, mo) || !Digits(text, 8, 2, d)) return false;
        at = 10;
    } else {
        if (!Digits(text, 0, 8, y)) return false;
        d = y % 100;
        mo = y / 100 % 100;
        y /= 10000;
        at = 8;
        if (at < text.size() && text[at] == '.' && text.find_first_not_of('0', at + 1) == std::string_view::npos)
            at = text.size();  // 20240131.0, as spreadsheets write it
    }
    if (!ValidDay(y, mo, d)) return false;
    date = y * 10000 + mo * 100 + d;
    if (at == text.size()) return true;
    if (text[at] != ' ' && text[at] != 'T') return false;
    return ParseTime(text.substr(at + 1), time);
}

// A price as written: whole and fraction digits, no sign, no exponent.
struct Price {
    std::string whole, fraction;
    bool Zero() const {
        return whole.find_first_not_of('0') == std::string::npos && fraction.find_first_not_of('0') == std::string::npos;
    }
    // The value as a long double, for magnitudes and messages.
    long double Value() const { return std::strtold((whole + "." + fraction + "0").c_str(), nullptr); }
    // A bound above the value from the whole digits alone (exact to 18
    // digits), so that most prices need no Value() to compare.
    long double Above() const {
        if (whole.size() > 18) return std::numeric_limits<long double>::infinity();
        std::int64_t v = 0;
        for (char c : whole) v = v * 10 + (c - '0');
        return static_cast<long double>(v) + 1;
    }
};

// 0 when `text` is a plain non-negative decimal; else what is wrong.
const char* ParsePrice(std::string_view text, Price& p) {
    if (!text.empty() && text[0] == '-') return "is negative";
    const std::size_t dot = text.find('.');
    p.whole = text.substr(0, dot);
    p.fraction = dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1);
    auto digits = [](const std::string& s) {
        return std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isdigit(c); });
    };
    if ((p.whole.empty() && p.fraction.empty()) || !digits(p.whole) || !digits(p.fraction)) return "is not a price";
    if (p.whole.empty()) p.whole = "0";
    return nullptr;
}

struct Scaled {
    std::int64_t value;  // may exceed 32 bits: checked by the caller
    bool rounded;
    long double by;      // the rounding, in price units
};

// The price at `decimals` decimals (a power-of-ten unit), rounded half away
// from zero, exactly from the digits.
Scaled AtDecimals(const Price& p, int decimals) {
    std::string kept = p.whole + p.fraction.substr(0, std::min<std::size_t>(decimals, p.fraction.size()));
    kept.append(static_cast<std::size_t>(std::max<int>(0, decimals - static_cast<int>(p.fraction.size()))), '0');
    std::int64_t v = 0;
    for (char c : kept) {
        v = v * 10 + (c - '0');
        if (v > (std::int64_t{1} << 40)) return {v, false, 0};  // far beyond 32 bits: no need for more
    }
    const std::string dropped = decimals < static_cast<int>(p.fraction.size()) ? p.fraction.substr(decimals) : "";
    if (dropped.find_first_not_of('0') == std::string::npos) return {v, false, 0};
    const long double rest = std::strtold(("0." + dropped).c_str(), nullptr) * std::pow(10.0L, -decimals);
    const bool up = dropped[0] >= '5';
    return {v + (up ? 1 : 0), true, up ? std::pow(10.0L, -decimals) - rest : rest};
}

// The price at any other unit: the nearest integer, halves away from zero.
Scaled AtUnit(const Price& p, int unit) {
    const long double exact = p.Value() * unit;
    const long double v = std::floor(exact + 0.5L);
    return {static_cast<std::int64_t>(std::min<long double>(v, 1e15L)), v != exact, std::fabs(v - exact) / unit};
}

int DecimalsOfUnit(int unit) {
    int d = 0;
    for (int u = unit; u >= 10 && u % 10 == 0; u /= 10) ++d;
    return unit == static_cast<int>(std::lround(std::pow(10.0, d))) ? d : -1;
}

struct Row {
    int line = 0;
    std::int32_t date = 0, time = 0;
    Price price[4];  // open, high, low, close
    double volume = 0, amount = 0;
};

template <class Where>
double Number(std::string_view field, const Where& where, const char* column) {
    if (field.empty()) return 0.0;
    const std::string text(field);
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0' || !std::isfinite(v))
        throw InputError(where() + Quote(text) + " is not a number in column " + column);
    return v;
}

}  // namespace

int BrickUnit(const BarFile& f, int param) {
    std::vector<std::int32_t> closes;
    for (const UNIKDATA& b : f.bars) closes.push_back(b.Close);
    std::nth_element(closes.begin(), closes.begin() + static_cast<std::ptrdiff_t>(closes.size() / 2), closes.end());
    const double median = static_cast<double>(closes[closes.size() / 2]) / f.unit;
    std::int64_t highest = 0;
    for (const UNIKDATA& b : f.bars) highest = std::max<std::int64_t>(highest, b.High);
    const double box = std::clamp(param, 2000, 10000);
    auto distance = [&](std::int64_t unit) { return std::fabs(std::log10(box / unit / (median / 100))); };
    std::int64_t unit = f.unit;
    while (highest * (unit * 10 / f.unit) <= INT32_MAX && unit * 10 <= 1000000000 && distance(unit * 10) < distance(unit))
        unit *= 10;
    return static_cast<int>(unit);
}

void Rescale(BarFile& f, int unit) {
    const auto factor = static_cast<std::int32_t>(unit / f.unit);
    for (UNIKDATA& b : f.bars) b.Open *= factor, b.High *= factor, b.Low *= factor, b.Close *= factor;
    f.unit = unit;
}

void CodeFromName(const std::string& path, BarFile& file) {
    const std::string name = path.substr(path.find_last_of('/') + 1);
    file.code.clear();
    file.market = 0;
    file.marketFrom = "no code in the file name";
    for (std::size_t k = 0; k < name.size();) {
        if (!std::isdigit(static_cast<unsigned char>(name[k]))) {
            ++k;
            continue;
        }
        std::size_t end = k;
        while (end < name.size() && std::isdigit(static_cast<unsigned char>(name[end]))) ++end;
        if (end - k == 6) {
            file.code = name.substr(k, 6);
            const std::string before = k >= 2 ? Lower(name.substr(k - 2, 2)) : "";
            const std::string after = Lower(name.substr(end, 5));
            if (after.rfind(".xshg", 0) == 0 || after.rfind(".sh", 0) == 0) {
                file.market = 1;
                file.marketFrom = "suffix " + name.substr(end, after.rfind(".xshg", 0) == 0 ? 5 : 3);
            } else if (after.rfind(".xshe", 0) == 0 || after.rfind(".sz", 0) == 0) {
                file.market = 0;
                file.marketFrom = "suffix " + name.substr(end, after.rfind(".xshe", 0) == 0 ? 5 : 3);
            } else if (before == "sh" || before == "sz") {
                file.market = before == "sh" ? 1 : 0;
                file.marketFrom = "prefix " + name.substr(k - 2, 2);
            } else {
                file.market = std::string("569").find(file.code[0]) != std::string::npos ? 1 : 0;
                file.marketFrom = std::string("first digit ") + file.code[0];
            }
            return;
        }
        k = end;
    }
}

BarFile ReadBars(const std::string& path, const ReadOptions& options) {
    if (path == "-") return ReadBars(std::cin, path, options);
    std::ifstream file(path, std::ios::binary);
    if (!file) throw InputError(path + ": cannot open the file");
    return ReadBars(file, path, options);
}

BarFile ReadBars(std::istream& stream, const std::string& path, const ReadOptions& options) {
    Lines lines(stream, path);
    std::string line;
    std::vector<std::string> header;
    while (header.empty() && lines.Next(line)) {
        if (lines.Number() == 1 && line.rfind("\xEF\xBB\xBF", 0) == 0) line.erase(0, 3);  // UTF-8 byte-order mark
        if (line.find_first_not_of(" \t") == std::string::npos) continue;
        header = Split(line, line.find('\t') != std::string::npos ? '\t' : ',');
    }
    if (header.empty()) throw InputError(path + ":1: empty file: a header row is needed");
    const char sep = line.find('\t') != std::string::npos ? '\t' : ',';
    const int headerLine = lines.Number();
    int index[kColumns];
    std::fill(std::begin(index), std::end(index), -1);
    for (std::size_t k = 0; k < header.size(); ++k)
        if (auto c = ColumnOf(header[k]); c && index[*c] < 0) index[*c] = static_cast<int>(k);
    for (Column c : {kDate, kOpen, kHigh, kLow, kClose})
        if (index[c] < 0)
            throw InputError(path + ":" + std::to_string(headerLine) + ": missing column '" + kColumnNames[c] + "'");

    BarFile out;
    std::vector<Row> rows;
    int digits = 0;
    long double highest = 0;
    int highestLine = 0;
    std::vector<std::string_view> fields;
    std::string codeField;  // the security named in a column, on the first row
    while (lines.Next(line)) {
        if (line.find_first_not_of(" \t") == std::string::npos) continue;
        const auto where = [&lines] { return lines.Where(lines.Number()); };  // built only for a message
        if (rows.size() == kMaxBars) throw InputError(where() + "more than " + std::to_string(kMaxBars) + " bars");
        Split(line, sep, fields);
        auto field = [&](Column c) -> std::string_view {
            if (index[c] < 0) return {};
            if (static_cast<std::size_t>(index[c]) >= fields.size())
                throw InputError(where() + "missing value for column " + kColumnNames[c]);
            const std::string_view f = fields[static_cast<std::size_t>(index[c])];
            if (f.size() > kMaxFieldBytes)
                throw InputError(where() + "a value longer than " + std::to_string(kMaxFieldBytes) + " bytes in column " +
                                 kColumnNames[c]);
            return f;
        };
        Row row;
        row.line = lines.Number();
        if (rows.empty() && out.suspended == 0 && index[kCode] >= 0) codeField = field(kCode);
        if (!ParseDateTime(field(kDate), row.date, row.time))
            throw InputError(where() + Quote(field(kDate)) + " is not a date (2024-01-31 or 20240131)");
        if (index[kTime] >= 0 && !ParseTime(field(kTime), row.time))
            throw InputError(where() + Quote(field(kTime)) + " is not a time (09:30 or 093000)");
        bool zero = true;
        for (int k = 0; k < 4; ++k) {
            const std::string_view text = field(static_cast<Column>(kOpen + k));
            if (const char* wrong = ParsePrice(text, row.price[k]))
                throw InputError(where() + Quote(text) + " " + wrong + " in column " + kColumnNames[kOpen + k]);
            zero = zero && row.price[k].Zero();
        }
        row.volume = Number(field(kVolume), where, "volume");
        row.amount = Number(field(kAmount), where, "amount");
        if (row.volume < 0) throw InputError(where() + "negative volume");
        if (row.volume >= 9223372036854775808.0) throw InputError(where() + "a volume of 2^63 or more");
        if (zero && !options.keepSuspended) {
            ++out.suspended;
            continue;
        }
        for (const Price& p : row.price) {
            digits = std::max(digits, static_cast<int>(p.fraction.size()));
            if (p.Above() > highest && p.Value() > highest) highest = p.Value(), highestLine = row.line;
        }
        rows.push_back(std::move(row));
    }
    if (rows.empty())
        throw InputError(path + ":" + std::to_string(lines.Number()) + ": no bars after the header" +
                         (out.suspended > 0 ? " (all " + std::to_string(out.suspended) + " rows are suspended: all prices 0)" : ""));

    out.decimals = digits;
    // The unit: forced, or the largest power of ten up to the decimals that
    // keeps every price within 32 bits.
    constexpr long double kLimit = 2147483647.0L;
    int decimals = 0;
    if (options.unit > 0) {
        out.unit = options.unit;
        decimals = DecimalsOfUnit(options.unit);
    } else {
        if (std::floor(highest + 0.5L) > kLimit)
            throw InputError(lines.Where(highestLine) + "a price of " + std::to_string(static_cast<double>(highest)) +
                             " does not fit 32 bits at any unit");
        decimals = std::min(digits, 9);
        while (decimals > 0 && std::floor(highest * std::pow(10.0L, decimals) + 0.5L) > kLimit) --decimals;
        out.unit = static_cast<int>(std::lround(std::pow(10.0, decimals)));
    }

    const bool newestFirst = rows.size() > 1 && std::make_pair(rows[0].date, rows[0].time) >
                                                    std::make_pair(rows[1].date, rows[1].time);
    for (std::size_t k = 1; k < rows.size(); ++k) {
        const auto a = std::make_pair(rows[k - 1].date, rows[k - 1].time);
        const auto b = std::make_pair(rows[k].date, rows[k].time);
        if (newestFirst ? !(b < a) : !(a < b))
            throw InputError(lines.Where(rows[k].line) + "dates out of order (" + std::to_string(rows[k].date) +
                             " after " + std::to_string(rows[k - 1].date) + ")");
    }
    if (newestFirst) std::reverse(rows.begin(), rows.end());
    out.bars.reserve(rows.size());
    for (const Row& r : rows) {
        const std::string where = lines.Where(r.line);
        UNIKDATA b{};
        b.Date = r.date;
        b.Time = r.time;
        std::int32_t* prices[4] = {&b.Open, &b.High, &b.Low, &b.Close};
        for (int k = 0; k < 4; ++k) {
            const Scaled s = decimals >= 0 ? AtDecimals(r.price[k], decimals) : AtUnit(r.price[k], out.unit);
            if (s.value > kLimit)
                throw InputError(where + Quote(r.price[k].whole + (r.price[k].fraction.empty() ? "" : "." + r.price[k].fraction)) +
                                 " is too large for unit " + std::to_string(out.unit));
            *prices[k] = static_cast<std::int32_t>(s.value);
            if (s.rounded) {
                ++out.rounded;
                out.roundedBy = std::max(out.roundedBy, static_cast<double>(s.by));
            }
        }
        if (b.High < b.Low) throw InputError(where + "high below low");
        if (b.Open < b.Low || b.Open > b.High) throw InputError(where + "open outside low..high");
        if (b.Close < b.Low || b.Close > b.High) throw InputError(where + "close outside low..high");
        b.Volume = static_cast<std::uint64_t>(std::llround(r.volume));
        b.Amount = r.amount;
        out.bars.push_back(b);
    }
    CodeFromName(path, out);
    if (!codeField.empty()) {  // a column naming the security outranks the file name
        BarFile named;
        CodeFromName(codeField, named);
        if (!named.code.empty()) {
            out.code = named.code;
            out.market = named.market;
            out.marketFrom = named.marketFrom + " of column " + kColumnNames[kCode] + " '" + codeField + "'";
        }
    }
    return out;
}

}  // namespace fenxi_cli
