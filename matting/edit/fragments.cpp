// Removal of small components and resolution of unknown fragments, all by labelling a map of a few
// values and deciding per component. Scratch: 5 bytes a pixel, 8 a run and a few per component.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <new>
#include <vector>

#include "ff/components_color.h"
#include "ff/scratch.h"
#include "matting/edit/cleanup.h"

namespace {

using u8 = unsigned char;
using byte_table = std::array<u8, 256>;

constexpr u8 unknown_value = 128;

// The components of a map after it went through a table.
struct components {
    ff::scratch<u8> map;      // contiguous
    ff::scratch<int> labels;  // contiguous
    int count;

    components(const u8* src, int width, int height, int stride, const byte_table& table)
        : map(ff::make_scratch<u8>(width, height)), labels(ff::make_scratch<int>(width, height)) {
        u8* out = map.get();
        for (int y = 0; y < height; ++y, src += stride)
            for (int x = 0; x < width; ++x) *out++ = table[src[x]];
        count = ff::ipf_connected_component(map.get(), width, height, width, labels.get(), width);
        if (count == 0) throw std::bad_alloc();
    }
};

struct component_size {
    u8 value = 0;
    std::uint32_t count = 0;
};

// The keep-th largest size among the components of value 255; 0 when there are no more than that.
std::uint32_t smallest_kept(const std::vector<component_size>& sizes, int keep) {
    std::vector<std::uint32_t> foreground;
    for (const auto& c : sizes)
        if (c.value) foreground.push_back(c.count);
    if (foreground.size() <= std::size_t(keep)) return 0;
    const auto nth = foreground.begin() + (keep - 1);
    std::nth_element(foreground.begin(), nth, foreground.end(), std::greater<>());
    return *nth;
}

// Class codes of mat_erase_unknown_fragment: single bits, so that neighbours can be OR-ed.
enum class_code : u8 { background = 1, unknown = 2, intermediate = 4, foreground = 8 };

byte_table class_table(u8 lo, u8 hi) {
    byte_table table;
    for (int v = 0; v < 256; ++v)
        table[std::size_t(v)] = v == unknown_value ? unknown
                                : v < lo           ? background
                                : v > hi           ? foreground
                                                   : intermediate;
    return table;
}

// What an unknown component becomes, from the classes of the direct neighbours of its interior
// pixels (low four bits) and its own class (high four bits, 0 when it has no interior pixel).
u8 verdict(u8 seen) {
    if (!(seen & (unknown << 4))) return seen;
    const int around = seen & (background | intermediate | foreground);
    return around == background ? 0 : around == foreground ? 255 : unknown_value;
}

}  // namespace

void vm_erase_small_cc(unsigned char* alpha, int width, int height, int stride,
                       unsigned char threshold, int keep) {
    if (!alpha || width < 1 || height < 1 || keep < 1) return;
    byte_table table;
    table.fill(255);
    // As a byte, threshold + 1 wraps to 0 at 255: then everything is foreground.
    std::fill_n(table.begin(), u8(threshold + 1), u8(0));
    const components parts(alpha, width, height, stride, table);

    std::vector<component_size> sizes(std::size_t(parts.count), component_size());
    const std::ptrdiff_t pixels = std::ptrdiff_t(width) * height;
    for (std::ptrdiff_t i = 0; i < pixels; ++i) {
        component_size& c = sizes[std::size_t(parts.labels[std::size_t(i)])];
        c.value = parts.map[std::size_t(i)];
        ++c.count;
    }
    const std::uint32_t least = smallest_kept(sizes, keep);
    if (least == 0) return;
    const int* label = parts.labels.get();
    for (int y = 0; y < height; ++y, alpha += stride)
        for (int x = 0; x < width; ++x) {
            const component_size& c = sizes[std::size_t(*label++)];
            if (c.value && c.count < least) alpha[x] = 0;
        }
}

void mat_remove_isolated(const unsigned char* src, int width, int height, int src_stride,
                         const unsigned char* ref, int ref_stride, unsigned char* dst,
                         int dst_stride, int threshold) {
    if (!src || !ref || !dst || width < 1 || height < 1) return;
    threshold = std::clamp(threshold, 0, 255);
    byte_table table;
    table.fill(1);
    std::fill_n(table.begin(), threshold, u8(0));
    const components parts(src, width, height, src_stride, table);

    std::vector<u8> supported(std::size_t(parts.count), 0);
    const int* label = parts.labels.get();
    for (int y = 0; y < height; ++y, ref += ref_stride)
        for (int x = 0; x < width; ++x, ++label)
            if (ref[x] != unknown_value && ref[x] > threshold) supported[std::size_t(*label)] = 1;

    label = parts.labels.get();
    for (int y = 0; y < height; ++y, src += src_stride, dst += dst_stride)
        for (int x = 0; x < width; ++x, ++label)
            dst[x] = supported[std::size_t(*label)] ? src[x] : 0;
}

void mat_erase_unknown_fragment(unsigned char* trimap, int width, int height, int stride,
                                unsigned char lo, unsigned char hi) {
    if (!trimap || width < 1 || height < 1) return;
    const components parts(trimap, width, height, stride, class_table(lo, hi));
    std::vector<u8> seen(std::size_t(parts.count), 0);
    for (int y = 1; y < height - 1; ++y)
        for (int x = 1; x < width - 1; ++x) {
            const std::ptrdiff_t at = std::ptrdiff_t(y) * width + x;
            const u8* c = parts.map.get() + at;
            seen[std::size_t(parts.labels[std::size_t(at)])] |=
                u8(c[-1] | c[1] | c[-width] | c[width] | (*c << 4));
        }
    std::transform(seen.begin(), seen.end(), seen.begin(), verdict);
    const int* label = parts.labels.get();
    for (int y = 0; y < height; ++y, trimap += stride)
        for (int x = 0; x < width; ++x, ++label)
            if (trimap[x] == unknown_value) trimap[x] = seen[std::size_t(*label)];
}
