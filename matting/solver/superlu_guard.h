// Keeps SuperLU's failed allocations from ending the process.
//
// Where SuperLU 5 cannot get memory it prints a line and exits, or dereferences the null pointer.
// The guard supplies superlu_malloc, superlu_free and superlu_abort_and_exit in place of SuperLU's
// own: inside a guarded call a failed allocation jumps back to its start, and every block SuperLU
// still holds is freed. Outside, they behave as SuperLU's. Beside a shared SuperLU the guard is a
// shared object of its own; beside a static one (DSCM_SUPERLU_STATIC) it is hidden inside the
// library.
#pragma once

#include "ff/api.h"

#ifdef DSCM_SUPERLU_STATIC
#define DSCM_GUARD_API
#else
#define DSCM_GUARD_API DSCM_API
#endif

// Runs call(argument), which may use SuperLU and must not let C++ exceptions out nor hold C++
// objects that need destroying while SuperLU runs. True when it returned; false when SuperLU ran
// out of memory or gave up. Either way everything SuperLU allocated inside is freed afterwards.
// Calls on distinct threads do not disturb each other.
DSCM_GUARD_API bool superlu_guarded_call(void (*call)(void*), void* argument);
