// Uses the installed C++ interface: an engine, a generator call, the getters.
#include <fenxi/fenxi.h>

#include <cstdio>

int main() {
    CAnalysisTechniques engine;
    CAnalysisTechniques::FENXIDATA* rows = nullptr;
    engine.GenerateBuffer(nullptr, 100, rows, 3);
    std::string version;
    engine.GetFormulaVersion(version);
    if (rows == nullptr || rows[2].FenXi[42] != 0.0 || version != "1.1") return 1;
    std::printf("consumer_cpp ok %s\n", version.c_str());
    return 0;
}
