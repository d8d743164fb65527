// A request `fenxi serve` refuses: the HTTP status and a message, with the
// line and column of a formula text's error (0 where there is none).
#pragma once

#include <stdexcept>
#include <string>

namespace fenxi_cli {

struct HttpError : std::runtime_error {
    HttpError(int status, const std::string& message, int line = 0, int column = 0)
        : std::runtime_error(message), status(status), line(line), column(column) {}
    int status;
    int line, column;
};

}  // namespace fenxi_cli
