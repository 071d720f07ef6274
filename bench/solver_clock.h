// Times SuperLU's driver from the outside.
#pragma once

namespace bench {

// Seconds that the process has spent inside dgssvx.
double solver_seconds();

}  // namespace bench
