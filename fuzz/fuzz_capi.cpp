// Every flat C function with any counts, codes, period codes, flags and
// scales; the fx_ interface with any operation, parameters, counts,
// capacities and units.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "fenxi/fenxi_api.h"
#include "fuzz_input.h"

namespace {

// An fx_ computation or stream: operation, parameters, counts and
// capacities as the bytes say, into buffers as large as the capacities.
void FxCalls(int pick, int param, int scale, const std::vector<UNIKDATA>& bars, int n) {
    n = std::min(n, static_cast<int>(bars.size()));  // a caller's arrays hold what it says; negative counts stay
    int32_t count = 0;
    fx_operation_count(&count);
    const char* name = nullptr;
    fx_operation_name(static_cast<int32_t>(static_cast<unsigned>(param) % (count + 1)), &name);  // count: out of range
    const int32_t params[4] = {param >> 8, scale, param ^ scale, static_cast<int32_t>(0u - static_cast<std::uint32_t>(param))};
    const int32_t paramCount = (pick >> 3) % 5, capacity = (pick >> 5) % 8;
    const int32_t values = static_cast<int32_t>(bars.size()) + ((scale & 1) ? 0 : -1);
    std::vector<std::vector<double>> store(8, std::vector<double>(bars.size() + 1));
    double* lines[8];
    for (int k = 0; k < 8; ++k) lines[k] = store[static_cast<std::size_t>(k)].data();
    int32_t lineCount = 0;
    const UNIKDATA* b = bars.empty() ? nullptr : bars.data();
    if (pick % 2 == 0) {
        fx_compute_bars(name, params, paramCount, b, n, scale, lines, capacity, values, &lineCount);
        std::vector<double> o, h, l, c;
        for (const UNIKDATA& bar : bars) {  // prices from the fields' bits: any double, NaN and inf too
            double d[4];
            std::memcpy(d, &bar, sizeof d);
            o.push_back(d[0]), h.push_back(d[1]), l.push_back(d[2]), c.push_back(d[3]);
        }
        fx_columns columns{};
        columns.open = o.data(), columns.high = h.data(), columns.low = l.data(), columns.close = c.data();
        columns.count = std::min<int32_t>(n, static_cast<int32_t>(o.size()));
        columns.unit = scale % 3 == 0 ? 0 : scale;
        fx_compute_columns(name, params, paramCount, &columns, lines, capacity, values, &lineCount);
        // The same bars as a panel: the whole series, its second half and
        // none, at units from the bytes, the lines laid out by `capacity`.
        const int half = n > 0 ? n / 2 : 0;
        const UNIKDATA* panel[3] = {b, b == nullptr ? nullptr : b + half, nullptr};
        const int32_t counts[3] = {n, n > 0 ? n - half : n, (pick & 2) ? 0 : -1}, units[3] = {scale, 100, scale ^ 1};
        // One thread: the securities share the buffers.
        std::vector<double*> grid(static_cast<std::size_t>(3 * std::max(capacity, 1)));
        for (std::size_t k = 0; k < grid.size(); ++k) grid[k] = lines[k % 8];
        fx_compute_many(name, params, paramCount, panel, counts, units, 2 + ((pick >> 2) & 1), 1, grid.data(),
                        capacity, &lineCount);
        return;
    }
    fx_stream* stream = nullptr;
    if (fx_stream_create(name, params, paramCount, scale, &stream) != FX_OK) return;
    double last[64];
    for (const UNIKDATA& bar : bars) {
        fx_stream_append(stream, &bar, last, capacity * 8, &lineCount);
        if (bar.Time & 1) fx_stream_replace_last(stream, &bar, last, 64, &lineCount);
    }
    fx_stream_free(stream);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fenxi_fuzz::Input in(data, size);
    const auto pick = in.Take<std::uint8_t>(), mode = in.Take<std::uint8_t>();
    const int param = in.Take<std::int32_t>(), periodCode = in.Take<std::int8_t>(), scale = in.Take<std::int32_t>();
    const std::string code = in.Code();
    auto bars = in.Bars(300);
    int n = in.Count(mode, bars.size());
    if (mode % 8 == 7) n = 36501;  // refused before any bar is read
    UNIKDATA* b = bars.empty() ? nullptr : bars.data();

    LineStruct* lines = nullptr;
    char* text = nullptr;
    int count = 0;
    if (mode & 16) {
        FxCalls(pick, param, scale, bars, n);
        return 0;
    }
    switch (pick % 4) {
        case 0: ComputeDKDataForC(n, b, &lines, &count, code.c_str(), param, periodCode, pick & 4, pick & 8, scale); break;
        case 1: GenerateZJLDXFXForC(n, b, &lines, &count, code.c_str(), 0, periodCode, scale); break;
        case 2: GenerateSHLDXFXForC(n, b, &lines, &count, code.c_str(), 0, periodCode, scale); break;
        default: ComputeDKMsgForC(n, b, &text, &count, code.c_str(), param, periodCode, pick & 4, pick & 8, scale); break;
    }
    FreeLineStruct(reinterpret_cast<void**>(&lines));
    FreeCharBuffer(reinterpret_cast<void**>(&text));
    return 0;
}
