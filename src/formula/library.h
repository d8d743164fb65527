// Compiling texts and formula files: parsing, resolving NAME.LINE
// references against the library and the registry, refusing cycles, and
// lowering with the parameters' defaults.
#pragma once

#include <memory>
#include <string_view>

#include "formula/program.h"

namespace fenxi::formula {

constexpr std::size_t kMaxFileBytes = 16u << 20;

// A formula text, compiled against `library` (may be null).
std::shared_ptr<const Compiled> CompileText(std::string_view text, const FormulaLibrary* library);

}  // namespace fenxi::formula
