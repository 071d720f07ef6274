// The image object and the registry of tracked heap blocks.
#include "ff/image.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include "ff/raster.h"
#include "ff/scratch.h"

namespace ff {
namespace {

constexpr int empty_format = 0x111;
constexpr int owned = 1, lock_bits = 0xff00;  // flags

std::int64_t row_bytes_of(int format, int width) {
    const int channels = (format >> 8) & 0xff;
    const int depth = (format >> 4) & 0xf;
    return std::int64_t(depth) * std::max(width, 0) * channels;
}

int checked_stride(std::int64_t bytes) {
    if (bytes > INT_MAX) throw std::bad_alloc();
    return int(bytes);
}

// Blocks from ff_galloc and what to call after they are gone. Freed slots stay, as null, until a
// later block takes them.
struct registry {
    std::vector<void*> blocks;
    std::size_t free_slots = 0;
    std::vector<void (*)()> cleanups;
};

registry& tracked() {
    static registry instance;
    return instance;
}

}  // namespace

FVTImage::FVTImage()
    : data(nullptr), width(0), height(0), stride(0), format(empty_format), flags(0) {}

FVTImage::FVTImage(int w, int h, int fmt, int align) : FVTImage() { Reset(w, h, fmt, align); }

FVTImage::FVTImage(const FVTImage& other) : FVTImage() { *this = other; }

FVTImage::~FVTImage() { Clear(); }

FVTImage& FVTImage::operator=(const FVTImage& other) {
    if (this == &other) return *this;
    if (!other.data) {
        Clear();
        format = other.format;
        return *this;
    }
    FVTImage copy;
    copy.StepReset(other.width, other.height, other.format, other.stride);
    ipf_memcpy_2d(other.data, int(row_bytes_of(other.format, other.width)), other.height,
                  other.stride, copy.data, copy.stride);
    Swap(copy);
    return *this;
}

void FVTImage::StepReset(int w, int h, int fmt, int row_stride) {
    w = std::max(w, 0);
    h = std::max(h, 0);
    row_stride = std::max(row_stride, checked_stride(row_bytes_of(fmt, w)));
    unsigned char* fresh = make_scratch<unsigned char>(row_stride, h).release();
    Clear();
    data = fresh;
    width = w;
    height = h;
    stride = row_stride;
    format = fmt;
    flags = owned;
}

void FVTImage::Reset(int w, int h, int fmt, int align) {
    const std::int64_t bytes = row_bytes_of(fmt, w);
    const std::int64_t unit = std::max(align, 1);
    StepReset(w, h, fmt, checked_stride((bytes + unit - 1) / unit * unit));
}

void FVTImage::ResetIf(int w, int h, int fmt) {
    if (w != width || h != height || fmt != format) Reset(w, h, fmt, 4);
}

void FVTImage::Attach(void* pixels, int w, int h, int fmt, int row_stride) {
    Clear();
    data = static_cast<unsigned char*>(pixels);
    width = w;
    height = h;
    stride = row_stride;
    format = fmt;
}

void FVTImage::AttachROI(const FVTImage& src, const RectT<int>& r) {
    const int x0 = std::max(r.x, 0), y0 = std::max(r.y, 0);
    const auto end = [](int first, int length, int limit) {
        return int(std::clamp<std::int64_t>(std::int64_t(first) + length, 0, std::max(limit, 0)));
    };
    const int x1 = end(r.x, r.width, src.width), y1 = end(r.y, r.height, src.height);
    if (!src.data || x0 >= x1 || y0 >= y1) return;
    unsigned char* corner =
        src.data + std::ptrdiff_t(y0) * src.stride + std::ptrdiff_t(row_bytes_of(src.format, x0));
    Attach(corner, x1 - x0, y1 - y0, src.format, src.stride);
}

void FVTImage::Reshape(int w, int h) { Reset(w, h, format, 4); }

void FVTImage::Lock(int bits) { flags |= bits & lock_bits; }

void FVTImage::Unlock(int bits) { flags &= ~(bits & lock_bits); }

bool FVTImage::IsExternData() const { return (flags & owned) == 0; }

void FVTImage::Swap(FVTImage& other) {
    std::swap(data, other.data);
    std::swap(width, other.width);
    std::swap(height, other.height);
    std::swap(stride, other.stride);
    std::swap(format, other.format);
    std::swap(flags, other.flags);
}

void FVTImage::Clear() {
    if (!IsExternData()) delete[] data;
    data = nullptr;
    width = height = stride = flags = 0;
    format = empty_format;
}

void* ff_alloc(unsigned long size) { return new unsigned char[size]; }

void ff_free(void* p) { delete[] static_cast<unsigned char*>(p); }

void* ff_galloc(unsigned long size) {
    registry& r = tracked();
    if (r.blocks.size() == r.blocks.capacity()) r.blocks.reserve(r.blocks.size() + 100);
    void* p = ff_alloc(size);
    if (r.free_slots > 0) {
        *std::find(r.blocks.begin(), r.blocks.end(), nullptr) = p;
        --r.free_slots;
    } else {
        r.blocks.push_back(p);
    }
    return p;
}

void ff_gfree(void* p) {
    if (!p) return;
    registry& r = tracked();
    const auto slot = std::find(r.blocks.begin(), r.blocks.end(), p);
    if (slot != r.blocks.end()) {
        *slot = nullptr;
        ++r.free_slots;
    }
    ff_free(p);
}

void ff_add_gfree_func(void (*func)()) {
    if (!func) return;
    auto& list = tracked().cleanups;
    if (list.size() == list.capacity()) list.reserve(list.size() + 100);
    list.push_back(func);
}

void ff_gfree_all() {
    registry& r = tracked();
    for (void* p : r.blocks) ff_free(p);
    std::vector<void*>().swap(r.blocks);
    r.free_slots = 0;
    for (std::size_t i = 0; i < r.cleanups.size(); ++i) {
        try {
            r.cleanups[i]();
        } catch (...) {  // one clean-up's failure must not keep the others from running
        }
    }
}

void enable_memory_leak_report(bool) {}

ff_mem::ff_mem() : mem_(nullptr) {}

ff_mem::~ff_mem() { ff_free(mem_); }

void ff_mem::set_mem(void* p) {
    ff_free(mem_);
    mem_ = p;
}

}  // namespace ff
