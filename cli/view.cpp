#include "view.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "catalog.h"
#include "chart_data.h"

namespace fenxi_cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// JSON inside a script element: "</" must not end it.
std::string Embedded(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t k = 0; k < text.size(); ++k) {
        if (text[k] == '<' && k + 1 < text.size() && text[k + 1] == '/') {
            out += "<\\/";
            ++k;
        } else {
            out += text[k];
        }
    }
    return out;
}

}  // namespace

std::string WriteView(BarFile& f, const std::string& input, const ViewOptions& options) {
    fenxi::Bars bars{f.bars, f.unit};
    json data;
    data["title"] = fs::path(input).filename().string() + (f.code.empty() ? "" : " " + f.code);
    data["unit"] = f.unit;
    data["intraday"] = Intraday(f);
    data["bars"] = json::parse(BarColumns(f, 0, f.bars.size()));  // columns, as fenxi serve sends them
    data["overlays"] = json::array();
    const fenxi::FormulaLibrary& library =
        options.library != nullptr ? *options.library : fenxi::FormulaLibrary::Shipped();
    for (const std::string& item : options.lines) data["overlays"].push_back(LinesOf(item, bars, library));
    data["panes"] = json::array();
    for (const std::string& item : options.panes) data["panes"].push_back(LinesOf(item, bars, library));
    const fs::path assets = FindAssets(options.assets, "view.js");  // after the names: a wrong name is a usage error first
    Systems(bars, f, data["points"], data["tips"]);
    data["tactics"] = TacticsJson(bars);
    data["charts"] = Charts(f);

    const std::string output = options.output.empty() ? fs::path(input).stem().string() + ".html" : options.output;
    std::ofstream page(output, std::ios::binary);
    if (!page) throw std::runtime_error(output + ": cannot write the page");
    page << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>fenxi: "
         << data["title"].get<std::string>() << "</title>\n<style>\n" << Slurp(assets / "view.css") << "</style>\n"
         << "</head>\n<body>\n<div id=\"app\"></div>\n"
         << "<script>\n" << ChartLibrary(assets) << "\n</script>\n"
         << "<script id=\"fenxi-data\" type=\"application/json\">" << Embedded(data.dump()) << "</script>\n"
         << "<script>\n" << Slurp(assets / "view.js") << "\n</script>\n</body>\n</html>\n";
    if (!page) throw std::runtime_error(output + ": cannot write the page");
    return output;
}

}  // namespace fenxi_cli
