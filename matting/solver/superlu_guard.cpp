// See the header. The blocks a call holds are kept in a list of their own rather than behind a
// header in each block, so that blocks may be freed outside of the guard and those of other users
// of SuperLU in the same process stay what they were. A solve holds a few dozen blocks at a time.
#include "matting/solver/superlu_guard.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

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

// SuperLU's names, with the types SuperLU gives them.
extern "C" {
DSCM_API void* superlu_malloc(std::size_t size);
DSCM_API void superlu_free(void* block);
DSCM_API void superlu_abort_and_exit(char* message);
}

void* superlu_malloc(std::size_t size) {
    session* s = current;
    if (!s) return std::malloc(size);
    void* block = reserve(*s) ? std::malloc(size ? size : 1) : nullptr;
    if (!block) std::longjmp(s->start, 1);
    s->blocks[s->count++] = block;
    return block;
}

void superlu_free(void* block) {
    if (current) forget(*current, block);
    std::free(block);
}

void superlu_abort_and_exit(char* message) {
    if (current) std::longjmp(current->start, 1);
    std::fputs(message, stderr);
    std::exit(-1);
}

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
