// See the header. The blocks a call holds are kept in a list of their own rather than behind a
// header in each block, so that blocks may be freed outside of the guard and those of other users
// of SuperLU in the same process stay what they were. A solve holds a few dozen blocks at a time.
#include "matting/solver/superlu_guard.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct session {
    std::jmp_buf start;
    void** blocks = nullptr;  // malloc'ed by SuperLU and not freed yet
    std::size_t count = 0;
    std::size_t capacity = 0;
};

thread_local session* current = nullptr;

// Makes room for one more block; false when there is none.
bool reserve(session& s) {
    if (s.count < s.capacity) return true;
    const std::size_t wanted = s.capacity + 256;
    void* grown = std::realloc(s.blocks, wanted * sizeof(void*));
    if (!grown) return false;
    s.blocks = static_cast<void**>(grown);
    s.capacity = wanted;
    return true;
}

void forget(session& s, const void* block) {
    for (std::size_t i = s.count; i-- > 0;)
        if (s.blocks[i] == block) {
            s.blocks[i] = s.blocks[--s.count];
            return;
        }
}

}  // namespace

// SuperLU's names, with the types SuperLU gives them; in a static SuperLU the linker turns calls of
// `name` into calls of `__wrap_name`.
#ifdef DSCM_SUPERLU_STATIC
#define DSCM_GUARD(name) __wrap_##name
#else
#define DSCM_GUARD(name) name
#endif

extern "C" {
DSCM_GUARD_API void* DSCM_GUARD(superlu_malloc)(std::size_t size);
DSCM_GUARD_API void DSCM_GUARD(superlu_free)(void* block);
DSCM_GUARD_API void DSCM_GUARD(superlu_abort_and_exit)(const char* message);
}

void* DSCM_GUARD(superlu_malloc)(std::size_t size) {
    session* s = current;
    if (!s) return std::malloc(size);
    void* block = reserve(*s) ? std::malloc(size ? size : 1) : nullptr;
    if (!block) std::longjmp(s->start, 1);
    s->blocks[s->count++] = block;
    return block;
}

void DSCM_GUARD(superlu_free)(void* block) {
    if (current) forget(*current, block);
    std::free(block);
}

void DSCM_GUARD(superlu_abort_and_exit)(const char* message) {
    if (current) std::longjmp(current->start, 1);
    std::fputs(message, stderr);
    std::exit(-1);
}

#ifdef DSCM_SUPERLU_STATIC
// These call superlu_malloc from the file that defines it, where the linker does not turn calls
// over. They are given the count of ints; SuperLU 5 has the first two. SetIWork, in the same file,
// is left alone: up to two of its arrays are lost when memory runs out right after it.
extern "C" {
int* __wrap_intMalloc(int count);
int* __wrap_intCalloc(int count);
int* __wrap_int32Malloc(int count);
int* __wrap_int32Calloc(int count);
}

int* __wrap_int32Malloc(int count) {
    int* ints = static_cast<int*>(__wrap_superlu_malloc(std::size_t(count) * sizeof(int)));
    if (!ints) __wrap_superlu_abort_and_exit("out of memory");
    return ints;
}

int* __wrap_int32Calloc(int count) {
    int* ints = __wrap_int32Malloc(count);
    std::memset(ints, 0, std::size_t(count) * sizeof(int));
    return ints;
}

int* __wrap_intMalloc(int count) { return __wrap_int32Malloc(count); }
int* __wrap_intCalloc(int count) { return __wrap_int32Calloc(count); }
#endif

bool superlu_guarded_call(void (*call)(void*), void* argument) {
    session s;
    session* const outer = current;
    volatile bool finished = false;
    if (setjmp(s.start) == 0) {
        current = &s;
        call(argument);
        finished = true;
    }
    current = outer;
    for (std::size_t i = 0; i < s.count; ++i) std::free(s.blocks[i]);
    std::free(s.blocks);
    return finished;
}
