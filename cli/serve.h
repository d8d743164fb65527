// fenxi serve: a local chart app over a folder of bar files, with a JSON API
// for securities, bars, lines, formulas, screens and live bars
// (docs/serve.md).
#pragma once

#include <string>

#include "fenxi/formula.h"

namespace fenxi_cli {

struct ServeOptions {
    std::string dir;                // the folder of *.csv bar files
    std::string host = "127.0.0.1"; // only this machine unless told otherwise
    int port = 8600;
    std::string assets;             // where app.js and the chart library are; empty finds them
    const fenxi::FormulaLibrary* library = nullptr;  // null: the shipped entries
};

// Serves until SIGINT or SIGTERM; says where on stderr. Where the tool was
// built without an HTTP library it says so and returns 2.
int Serve(const ServeOptions& options);

}  // namespace fenxi_cli
