// Runs the built fenxi tool as a user would.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <tuple>
#include <string>


#include "bars.h"
#include "platform/host.h"

namespace {

struct Result {
    int status;
    std::string out, err;
};

Result Fenxi(const std::string& args) {
    const auto dir = std::filesystem::temp_directory_path();
    const std::string id = std::to_string(fenxi::platform::ProcessId());  // several runs of the suite may share the directory
    const std::string outFile = (dir / ("fenxi_cli_out_" + id)).string(), errFile = (dir / ("fenxi_cli_err_" + id)).string();
    const int status = std::system((std::string(FENXI_CLI) + " " + args + " >" + outFile + " 2>" + errFile).c_str());
    auto slurp = [](const std::string& f) {
        std::ifstream in(f);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    };
    return {fenxi::platform::ExitStatus(status), slurp(outFile), slurp(errFile)};
}

// The chart page needs the chart library, which scripts/deps.sh installs
// with the web packages. Without it a test of the page is skipped, saying
// why; in CI, which installs it, its absence fails.
constexpr const char* kNoChartLibrary = "the chart library is not installed (npm ci in web/, as scripts/deps.sh does)";
bool ChartLibraryMissing(const Result& r) {
    if (r.status == 0 || r.err.find("chart library") == std::string::npos) return false;
    const char* ci = std::getenv("CI");
    EXPECT_FALSE(ci != nullptr && std::string(ci) == "true") << "CI installs the chart library: " << r.err;
    return true;
}

std::string Write(const std::string& name, const std::string& text) {
    const auto path = (std::filesystem::temp_directory_path() / name).string();
    std::ofstream(path) << text;
    return path;
}

const std::string kSample = std::string(FENXI_DATA_DIR) + "/daily_sz002032.csv";

}  // namespace

TEST(Cli, ReportOnTheShippedSample) {
    const Result r = Fenxi("");
    EXPECT_EQ(r.status, 0) << r.err;
    for (const char* part : {"2813 bars", "MACD", "KDJ", "Long-term system", "Short-term system", "Tactics pools", "操作提示"})
        EXPECT_NE(r.out.find(part), std::string::npos) << part;
    const Result json = Fenxi("--json");
    EXPECT_EQ(json.status, 0);
    EXPECT_NE(json.out.find("\"marketFrom\": \"prefix sz\""), std::string::npos);
}

TEST(Cli, BrokenFilesNameTheFileAndLine) {
    struct Case { std::string name, text, message; };
    const Case cases[] = {
        {"no_close.csv", "date,open,high,low\n2020-01-02,1,2,1\n", "no_close.csv:1: missing column 'close'"},
        {"text.csv", "date,open,high,low,close\n20200102,1,2,1,1.5\n20200103,1,abc,1,1\n",
         "text.csv:3: 'abc' is not a price in column high"},
        {"high_low.csv", "date,open,high,low,close\n20200102,1,1,2,1\n", "high_low.csv:2: high below low"},
        {"order.csv", "date,open,high,low,close\n20200102,1,2,1,1\n20200103,1,2,1,1\n20200101,1,2,1,1\n",
         "order.csv:4: dates out of order"},
        {"empty.csv", "", "empty.csv:1: empty file"},
        {"header_only.csv", "date,open,high,low,close\n", "header_only.csv:1: no bars"},
        {"bad_date.csv", "date,open,high,low,close\n2020-13-01,1,2,1,1\n", "bad_date.csv:2: '2020-13-01' is not a date"},
        {"feb31.csv", "date,open,high,low,close\n2024-02-31,1,2,1,1\n", "feb31.csv:2: '2024-02-31' is not a date"},
        {"clock.csv", "date,time,open,high,low,close\n20240102,25:99,1,2,1,1\n", "clock.csv:2: '25:99' is not a time"},
        {"negative.csv", "date,open,high,low,close\n20240102,-1,2,1,1\n", "negative.csv:2: '-1' is negative"},
        {"outside.csv", "date,open,high,low,close\n20240102,1,2,1,3\n", "outside.csv:2: close outside low..high"},
        {"volume.csv", "date,open,high,low,close,volume\n20240102,1,2,1,1,1e30\n", "volume.csv:2: a volume of 2^63"},
        {"huge.csv", "date,open,high,low,close\n20240102,1,3000000000,1,1\n", "huge.csv:2: a price of 3000000000"},
        {"long_field.csv", "date,open,high,low,close\n20240102,1," + std::string(100, '9') + ",1,1\n",
         "long_field.csv:2: a value longer than 64 bytes in column high"},
        {"long_line.csv", "date,open,high,low,close\n20240102,1," + std::string(50000, '9') + ",1,1\n",
         "long_line.csv:2: a line longer than 4096 bytes"},
        {"binary.csv", std::string("date,open\0high", 14), "binary.csv:1: a byte 0: not a text file"},
        {"suspended.csv", "date,open,high,low,close\n20240102,0,0,0,0\n", "no bars after the header (all 1 rows are suspended"},
    };
    for (const Case& c : cases) {
        const Result r = Fenxi("calc MA1 -i " + Write(c.name, c.text));
        EXPECT_EQ(r.status, 1) << c.name;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_LT(r.err.size(), 400u) << c.name;  // a long field is never echoed whole
        EXPECT_TRUE(r.out.empty()) << c.name;
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Fenxi("calc MA1 -i /dev/zero").status, 1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

// Usage errors exit with 2 and say what is wrong; data that needs a word
// gets one on stderr.
TEST(Cli, UsageErrorsAndNotices) {
    const std::pair<std::string, std::string> usage[] = {
        {"calc MA1 0", "N=0 is outside 1..10000"},       {"calc BOLL -20", "N=-20 is outside"},
        {"calc KDJ 0 3 3", "N=0 is outside"},           {"calc MA1 --unit -5", "--unit"},
        {"tips --bar -5", "--bar -5 is outside 0..2812"}, {"signals --short --long", "excludes"},
        {"chart 9 1", "chart type 9 is not one of 0-5"}, {"calc MA1 --update --raw-update", "excludes"},
        {"view --pane NOPE", "unknown line or pane 'NOPE'; built in: MA1"},
    };
    for (const auto& [args, words] : usage) {
        const Result r = Fenxi(args + " -i " + kSample);
        EXPECT_EQ(r.status, 2) << args;
        EXPECT_NE(r.err.find(words), std::string::npos) << args << ": " << r.err;
    }
    Result r = Fenxi("calc MA1 -i " + Write("sh600000_gap.csv", "date,open,high,low,close\n20240102,1.5,2,1,1.5\n"
                                                                "20240103,0,0,0,0\n20240104,1.5,2,1,1.75\n"));
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.err.find("1 suspended rows (all prices 0) skipped"), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 3);
    r = Fenxi("calc MA1 1 -i " + Write("fine.csv", "date,open,high,low,close\n20240102,3244.669922,3250,3240,3244.669922\n"
                                                  "20240103,3244.669922,3250,3240,3244.669922\n"));
    EXPECT_NE(r.out.find("2024-01-03,,3244.669920\n"), std::string::npos) << r.out;
    EXPECT_NE(r.err.find("4 prices rounded to unit 100000, by at most 2e-06"), std::string::npos) << r.err;
    r = Fenxi("--version");
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("formula"), std::string::npos);
}

TEST(Cli, UnknownIndicatorListsTheValidOnes) {
    const Result r = Fenxi("calc NOPE -i " + kSample);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("unknown indicator 'NOPE'"), std::string::npos);
    EXPECT_NE(r.err.find("MACD"), std::string::npos);
    EXPECT_EQ(Fenxi("calc MA1 1 2 3 -i " + kSample).status, 2);  // too many parameters
}

TEST(Cli, RawOutputIsTheLibraryBitForBit) {
    const Result r = Fenxi("calc 102 12 26 9 --raw -i " + kSample);  // MACD by code
    ASSERT_EQ(r.status, 0) << r.err;
    auto bars = testbars::Sample();
    CAnalysisTechniques e;
    CAnalysisTechniques::FENXIDATA* rows = nullptr;
    CAnalysisTechniques::FENXIDATA_PROPERTY p{};
    e.GenerateMACD(bars.data(), 100, rows, static_cast<int>(bars.size()), 12, 26, 9, &p);
    std::istringstream in(r.out);
    std::string line;
    int row = -1;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#' || line.rfind("bar,", 0) == 0) continue;
        ++row;
        std::istringstream cells(line);
        std::string cell;
        for (int k = 0; k < 3; ++k) std::getline(cells, cell, ',');
        for (int c = 0; c < 43; ++c) {
            std::getline(cells, cell, ',');
            ASSERT_EQ(std::strtod(cell.c_str(), nullptr), rows[row].FenXi[c]) << row << "," << c;
        }
    }
    EXPECT_EQ(row + 1, static_cast<int>(bars.size()));
}

TEST(Cli, CsvJsonUpdateChartSignalsTipsFlowAndNewestFirstFiles) {
    Result r = Fenxi("calc ma2 5 10 -i " + kSample);
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(r.out.substr(0, r.out.find('\n')), "date,time,MA1,MA2");
    EXPECT_NE(r.out.find("\n2004-08-23,,,\n2004-08-24,,10.344,\n"), std::string::npos);  // blank before the start

    // True values whatever the unit, also where the row form's scale is not the line's.
    const std::pair<const char*, const char*> lastRows[] = {{"HHV 1 20", "2016-08-17,,43.09\n"},
                                                            {"LLV 2 20", "2016-08-17,,37.02\n"},
                                                            {"MTM", "2016-08-17,,0.05,-0.865\n"},
                                                            {"SAR", "2016-08-17,,42.473012,-1\n"}};
    for (const auto& [op, last] : lastRows) {
        for (const char* unit : {"100", "1000", "10000"}) {
            r = Fenxi(std::string("calc ") + op + " --unit " + unit + " -i " + kSample);
            EXPECT_EQ(r.out.substr(r.out.rfind("2016-08-17")), last) << op << " unit " << unit;
        }
    }

    r = Fenxi("calc RSI --json -i " + kSample);
    EXPECT_NE(r.out.find("\"scale\": \"percent\""), std::string::npos);
    const Result plain = Fenxi("calc MA5 -i " + kSample), updated = Fenxi("calc MA5 --update -i " + kSample);
    EXPECT_EQ(plain.out.substr(plain.out.rfind("2016-08-17")), updated.out.substr(updated.out.rfind("2016-08-17")));

    r = Fenxi("chart 4 500 -i " + kSample);
    EXPECT_NE(r.out.find("parameter 2000 after clamping"), std::string::npos);
    r = Fenxi("signals --short -i " + kSample);
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 70);  // header + 69 points
    r = Fenxi("tips --bar 2000 -i " + kSample);
    EXPECT_NE(r.out.find("[short-term]"), std::string::npos);
    EXPECT_EQ(Fenxi("flow zj -i " + kSample).status, 0);
    EXPECT_EQ(Fenxi("flow xx -i " + kSample).status, 2);

    r = Fenxi("tactics --mid -i " + kSample);
    EXPECT_EQ(r.out.substr(0, r.out.find('\n')), "seq,tactic,kind,date,time,bar,price,measure,link");
    EXPECT_NE(r.out.find(",放量突破,entry,"), std::string::npos);
    r = Fenxi("tactics --long --json -i " + kSample);
    EXPECT_NE(r.out.find("\"pool\": \"long\""), std::string::npos);
    EXPECT_EQ(Fenxi("tactics --long --short -i " + kSample).status, 2);

    const std::string reversed = Write("sh600000_newest_first.csv",
                                       "日期,开盘价,最高价,最低价,收盘价,成交量\n"
                                       "2020-01-03,10.20,10.50,10.10,10.40,1000\n"
                                       "2020-01-02,10.00,10.30,9.900,10.20,2000\n");
    r = Fenxi("calc VOL1 -i " + reversed);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "date,time,VOLUME\n2020-01-02,,2000\n2020-01-03,,1000\n");
}

TEST(Cli, ScanReportsEveryFileAndSkipsABrokenOne) {
    const auto dir = std::filesystem::temp_directory_path() / ("fenxi_scan_" + std::to_string(fenxi::platform::ProcessId()));
    std::filesystem::create_directories(dir);
    std::filesystem::copy_file(kSample, dir / "daily_sz002032.csv", std::filesystem::copy_options::overwrite_existing);
    std::ofstream(dir / "broken.csv") << "date,open,high,low,close\n20200102,1,abc,1,1\n";
    for (const char* jobs : {"1", "2"}) {
        const Result r = Fenxi("scan " + dir.string() + " --jobs " + jobs);
        EXPECT_EQ(r.status, 1);
        EXPECT_NE(r.err.find("broken.csv:2: 'abc' is not a price"), std::string::npos) << r.err;
        EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 3);  // header and two rows, in file order
        EXPECT_NE(r.out.find("\nbroken.csv,"), std::string::npos);
        EXPECT_NE(r.out.find("\ndaily_sz002032.csv,002032,0,2813,"), std::string::npos) << r.out;
    }
    const Result json = Fenxi("scan --json " + (dir / "daily_sz002032.csv").string());
    EXPECT_EQ(json.status, 0);
    EXPECT_NE(json.out.find("\"tactics\""), std::string::npos);
    std::filesystem::remove_all(dir);
}

// Formula entries are names like the built-in ones: listed, computed, given
// on the command line by file, and screened with.
TEST(Cli, FormulaEntriesAreNamesEverywhere) {
    Result r = Fenxi("list");
    EXPECT_NE(r.out.find("\nATR        formula, formulas/platform.fx N=14"), std::string::npos);
    EXPECT_NE(r.out.find("\nCDLHAMMER  formula, formulas/candles.fx"), std::string::npos);
    r = Fenxi("list --json");
    EXPECT_NE(r.out.find("\"kind\": \"builtin\""), std::string::npos);
    EXPECT_NE(r.out.find("\"kind\": \"formula\""), std::string::npos);

    // calc runs an entry with positional parameters, as a formula of its own text would.
    const Result atr = Fenxi("calc ATR 20 -i " + kSample);
    ASSERT_EQ(atr.status, 0) << atr.err;
    const Result text = Fenxi("formula 'MTR:\"ATR.MTR\"(20);ATR:\"ATR.ATR\"(20)' -i " + kSample);
    EXPECT_EQ(atr.out, text.out);
    const Result streamed = Fenxi("calc ATR 20 --update -i " + kSample);
    EXPECT_EQ(streamed.out, atr.out);  // the last bar through a stream: the same bits
    EXPECT_EQ(Fenxi("calc ATR 0 -i " + kSample).status, 2);
    EXPECT_EQ(Fenxi("calc ATR 1 2 -i " + kSample).status, 2);
    EXPECT_EQ(Fenxi("calc ATR --raw -i " + kSample).status, 2);
    EXPECT_EQ(Fenxi("calc MA1 2.5 -i " + kSample).status, 2);

    // A user's file adds entries to every command and may not redefine a shipped one.
    const std::string mine = Write("mine.fx", "FORMULA TWOATR \"twice the ATR\"\nPARAM N 14 1 100\nT: ATR.ATR(N)*2;\nEND\n");
    r = Fenxi("calc TWOATR 20 --formulas " + mine + " -i " + kSample);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(Fenxi("list --formulas " + mine).out.find("TWOATR") != std::string::npos, true);
    EXPECT_EQ(Fenxi("formula 'TWOATR.T' --formulas " + mine + " -i " + kSample).status, 0);
    const std::string clash = Write("clash.fx", "FORMULA ATR\nA:C;\nEND\n");
    r = Fenxi("calc ATR --formulas " + clash + " -i " + kSample);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("clash.fx:1:9: 'ATR' is taken: an entry of formulas/platform.fx"), std::string::npos) << r.err;
    // The chart page draws entries as overlays and panes, histograms as such.
    const std::string page = (std::filesystem::temp_directory_path() / "fenxi_formula_view.html").string();
    EXPECT_EQ(Fenxi("view --pane ATR:0 -o " + page + " -i " + kSample).status, 2);
    r = Fenxi("view --lines MA,BBI,ICHIMOKU:9:26:52 --pane DDI --pane TWOATR:20 --formulas " + mine + " -o " + page +
              " -i " + kSample);
    if (ChartLibraryMissing(r)) GTEST_SKIP() << kNoChartLibrary;
    ASSERT_EQ(r.status, 0) << r.err;
    std::ifstream in(page);
    const std::string html((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    for (const char* part : {"\"name\":\"ICHIMOKU:9:26:52\"", "\"name\":\"SPANB\"", "\"COLORSTICK\"", "\"name\":\"TWOATR:20\""})
        EXPECT_NE(html.find(part), std::string::npos) << part;
}

TEST(Cli, ScanWhereScreensTheFiles) {
    const auto dir = std::filesystem::temp_directory_path() / ("fenxi_screen_" + std::to_string(fenxi::platform::ProcessId()));
    std::filesystem::create_directories(dir);
    std::filesystem::copy_file(kSample, dir / "daily_sz002032.csv", std::filesystem::copy_options::overwrite_existing);
    std::filesystem::copy_file(std::string(FENXI_DATA_DIR) + "/daily_ASML.AS.csv", dir / "daily_ASML.AS.csv",
                               std::filesystem::copy_options::overwrite_existing);
    // 002032 closes at 40.45 above its 20-bar average; ASML at 54.70 too, but above 50.
    Result r = Fenxi("scan " + dir.string() + " --where 'A:MA(C,N1); PASS:C>A AND C<50' --jobs 2");
    EXPECT_EQ(r.status, 2);  // N1 is no name in a text
    r = Fenxi("scan " + dir.string() + " --where 'A:MA(C,20); PASS:C>A AND C<50' --jobs 2");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "file,code,date,time,A,PASS\ndaily_sz002032.csv,002032,2016-08-17,,39.612,1\n");
    r = Fenxi("scan " + dir.string() + " --where 'A:MA(C,20); PASS:C>A AND C<50' --all");
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 3);
    EXPECT_NE(r.out.find("daily_ASML.AS.csv,,2013-01-25,,0,"), std::string::npos) << r.out;
    r = Fenxi("scan " + dir.string() + " --where SCR_NEW_HIGH --param N=20 --all --json");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("\"TOP\""), std::string::npos);
    EXPECT_EQ(Fenxi("scan " + dir.string() + " --where SCR_NEW_HIGH --param N=1").status, 2);
    EXPECT_EQ(Fenxi("scan " + dir.string() + " --all").status, 2);  // --all needs --where
    std::ofstream(dir / "broken.csv") << "date,open,high,low,close\n20200102,1,abc,1,1\n";
    r = Fenxi("scan " + dir.string() + " --where SCR_MA_GOLDEN --all");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("broken.csv:2: 'abc' is not a price"), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 3);  // the broken file is left out
    std::filesystem::remove_all(dir);
}

// The security may be named in a column (symbol, code, ts_code ...) rather
// than in the file name; the page of the shipped sample needs no -i.
TEST(Cli, CodeFromAColumnAndViewOfTheSample) {
    const std::string file = Write("bars_with_symbol.csv", "symbol,dt,open,close,high,low,vol\n"
                                                           "000001.XSHG,2020-01-02,1,1,1,1,5\n"
                                                           "000001.XSHG,2020-01-03,1,1,1,1,5\n");
    Result r = Fenxi("--json -i " + file);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("\"code\": \"000001\""), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"market\": 1"), std::string::npos);
    EXPECT_NE(r.out.find("suffix .XSHG of column code"), std::string::npos);
    // The other names of the column, and codes with a market prefix.
    for (const auto& [column, code, want] : {std::tuple{"code", "600519.SH", "600519"}, {"ts_code", "000333.SZ", "000333"},
                                             {"代码", "sz300033", "300033"}}) {
        const std::string named = Write("bars_named.csv", std::string(column) + ",date,open,high,low,close,volume\n" +
                                                              code + ",20200102,1,1,1,1,5\n" + code +
                                                              ",20200103,1,1,1,1,5\n");
        r = Fenxi("--json -i " + named);
        ASSERT_EQ(r.status, 0) << column << ": " << r.err;
        EXPECT_NE(r.out.find(std::string("\"code\": \"") + want + "\""), std::string::npos) << column << ": " << r.out;
    }
    const std::string page = (std::filesystem::temp_directory_path() / "fenxi_sample_view.html").string();
    r = Fenxi("view -o " + page);
    if (ChartLibraryMissing(r)) GTEST_SKIP() << kNoChartLibrary;
    EXPECT_EQ(r.status, 0) << r.err;
}
