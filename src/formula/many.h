// Formulas over several securities at once, for panels.
#pragma once

#include <span>
#include <vector>

#include "fenxi/formula.h"
#include "fenxi/panel.h"

namespace fenxi::formula {

// Each security of `group` (at most 8) as Formula::Run gives it, into
// lines[j * outputs + k] (room for security j's bars); the group's EMA and
// SMA recurrences step in vector lanes. A security whose bars are refused
// is left unwritten; the result holds each security's refusal.
std::vector<FormulaPanelError> RunGroup(const Formula& f, std::span<const Bars* const> group,
                                        const FormulaArgs& args, std::span<double* const> lines);

}  // namespace fenxi::formula
