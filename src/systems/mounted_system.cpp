// The signal system mounted on an engine. Until the signal systems exist an
// engine never has one mounted; release accepts the null it holds.
#include "core/engine_state.h"

namespace fenxi {

struct MountedSystem {};

void ReleaseMountedSystem(MountedSystem* system) { delete system; }

}  // namespace fenxi
