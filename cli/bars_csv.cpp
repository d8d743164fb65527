#include "bars_csv.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <optional>
#include <regex>
#include <sstream>

namespace fenxi_cli {
namespace {

enum Column { kDate, kTime, kOpen, kHigh, kLow, kClose, kVolume, kAmount, kColumns };
constexpr const char* kColumnNames[kColumns] = {"date", "time", "open", "high", "low", "close", "volume", "amount"};

std::optional<Column> ColumnOf(std::string name) {
    name.erase(std::remove_if(name.begin(), name.end(), [](unsigned char c) { return std::isspace(c) || c == '"'; }),
               name.end());
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    static const std::map<std::string, Column> aliases = {
        {"date", kDate},       {"dt", kDate},        {"datetime", kDate},   {"trade_date", kDate},
        {"日期", kDate},       {"time", kTime},      {"open", kOpen},       {"开盘", kOpen},
        {"开盘价", kOpen},     {"high", kHigh},      {"最高", kHigh},       {"最高价", kHigh},
        {"low", kLow},         {"最低", kLow},       {"最低价", kLow},      {"close", kClose},
        {"收盘", kClose},      {"收盘价", kClose},   {"volume", kVolume},   {"vol", kVolume},
        {"成交量", kVolume},   {"amount", kAmount},  {"成交额", kAmount},   {"成交金额", kAmount},
        {"turnover", kAmount}, {"money", kAmount},
    };
    const auto it = aliases.find(name);
    return it == aliases.end() ? std::nullopt : std::optional<Column>(it->second);
}

std::vector<std::string> Split(const std::string& line, char sep) {
    std::vector<std::string> fields;
    std::string field;
    std::istringstream in(line);
    while (std::getline(in, field, sep)) fields.push_back(field);
    if (!line.empty() && line.back() == sep) fields.emplace_back();
    for (auto& f : fields) {
        while (!f.empty() && std::isspace(static_cast<unsigned char>(f.back()))) f.pop_back();
        while (!f.empty() && std::isspace(static_cast<unsigned char>(f.front()))) f.erase(f.begin());
        if (f.size() >= 2 && f.front() == '"' && f.back() == '"') f = f.substr(1, f.size() - 2);
    }
    return fields;
}

struct Row {
    int line = 0;
    std::int32_t date = 0, time = 0;
    std::string price[4];  // open, high, low, close as written
    double volume = 0, amount = 0;
};

// "2024-01-31", "20240131", "20240131.0", optionally followed by a time
// "15:00:00", "09:31" or "090100": date YYYYMMDD and time HHMMSS.
bool ParseDateTime(const std::string& text, std::int32_t& date, std::int32_t& time) {
    static const std::regex pattern(
        R"(^(\d{4})-?(\d{2})-?(\d{2})(?:\.0+)?(?:[ T](\d{1,2}):?(\d{2})(?::?(\d{2}))?)?$)");
    std::smatch m;
    if (!std::regex_match(text, m, pattern)) return false;
    const int month = std::stoi(m[2]), day = std::stoi(m[3]);
    if (month < 1 || month > 12 || day < 1 || day > 31) return false;
    date = std::stoi(m[1]) * 10000 + month * 100 + day;
    if (m[4].matched) time = std::stoi(m[4]) * 10000 + std::stoi(m[5]) * 100 + (m[6].matched ? std::stoi(m[6]) : 0);
    return true;
}

bool ParseTime(const std::string& text, std::int32_t& time) {
    static const std::regex pattern(R"(^(\d{1,2}):?(\d{2})(?::?(\d{2}))?$)");
    std::smatch m;
    if (!std::regex_match(text, m, pattern)) return false;
    time = std::stoi(m[1]) * 10000 + std::stoi(m[2]) * 100 + (m[3].matched ? std::stoi(m[3]) : 0);
    return true;
}

// Decimal digits of a price text, or -1 when it is not a plain decimal.
int Decimals(const std::string& text) {
    static const std::regex pattern(R"(^-?\d+(?:\.(\d*))?$)");
    std::smatch m;
    if (!std::regex_match(text, m, pattern)) return -1;
    return m[1].matched ? static_cast<int>(m[1].length()) : 0;
}

// The exact scaled integer of a decimal text at 10^digits, or nullopt when
// it does not fit 32 bits.
std::optional<std::int32_t> Scaled(const std::string& text, int digits) {
    const bool negative = text[0] == '-';
    const std::string body = negative ? text.substr(1) : text;
    const auto dot = body.find('.');
    std::string whole = body.substr(0, dot), frac = dot == std::string::npos ? "" : body.substr(dot + 1);
    frac.resize(static_cast<std::size_t>(digits), '0');
    long double v = 0;
    for (char c : whole + frac) v = v * 10 + (c - '0');
    if (v > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
    return static_cast<std::int32_t>(negative ? -v : v);
}

double Number(const std::string& text, const std::string& where, const char* column) {
    if (text.empty()) return 0.0;
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0' || !std::isfinite(v))
        throw InputError(where + "'" + text + "' is not a number in column " + column);
    return v;
}

void CodeFromName(const std::string& path, BarFile& file) {
    static const std::regex pattern(R"((sh|sz|SH|SZ)?(\d{6}))");
    std::smatch m;
    const std::string name = path.substr(path.find_last_of('/') + 1);
    if (!std::regex_search(name, m, pattern)) return;
    file.code = m[2];
    const std::string prefix = m[1];
    file.market = prefix.empty() ? (std::string("569").find(file.code[0]) != std::string::npos ? 1 : 0)
                                 : (prefix == "sh" || prefix == "SH" ? 1 : 0);
}

}  // namespace

BarFile ReadBars(const std::string& path, int unit) {
    if (path == "-") return ReadBars(std::cin, path, unit);
    std::ifstream file(path);
    if (!file) throw InputError(path + ": cannot open the file");
    return ReadBars(file, path, unit);
}

BarFile ReadBars(std::istream& stream, const std::string& path, int unit) {
    std::istream* in = &stream;
    std::string line;
    int lineNo = 0;
    std::vector<std::string> header;
    while (header.empty() && std::getline(*in, line)) {
        ++lineNo;
        if (lineNo == 1 && line.rfind("\xEF\xBB\xBF", 0) == 0) line.erase(0, 3);  // UTF-8 byte-order mark
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        header = Split(line, line.find('\t') != std::string::npos ? '\t' : ',');
    }
    if (header.empty()) throw InputError(path + ":1: empty file: a header row is needed");
    const char sep = line.find('\t') != std::string::npos ? '\t' : ',';
    const int headerLine = lineNo;
    int index[kColumns];
    std::fill(std::begin(index), std::end(index), -1);
    for (std::size_t k = 0; k < header.size(); ++k)
        if (auto c = ColumnOf(header[k]); c && index[*c] < 0) index[*c] = static_cast<int>(k);
    for (Column c : {kDate, kOpen, kHigh, kLow, kClose})
        if (index[c] < 0)
            throw InputError(path + ":" + std::to_string(headerLine) + ": missing column '" + kColumnNames[c] + "'");

    std::vector<Row> rows;
    int digits = 0;
    while (std::getline(*in, line)) {
        ++lineNo;
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        const auto fields = Split(line, sep);
        const std::string where = path + ":" + std::to_string(lineNo) + ": ";
        auto field = [&](Column c) -> std::string {
            if (index[c] < 0) return "";
            if (static_cast<std::size_t>(index[c]) >= fields.size())
                throw InputError(where + "missing value for column " + kColumnNames[c]);
            return fields[static_cast<std::size_t>(index[c])];
        };
        Row row;
        row.line = lineNo;
        if (!ParseDateTime(field(kDate), row.date, row.time))
            throw InputError(where + "'" + field(kDate) + "' is not a date (2024-01-31 or 20240131)");
        if (index[kTime] >= 0 && !ParseTime(field(kTime), row.time))
            throw InputError(where + "'" + field(kTime) + "' is not a time (09:30 or 093000)");
        for (int k = 0; k < 4; ++k) {
            row.price[k] = field(static_cast<Column>(kOpen + k));
            const int d = Decimals(row.price[k]);
            if (d < 0)
                throw InputError(where + "'" + row.price[k] + "' is not a price in column " + kColumnNames[kOpen + k]);
            digits = std::max(digits, d);
        }
        row.volume = Number(field(kVolume), where, "volume");
        row.amount = Number(field(kAmount), where, "amount");
        if (row.volume < 0) throw InputError(where + "negative volume");
        rows.push_back(row);
    }
    if (rows.empty()) throw InputError(path + ":" + std::to_string(lineNo) + ": no bars after the header");

    BarFile out;
    out.unit = unit > 0 ? unit : static_cast<int>(std::lround(std::pow(10.0, std::min(digits, 9))));
    int scale = 0;
    for (int u = out.unit; u >= 10 && u % 10 == 0; u /= 10) ++scale;
    const bool newestFirst = rows.size() > 1 && std::make_pair(rows[0].date, rows[0].time) >
                                                    std::make_pair(rows[1].date, rows[1].time);
    for (std::size_t k = 1; k < rows.size(); ++k) {
        const auto a = std::make_pair(rows[k - 1].date, rows[k - 1].time);
        const auto b = std::make_pair(rows[k].date, rows[k].time);
        if (newestFirst ? !(b < a) : !(a < b))
            throw InputError(path + ":" + std::to_string(rows[k].line) + ": dates out of order (" +
                             std::to_string(rows[k].date) + " after " + std::to_string(rows[k - 1].date) + ")");
    }
    if (newestFirst) std::reverse(rows.begin(), rows.end());
    for (const Row& r : rows) {
        const std::string where = path + ":" + std::to_string(r.line) + ": ";
        UNIKDATA b{};
        b.Date = r.date;
        b.Time = r.time;
        std::int32_t* prices[4] = {&b.Open, &b.High, &b.Low, &b.Close};
        for (int k = 0; k < 4; ++k) {
            if (Decimals(r.price[k]) > scale)
                throw InputError(where + "'" + r.price[k] + "' has more decimals than unit " + std::to_string(out.unit));
            const auto v = Scaled(r.price[k], scale);
            if (!v) throw InputError(where + "'" + r.price[k] + "' is too large for unit " + std::to_string(out.unit));
            *prices[k] = *v;
        }
        if (b.High < b.Low) throw InputError(where + "high below low");
        b.Volume = static_cast<std::uint64_t>(std::llround(r.volume));
        b.Amount = r.amount;
        out.bars.push_back(b);
    }
    CodeFromName(path, out);
    return out;
}

}  // namespace fenxi_cli
