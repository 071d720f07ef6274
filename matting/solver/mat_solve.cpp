// Pins the known pixels of an assembled system, solves it, writes the bytes and takes the pins off.
#include "matting/solver/mat_solve.h"

#include <cstddef>
#include <cstdio>

#include "ff/scratch.h"
#include "matting/solver/alpha_byte.h"
#include "matting/solver/sparse_solve.h"

namespace {

using namespace matting;
using u8 = unsigned char;

constexpr u8 unknown_value = 128;
constexpr u8 ring_flag = 1, known_flag = 2;

double& diagonal(mat_data& data, int k) { return data.values[data.col_ptr[k] - 1]; }

double pinned(u8 value) { return double(value * int(constraint_weight)) / 255.0; }

// The known pixels of a system, pinned as long as this lives: their weight comes off by subtraction
// on every way out.
class constraints {
  public:
    constraints(mat_data& data, const u8* trimap, const u8* alpha) : data_(data), trimap_(trimap) {
        if (masked())
            pin_masked(alpha);
        else
            pin_whole();
    }
    ~constraints() {
        for (int k = 0; k < data_.n; ++k) {
            if (masked()) {
                if (data_.unknown_flags[k] != 0) diagonal(data_, k) -= constraint_weight;
                data_.unknown_flags[k] &= u8(~known_flag);
            } else if (trimap_[k] != unknown_value) {
                diagonal(data_, k) -= constraint_weight;
            }
        }
    }
    constraints(const constraints&) = delete;
    constraints& operator=(const constraints&) = delete;

  private:
    bool masked() const { return data_.unknown_flags && data_.unknown_pixels; }

    void pin(int k, u8 value) {
        diagonal(data_, k) += constraint_weight;
        data_.rhs[k] = pinned(value);
    }

    // Ring pixels are pinned to the current alpha, known ones to their trimap byte. A known ring
    // pixel's flag is overwritten: it ends without its ring mark, which is wanted.
    void pin_masked(const u8* alpha) {
        for (int k = 0; k < data_.n; ++k) {
            const int p = data_.unknown_pixels[k];
            if (trimap_[p] != unknown_value) {
                pin(k, trimap_[p]);
                data_.unknown_flags[k] = known_flag;
            } else if (data_.unknown_flags[k] == ring_flag) {
                pin(k, alpha[p]);
            } else {
                data_.rhs[k] = 0.0;
            }
        }
    }

    void pin_whole() {
        for (int k = 0; k < data_.n; ++k) {
            data_.rhs[k] = 0.0;
            if (trimap_[k] != unknown_value) pin(k, trimap_[k]);
        }
    }

    mat_data& data_;
    const u8* trimap_;
};

}  // namespace

int mat_run(mat_data& data, const unsigned char* trimap, unsigned char* alpha, unsigned char*) {
    std::printf("\nnp=%d", data.n);
    const bool has_system = data.values && data.rhs && data.col_ptr && data.row_ind;
    if (data.n < 1 || !has_system || !trimap || !alpha) return 0;
    const auto x = ff::make_scratch<double>(data.n);
    for (int k = 0; k < data.n; ++k)
        x[std::size_t(k)] = alpha[data.unknown_pixels ? data.unknown_pixels[k] : k] * byte_to_unit;

    const constraints pinned_while_solving(data, trimap, alpha);
    const int result =
        mn_sparse_solve_d(data.values, data.row_ind, data.col_ptr, data.n, 4, data.rhs, x.get());
    if (result >= 0) _mat_get_alpha(alpha, x.get(), data.unknown_pixels, data.n);
    return result;
}

unsigned char* _mat_get_alpha(unsigned char* alpha, const double* x, const int* pixel_of, int n) {
    if (!alpha || !x) return alpha;
    for (int k = 0; k < n; ++k) {
        const u8 value = clamp_to_byte(x[k] * 255.0 + 0.5);
        if (pixel_of)
            alpha[pixel_of[k]] = value;
        else
            *alpha++ = value;
    }
    return alpha;
}
