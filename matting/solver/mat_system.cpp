// Assembly over the unknown pixels of a mask.
//
// Around the mask's bounding box lies a working rectangle; all planes here cover it. The unknowns
// of the system are the mask's pixels and the known ring around them, through which known alpha
// enters. Rows of windows are weighed where they touch a column that is built afresh, from top to
// bottom; the sums of a row of pixels become columns as soon as the row of windows below is in.
// Each diagonal is the sum of its row's weights, so every row sums to zero. Rows are walked in runs
// of unknowns. Cost: one window per working pixel near an unknown, a byte or two per other pixel.
#include "matting/solver/mat_system.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <new>

#include "ff/raster.h"
#include "ff/scratch.h"
#include "matting/solver/forward_sums.h"

namespace {

using namespace matting;
using ff::make_scratch;
using ff::scratch;
using u8 = unsigned char;

struct rectangle {
    int x0, y0, x1, y1;
    int width() const { return x1 - x0; }
    int height() const { return y1 - y0; }
};

// into: 1 where one of three rows is.
void merge_rows(const u8* a, const u8* b, const u8* c, int n, u8* into) {
    for (int x = 0; x < n; ++x) into[x] = a[x] | b[x] | c[x];
}

// out: in, and the 3 x 3 block around every marked (1) pixel that is not on the map's border.
void grow(const u8* in, int w, int h, u8* out) {
    const auto work = make_scratch<u8>(2, std::ptrdiff_t(w) + 2);
    std::fill_n(work.get(), 2 * (std::ptrdiff_t(w) + 2), u8(0));
    const u8* const none = work.get() + w + 2;
    u8* const column = work.get() + 1;  // from -1 to w; 0 on the border
    const auto row = [&](int y) { return y < 1 || y > h - 2 ? none : in + std::ptrdiff_t(y) * w; };
    for (int y = 0; y < h; ++y, out += w) {
        merge_rows(row(y - 1), row(y), row(y + 1), w, column);
        column[0] = column[w - 1] = 0;
        merge_rows(column - 1, column, column + 1, w, out);
        merge_rows(in + std::ptrdiff_t(y) * w, out, out, w, out);
    }
}

// Calls f(x0, x1) for the longest ranges [x0, x1) of 1 in a row of 0 and 1.
template <class F>
void for_each_run(const u8* row, int w, F f) {
    for (int x = 0; x < w;) {
        const void* begin = std::memchr(row + x, 1, std::size_t(w - x));
        if (!begin) return;
        const int x0 = int(static_cast<const u8*>(begin) - row);
        const void* end = std::memchr(begin, 0, std::size_t(w - x0));
        x = end ? int(static_cast<const u8*>(end) - row) : w;
        f(x0, x);
    }
}

// Calls f(s, number) for every forward neighbour s of the pixel at `own` in an index map.
template <class F>
inline void for_each_forward(const int* own, int stride, F f) {
    f(0, own[1]);
    f(1, own[2]);
    own += stride;
    for (int dx = -2; dx <= 2; ++dx) f(4 + dx, own[dx]);
    own += stride;
    for (int dx = -2; dx <= 2; ++dx) f(9 + dx, own[dx]);
}

// What was taken off the diagonals of a row and of the two below it so far; one entry a pixel, with
// two more on either side.
class diagonal_rows {
  public:
    explicit diagonal_rows(int w)
        : stride_(std::ptrdiff_t(w) + 4), sums_(make_scratch<double>(3, stride_)) {
        std::fill_n(sums_.get(), 3 * stride_, 0.0);
        for (int dy = 0; dy < 3; ++dy) rows_[dy] = sums_.get() + dy * stride_ + 2;
    }
    double* row(int dy) const { return rows_[dy]; }
    void next_row() {
        std::fill_n(rows_[0] - 2, stride_, 0.0);
        std::rotate(rows_, rows_ + 1, rows_ + 3);
    }

  private:
    std::ptrdiff_t stride_;
    scratch<double> sums_;
    double* rows_[3];
};

// Where an earlier record numbers the pixels of the picture.
class previous_numbers {
  public:
    explicit previous_numbers(const mat_data& record) : record_(record) {}

    bool any() const {
        return record_.roi[0] < record_.roi[2] && record_.roi[1] < record_.roi[3] &&
               record_.index_map && record_.values && record_.col_ptr && record_.row_ind;
    }
    // Those of n pixels from (x, y) on, -1 where it has none.
    void get(int x, int y, int n, int* numbers) const {
        const int* roi = record_.roi;
        std::fill_n(numbers, n, -1);
        const int x0 = std::max(x, roi[0]), x1 = std::min(x + n, roi[2]);
        if (x0 >= x1 || y < roi[1] || y >= roi[3]) return;
        const int* row =
            record_.index_map + std::ptrdiff_t(y - roi[1]) * record_.index_stride - roi[0];
        std::copy(row + x0, row + x1, numbers + (x0 - x));
    }

  private:
    const mat_data& record_;
};

class assembly {
  public:
    // box: of the mask's non-zero pixels.
    assembly(int width, int height, const u8* mask, int mask_stride, const int* box)
        : width_(width),
          height_(height),
          area_{std::max(box[0] - 4, 0), std::max(box[1] - 4, 0), std::min(width, box[2] + 4),
                std::min(height, box[3] + 4)},
          w_(area_.width()),
          h_(area_.height()) {
        mark_pixels(mask, mask_stride);
        number_unknowns(mask, mask_stride);
        make_pattern();
    }

    void reuse_columns(const mat_data& previous);
    void fill_values(const u8* image, int image_stride, const mat_data& previous);
    mat_data& record() { return record_; }

  private:
    void mark_pixels(const u8* mask, int mask_stride);
    void number_unknowns(const u8* mask, int mask_stride);
    void make_pattern();
    bool same_column(const mat_data& previous, int k, int p) const;
    void add_windows(forward_sums& sums, int y, u8* touched) const;
    int fill_row(int y, int k, const forward_sums& sums, const diagonal_rows& diagonals,
                 const mat_data& previous);

    std::ptrdiff_t at(int x, int y) const { return std::ptrdiff_t(y) * w_ + x; }
    int* index_row(int y) const {
        return record_.index_map + std::ptrdiff_t(y) * record_.index_stride;
    }

    const int width_, height_;
    const rectangle area_;
    const int w_, h_;  // of the working rectangle
    // Planes of the working rectangle, 0 or 1.
    scratch<u8> unknown_;  // to be solved, or known and beside such a pixel
    scratch<u8> centre_;   // off the border and beside an unknown that is off it, or one itself
    scratch<u8> fresh_;    // with a previous record: unknowns whose columns are not copied
    scratch<int> copied_;  // with a previous record: per unknown its column there, or -1
    mat_data record_;
};

void assembly::mark_pixels(const u8* mask, int mask_stride) {
    const auto marked = make_scratch<u8>(w_, h_);
    for (int y = 0; y < h_; ++y) {
        const u8* row = mask + std::ptrdiff_t(area_.y0 + y) * mask_stride + area_.x0;
        for (int x = 0; x < w_; ++x) marked[std::size_t(at(x, y))] = row[x] != 0;
    }
    unknown_ = make_scratch<u8>(w_, h_);
    centre_ = make_scratch<u8>(w_, h_);
    grow(marked.get(), w_, h_, unknown_.get());
    grow(unknown_.get(), w_, h_, centre_.get());
}

void assembly::number_unknowns(const u8* mask, int mask_stride) {
    const u8* unknown = unknown_.get();
    const auto n = std::count(unknown, unknown + std::ptrdiff_t(w_) * h_, u8(1));
    // Pixel indices and positions in the system are ints.
    if (std::ptrdiff_t(width_) * height_ > INT_MAX || n > INT_MAX / slot_count)
        throw std::bad_alloc();
    const int stride = w_ + 4;
    auto index = make_scratch<int>(stride, std::ptrdiff_t(h_) + 4);
    auto unknown_pixels = make_scratch<int>(n);
    auto flags = make_scratch<u8>(n);
    std::fill_n(index.get(), std::ptrdiff_t(stride) * (h_ + 4), -1);
    int* const map = index.get() + 2 * std::ptrdiff_t(stride) + 2;
    int k = 0;
    for (int y = 0; y < h_; ++y)
        for_each_run(unknown + at(0, y), w_, [&](int x0, int x1) {
            const u8* to_solve = mask + std::ptrdiff_t(area_.y0 + y) * mask_stride + area_.x0;
            for (int x = x0; x < x1; ++x, ++k) {
                map[std::ptrdiff_t(y) * stride + x] = k;
                // As many as were counted. NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete)
                unknown_pixels[std::size_t(k)] = (area_.y0 + y) * width_ + area_.x0 + x;
                flags[std::size_t(k)] = !to_solve[x];
            }
        });
    record_.create(k);
    const int roi[4] = {area_.x0, area_.y0, area_.x1, area_.y1};
    record_.set_mask_data(width_, height_, roi, index.release(), map, stride,
                          unknown_pixels.release(), k, flags.release(), k, nullptr);
}

// The 1-based rows of the forward neighbours that are unknowns; returns how many these are. Each is
// written, and overwritten by the next one where it is of no unknown.
inline int write_rows(const int* own, int stride, int* rows) {
    const int *below = own + stride, *second = below + stride;
    // Numbers rise by 1 along a row: five pixels whose ends are four apart are all unknowns.
    if (own[2] == *own + 2 && below[-2] >= 0 && below[2] == below[-2] + 4 && second[-2] >= 0 &&
        second[2] == second[-2] + 4) {
        for (int i = 0; i < 2; ++i) rows[i] = *own + 2 + i;
        for (int i = 0; i < 5; ++i) rows[2 + i] = below[-2] + 1 + i;
        for (int i = 0; i < 5; ++i) rows[7 + i] = second[-2] + 1 + i;
        return forward_count;
    }
    int count = 0;
    for_each_forward(own, stride, [&](int, int number) {
        rows[count] = number + 1;
        count += number >= 0;
    });
    return count;
}

void assembly::make_pattern() {
    int* const row_ind = record_.row_ind;
    int k = 0, position = 0;
    for (int y = 0; y < h_; ++y)
        for_each_run(unknown_.get() + at(0, y), w_, [&](int x0, int x1) {
            const int* own = index_row(y) + x0;
            for (int x = x0; x < x1; ++x, ++own) {
                record_.col_ptr[k] = position + 1;
                row_ind[position] = ++k;
                position += 1 + write_rows(own, record_.index_stride, row_ind + position + 1);
            }
        });
    record_.col_ptr[record_.n] = position + 1;
}

// Whether column p of the previous record may stand for column k. Full columns and lone diagonals
// always do; in between, each entry's row must equal the previous number of the unknown *after* the
// entry's own, which hardly ever holds: such columns are meant to be rebuilt. copied_ still holds
// the previous numbers of the unknowns from k on.
bool assembly::same_column(const mat_data& previous, int k, int p) const {
    const int begin = record_.col_ptr[k] - 1, count = record_.col_ptr[k + 1] - 1 - begin;
    const int previous_begin = previous.col_ptr[p] - 1;
    if (previous.col_ptr[p + 1] - 1 - previous_begin != count) return false;
    if (count == slot_count || count < 2) return true;
    for (int e = 1; e < count; ++e) {
        const int row = record_.row_ind[begin + e];  // 1-based: as 0-based, the one that follows
        if (row >= record_.n ||
            copied_[std::size_t(row)] + 1 != previous.row_ind[previous_begin + e])
            return false;
    }
    return true;
}

void assembly::reuse_columns(const mat_data& previous) {
    const previous_numbers numbers(previous);
    if (!numbers.any()) return;
    copied_ = make_scratch<int>(record_.n);
    fresh_ = make_scratch<u8>(w_, h_);
    std::copy_n(unknown_.get(), std::ptrdiff_t(w_) * h_, fresh_.get());
    int k = 0;
    for (int y = 0; y < h_; ++y)
        for_each_run(unknown_.get() + at(0, y), w_, [&](int x0, int x1) {
            numbers.get(area_.x0 + x0, area_.y0 + y, x1 - x0, copied_.get() + k);
            k += x1 - x0;
        });
    k = 0;
    for (int y = 0; y < h_; ++y)
        for_each_run(unknown_.get() + at(0, y), w_, [&](int x0, int x1) {
            for (int x = x0; x < x1; ++x, ++k) {
                int& p = copied_[std::size_t(k)];
                if (p >= 0 && same_column(previous, k, p))
                    fresh_[std::size_t(at(x, y))] = 0;
                else
                    p = -1;
            }
        });
}

// Adds the windows of row y to the fresh pixels of the rows y - 1 .. y + 1. touched: w_ bytes of
// scratch.
void assembly::add_windows(forward_sums& sums, int y, u8* touched) const {
    const u8* fresh = fresh_ ? fresh_.get() : unknown_.get();
    const auto row = [&](int from) { return fresh + at(0, std::clamp(from, 0, h_ - 1)); };
    merge_rows(row(y - 1), row(y), row(y + 1), w_, touched);
    int begin = 0, end = 0;  // ranges less than three pixels apart are one
    const auto add = [&] {
        if (begin < end)
            sums.add_windows(y, y < h_ ? centre_.get() + at(0, y) : nullptr, begin, end);
    };
    for_each_run(touched, w_, [&](int x0, int x1) {
        if (x0 - end >= 3) {
            add();
            begin = x0;
        }
        end = x1;
    });
    add();
}

// The off-diagonal values of a column, each to its forward neighbour.
void spread(const double* column, const int* own, int stride, double* values) {
    for_each_forward(own, stride,
                     [&](int s, int number) { values[s] = number >= 0 ? *column++ : 0.0; });
}

// Writes a column with the given values for its forward neighbours. Each is taken off the column's
// own diagonal and off its row's; the own one has got all from above and from the left by then.
// What is written for pixels that are no unknowns is overwritten, or never read.
inline void write_column(const double* values, bool full, const int* own, int stride, int x,
                         const diagonal_rows& diagonals, double* column) {
    double* const rows[3] = {diagonals.row(0) + x, diagonals.row(1) + x, diagonals.row(2) + x};
    double* entry = column + 1;
    for (int s = 0; s < forward_count; ++s) {
        const auto& offset = forward_offset[s];
        *entry = values[s];
        entry += full || own[offset[0] * stride + offset[1]] >= 0;
        rows[offset[0]][offset[1]] -= values[s];
    }
    double diagonal = *rows[0];
    for (const double* v = column + 1; v < entry; ++v) diagonal -= *v;
    *column = diagonal;
}

// The columns of row y, whose first unknown is k: negated sums, or copies. Returns the next
// unknown.
int assembly::fill_row(int y, int k, const forward_sums& sums, const diagonal_rows& diagonals,
                       const mat_data& previous) {
    const int stride = record_.index_stride;
    const std::ptrdiff_t plane = sums.plane();
    for_each_run(unknown_.get() + at(0, y), w_, [&](int x0, int x1) {
        const int* own = index_row(y) + x0;
        for (int x = x0; x < x1; ++x, ++k, ++own) {
            const int begin = record_.col_ptr[k] - 1;
            const bool full = record_.col_ptr[k + 1] - 1 - begin == slot_count;
            const int p = copied_ ? copied_[std::size_t(k)] : -1;
            double spread_out[forward_count];
            const double* values = spread_out;
            if (p >= 0 && full)
                values = previous.values + previous.col_ptr[p];
            else if (p >= 0)
                spread(previous.values + previous.col_ptr[p], own, stride, spread_out);
            else
                for (int s = 0; s < forward_count; ++s) spread_out[s] = -sums.row(0)[s * plane + x];
            if (full)
                write_column(values, true, own, stride, x, diagonals, record_.values + begin);
            else
                write_column(values, false, own, stride, x, diagonals, record_.values + begin);
        }
    });
    return k;
}

void assembly::fill_values(const u8* image, int image_stride, const mat_data& previous) {
    forward_sums sums(
        image + std::ptrdiff_t(area_.y0) * image_stride + 3 * std::ptrdiff_t(area_.x0), w_, h_,
        image_stride);
    diagonal_rows diagonals(w_);
    const auto touched = make_scratch<u8>(w_);
    add_windows(sums, 0, touched.get());
    for (int y = 0, k = 0; y < h_; ++y) {
        add_windows(sums, y + 1, touched.get());
        k = fill_row(y, k, sums, diagonals, previous);
        diagonals.next_row();
    }
}

}  // namespace

void mat_update(const unsigned char* image, int width, int height, int image_stride,
                const unsigned char* mask, int mask_stride, const mat_data& previous, mat_data& out,
                unsigned char*) {
    int box[4];
    if (!image || !ff::ipf_get_mask_roi(mask, width, height, mask_stride, box, 0)) {
        out.release();
        return;
    }
    assembly system(width, height, mask, mask_stride, box);
    system.reuse_columns(previous);
    system.fill_values(image, image_stride, previous);
    out.swap(system.record());
}
