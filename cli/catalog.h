// Every operation the fenxi tool can run: name, dispatcher code, parameters
// with defaults, the lines it draws, and how to call it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fenxi/fenxi.h"

namespace fenxi_cli {

using Rows = CAnalysisTechniques::FENXIDATA*;
using Property = CAnalysisTechniques::FENXIDATA_PROPERTY;
using Params = std::vector<int>;

struct Line {
    int index;         // FenXi column
    std::string name;  // as printed in the header
};

struct Operation {
    std::string name;
    int code;  // dispatcher code, -1 when the dispatcher has none
    std::vector<std::pair<std::string, int>> params;
    std::vector<Line> lines;
    std::string about;
    std::function<void(CAnalysisTechniques&, UNIKDATA*, int, Rows&, int, const Params&, Property*)> generate;
    std::function<void(CAnalysisTechniques&, UNIKDATA*, int, Rows&, int, const Params&)> update;  // may be empty
};

const std::vector<Operation>& Catalog();
// By name (any case) or by dispatcher code; null when unknown.
const Operation* FindOperation(const std::string& nameOrCode);

}  // namespace fenxi_cli
