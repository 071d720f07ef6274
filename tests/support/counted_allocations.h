// Counts what the program takes from the global operator new, and makes it fail on demand. Only in
// programs that compile counted_allocations.cpp.
#pragma once

struct CountedAllocations {
    static long live;           // blocks not yet released
    static long until_failure;  // so many succeed, then one throws; negative: none fails
};
