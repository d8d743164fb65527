// Peak memory of the long/short system over 36,500 bars: the growth of the
// process's maximum resident set across one MountAdvSys (long) and one
// ComputeDKDataForC call. Run: build/release/bench/fenxi_peak_memory
#include <sys/resource.h>

#include <cstdio>

#include "bars.h"
#include "fenxi/fenxi_c.h"

namespace {

long PeakKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

}  // namespace

int main() {
    const std::vector<UNIKDATA> base = testbars::Sample();
    std::vector<UNIKDATA> bars;
    std::int32_t shift = 0;
    while (bars.size() < 36500) {
        for (UNIKDATA b : base) {
            if (bars.size() == 36500) break;
            b.Open += shift, b.High += shift, b.Low += shift, b.Close += shift;
            bars.push_back(b);
        }
        shift = bars.back().Close - base.front().Open;
    }
    const int n = static_cast<int>(bars.size());
    const long start = PeakKiB();
    {
        CAnalysisTechniques e;
        std::vector<_SIG_TABLE> signals;
        e.MountAdvSys(signals, 0, false, true, "002032", 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, n, bars.data(), 100, false,
                      false, false, true);
        std::printf("MountAdvSys (long), 36,500 bars: peak grew by %.1f MiB (%zu signals)\n",
                    (PeakKiB() - start) / 1024.0, signals.size());
    }
    const long mid = PeakKiB();
    LineStruct* lines = nullptr;
    int count = 0;
    ComputeDKDataForC(n, bars.data(), &lines, &count, "002032", 0, 9, false, false, 100);
    std::printf("ComputeDKDataForC, 36,500 bars: peak grew by %.1f MiB more; process peak %.1f MiB\n",
                (PeakKiB() - mid) / 1024.0, PeakKiB() / 1024.0);
    FreeLineStruct(reinterpret_cast<void**>(&lines));
    return 0;
}
