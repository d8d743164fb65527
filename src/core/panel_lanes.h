// The lane width of panels, and a way for tests to pick each route.
#pragma once

namespace fenxi::detail {

// Forces panels to `width` lanes (1, 2, 4 or 8; the widest the build and
// CPU lack falls back to the next) or, with 0, restores the detected width.
void ForcePanelLanes(int width);

}  // namespace fenxi::detail
