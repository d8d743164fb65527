// The formula files shipped with fenxi (formulas/*.fx), built into the
// library as text so that they load without finding files.
#pragma once

namespace fenxi::formula {

struct ShippedFile {
    const char* name;  // "formulas/candles.fx": errors and entries name it
    const char* text;
};

extern const ShippedFile kShippedFiles[];
extern const int kShippedFileCount;

}  // namespace fenxi::formula
