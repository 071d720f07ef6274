// Buffers are made by holding several at once and giving them back. Others may be in use meanwhile,
// so that there come to be at least as many as are held. Whether they fit is asked of the system
// first; the lock keeps other solves, though not other code, from taking the answer away.
#include "matting/solver/blas_buffer.h"

#include <sys/mman.h>

#include <cstddef>
#include <mutex>

// OpenBLAS's own, null with any other BLAS.
extern "C" {
__attribute__((weak)) void* blas_memory_alloc(int unused);
__attribute__((weak)) void blas_memory_free(void* buffer);
}

namespace matting {
namespace {

std::mutex mutex;
int solves = 0;   // that hold a claim
int buffers = 0;  // that OpenBLAS has at least

// The largest buffer of any processor, and what the C library and OpenBLAS add to it.
constexpr std::size_t buffer_bytes = 129u << 20;

bool room_for(int count) {
    const std::size_t bytes = std::size_t(count) * buffer_bytes;
    void* const p =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) return false;
    munmap(p, bytes);
    return true;
}

void hold_at_once(int count) {
    void* const buffer = blas_memory_alloc(0);
    if (count > 1) hold_at_once(count - 1);
    blas_memory_free(buffer);
}

}  // namespace

blas_buffer::blas_buffer() {
    const std::lock_guard<std::mutex> lock(mutex);
    ++solves;
    const bool is_openblas = blas_memory_alloc && blas_memory_free;
    if (is_openblas && buffers < solves && room_for(solves)) {
        hold_at_once(solves);
        buffers = solves;
    }
    is_there_ = !is_openblas || buffers >= solves;
}

blas_buffer::~blas_buffer() {
    const std::lock_guard<std::mutex> lock(mutex);
    --solves;
}

}  // namespace matting
