// Every flat C function with any counts, codes, period codes, flags and scales.
#include "fuzz_input.h"

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
