// Counts what the program takes from the global operator new, and makes it fail on demand, as it
// does malloc, also the guard's for SuperLU. Only in programs that compile counted_allocations.cpp
// and are linked with --wrap=malloc.
#pragma once

struct CountedAllocations {
    static long live;           // blocks of new not yet released
    static long until_failure;  // so many succeed, then one fails; negative: none fails
};
