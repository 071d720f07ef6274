// Rasters for tests. A GuardedRaster is a heap block that ends with the last sample of its last
// row, so that the address sanitizer sees the first one read or written beyond it; the padding
// between its rows is filled with a pattern that the destructor checks.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

using u8 = unsigned char;
using Map = std::vector<u8>;

// Deterministic on every machine, unlike the distributions of <random>.
class Random {
  public:
    explicit Random(int seed) : state_(unsigned(seed) * 2654435761u + 1) {}
    int below(int n) {
        state_ ^= state_ << 13, state_ ^= state_ >> 17, state_ ^= state_ << 5;
        return int(state_ % unsigned(n));
    }
    int between(int lo, int hi) { return lo + below(hi - lo + 1); }

  private:
    unsigned state_;
};

// width samples a row, `pad` more between rows; everything starts as the pattern. stride counts
// samples.
template <class T>
class GuardedRaster {
  public:
    static constexpr T pattern = T(0xA5A5A5A5);
    using Source = std::function<int(int x, int y)>;

    GuardedRaster(int width, int height, int pad, const Source& source = nullptr)
        : w(width), h(height), stride(width + pad) {
        std::fill_n(p_.get(), count_, pattern);
        if (source) fill(source);
    }
    ~GuardedRaster() {
        int damage = 0;
        for (int i = 0; i < count_; ++i) damage += i % stride >= w && p_[i] != pattern;
        EXPECT_EQ(damage, 0) << "samples between the rows were written";
    }
    void fill(const Source& source) {
        each([&](int x, int y) { (*this)(x, y) = T(source(x, y)); });
    }
    template <class F>
    void each(F f) const {
        for (int i = 0; i < w * h; ++i) f(i % w, i / w);
    }
    // The samples without the padding, for comparisons.
    std::vector<T> payload() const {
        std::vector<T> all;
        each([&](int x, int y) { all.push_back(p_[y * stride + x]); });
        return all;
    }
    T& operator()(int x, int y) const { return p_[y * stride + x]; }
    operator T*() const { return p_.get(); }

    const int w, h, stride;

  private:
    const int count_ = (h - 1) * stride + w;
    const std::unique_ptr<T[]> p_{new T[count_]};
};
using Bytes = GuardedRaster<u8>;
using Ints = GuardedRaster<int>;

// What a kw x kh window around (x, y) sees of a w x h picture that continues by `allowance` samples
// (left, top, right, bottom).
struct Window {
    template <class Sample>
    Window(const Sample& sample, int w, int h, int x, int y, int kw, int kh, const int* allowance) {
        for (int v = std::max(y - kh / 2, -allowance[1]);
             v <= std::min(y + kh / 2, h - 1 + allowance[3]); ++v) {
            for (int u = std::max(x - kw / 2, -allowance[0]);
                 u <= std::min(x + kw / 2, w - 1 + allowance[2]); ++u, ++count) {
                const int s = sample(u, v);
                sum += s, least = std::min(least, s), most = std::max(most, s);
            }
        }
    }
    Window(const Bytes& src, int x, int y, int k) : Window(src, src.w, src.h, x, y, k, k, none) {}
    int mean() const { return (sum + count / 2) / count; }
    static constexpr int none[4] = {0, 0, 0, 0};
    int sum = 0, count = 0, least = 255, most = 0;
};

inline Bytes::Source noise(Random& random, int lo = 0, int hi = 255) {
    return [&random, lo, hi](int, int) { return random.between(lo, hi); };
}
