// What a harness is made of: numbers and rasters drawn from the fuzzer's input.
//
// An input that has run out goes on with zeros, so that every file is a valid one. What a kept
// input stands for depends on the order of drawing; since the order of arguments is the compiler's,
// at most one of a call may be drawn.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

using u8 = unsigned char;

// A fault that no sanitizer sees.
inline void require(bool holds) {
    if (!holds) std::abort();
}

class Input {
  public:
    Input(const u8* data, std::size_t size) : data_(data), size_(size) {}

    bool empty() const { return size_ == 0; }
    u8 byte() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }
    template <class T>
    T raw() {
        T value{};
        const std::size_t count = std::min(sizeof value, size_);
        if (count > 0) std::memcpy(&value, data_, count);
        data_ += count, size_ -= count;
        return value;
    }
    // Spans up to 256 values.
    int between(int lo, int hi) { return lo + byte() % (hi - lo + 1); }
    bool rarely() { return byte() % 16 == 15; }
    // Any value; mostly one of the size of what harnesses work on.
    int number() {
        constexpr int lowest = std::numeric_limits<int>::min(), highest = -(lowest + 1);
        constexpr int odd[] = {lowest, lowest + 1, highest, highest - 1, 1 << 30, 1 << 16, 46341};
        const int kind = byte();
        return kind < 192 ? kind - 32 : kind < 199 ? odd[kind - 192] : raw<int>();
    }
    double real() {
        using limits = std::numeric_limits<double>;
        constexpr double odd[] = {
            limits::quiet_NaN(), limits::infinity(), -limits::infinity(), limits::max(), 1e30,
            limits::denorm_min()};
        const int kind = byte();
        return kind < 128 ? kind / 16.0 - 1.0 : kind < 134 ? odd[kind - 128] : raw<double>();
    }

  private:
    const u8* data_;
    std::size_t size_;
};

// A heap block that ends with the last sample of its last row, so that the address sanitizer sees
// the first one beyond it. Rows are padded; the destructor checks that the padding was left alone.
template <class T>
struct Raster {
    static constexpr T pattern = T(0xA5);
    static constexpr int no_border[4] = {0, 0, 0, 0};
    const int w, h;  // pixels
    const int row;   // samples, without the padding
    const int step;  // samples a row, with it
    const int first;
    mutable std::vector<T> samples;

    // Up to 7 samples between rows; `border` pixels (left, top, right, bottom) around the w x h, at
    // whose first this points. Filled with blocks of one value each, from one sample up, or sample
    // by sample from the input. Sizes below 1 make a block of one sample.
    Raster(Input& in, int width, int height, int channels = 1, const int* border = no_border)
        : w(width),
          h(height),
          row((std::max(w, 1) + border[0] + border[2]) * channels),
          step(row + in.byte() % 8),
          first(border[1] * step + border[0] * channels),
          samples(std::size_t((std::max(h, 1) + border[1] + border[3] - 1) * step + row), pattern) {
        const int kind = in.byte() % 4, side = 1 + in.byte() % 16, seed = in.byte();
        for (int i = 0; i < int(samples.size()); ++i) {
            if (is_padding(i)) continue;
            const int block = i / step / side * 256 + i % step / side;
            const unsigned noise = unsigned(block + seed) * 2654435761u;
            const u8 usual[] = {0, 128, 255, 255};
            const u8 flat[] = {u8(seed), u8(noise >> 24), usual[noise >> 30]};
            samples[std::size_t(i)] = T(kind < 3 ? flat[kind] : in.byte());
        }
    }
    Raster(const Raster&) = delete;
    ~Raster() {
        for (int i = 0; i < int(samples.size()); ++i)
            require(!is_padding(i) || samples[std::size_t(i)] == pattern);
    }
    bool is_padding(int i) const { return i % step >= row; }
    operator T*() const { return samples.data() + first; }
    T* or_null(Input& in) const { return in.rarely() ? nullptr : samples.data() + first; }
};

// How a raster stands in an argument list: with its size or without.
#define SIZED(r) r, r.w, r.h, r.step
#define ROWS(r) r, r.step
