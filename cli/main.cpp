// fenxi command-line tool.
#include <cstring>
#include <iostream>
#include <string>

#include "fenxi/fenxi.h"

namespace {

int Usage(std::ostream& os, int code) {
    os << "usage: fenxi info    print record sizes and the formula version\n";
    return code;
}

int Info() {
    CAnalysisTechniques engine;
    engine.DebugInfo();
    std::string version;
    engine.GetFormulaVersion(version);
    std::cout << "formula version " << version << '\n';
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "info") == 0) return Info();
    if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) return Usage(std::cout, 0);
    std::cerr << "fenxi: unknown command '" << argv[1] << "'\n";
    return Usage(std::cerr, 2);
}
