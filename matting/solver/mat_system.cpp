// Assembly over the unknown pixels of a mask.
//
// Around the mask's bounding box lies a working rectangle; all planes here cover it. The unknowns
// of the system are the mask's pixels and the known ring around them, through which known alpha
// enters. Every 3 x 3 window adds its 36 pair weights to 13 double accumulators per unknown (one
// for each pixel that follows it within the 5 x 5 neighbourhood); pixels that are no unknowns share
// one scratch set. Each diagonal is the sum of its row's weights, so every row sums to zero. Cost:
// one window per working pixel near an unknown, 104 bytes of accumulators per unknown.
#include "matting/solver/mat_system.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <new>

#include "ff/raster.h"
#include "ff/scratch.h"
#include "matting/solver/window_weights.h"

namespace {

using namespace matting;
using ff::make_scratch;
using ff::scratch;
using u8 = unsigned char;

enum label : u8 {
    far_known = 0,
    inside_reused = 1,  // the pixel and its eight neighbours have copied columns: no window centre
    second_ring = 2,
    ring = 3,     // known, beside an unknown: carries its value into the system
    unknown = 4,  // to be solved
    reused = 5,   // ring or unknown whose column was copied from the previous record
    reused_amid_reused = 6,
};

struct rectangle {
    int x0, y0, x1, y1;
    int width() const { return x1 - x0; }
    int height() const { return y1 - y0; }
};

// Marks the 3 x 3 block around every marked pixel that is not on the map's border.
scratch<u8> grow(const u8* map, int w, int h) {
    auto out = make_scratch<u8>(w, h);
    std::memcpy(out.get(), map, std::size_t(w) * std::size_t(h));
    for (int y = 1; y < h - 1; ++y) {
        const u8* row = map + std::ptrdiff_t(y) * w;
        u8* block = out.get() + std::ptrdiff_t(y - 1) * w;
        for (int x = 1; x < w - 1; ++x) {
            if (!row[x]) continue;
            for (int dy = 0; dy < 3; ++dy)
                std::memset(block + std::ptrdiff_t(dy) * w + x - 1, 1, 3);
        }
    }
    return out;
}

// Where an earlier record numbers the pixels of the picture.
class previous_numbers {
  public:
    explicit previous_numbers(const mat_data& record) : record_(record) {}

    bool any() const {
        return record_.roi[0] < record_.roi[2] && record_.roi[1] < record_.roi[3] &&
               record_.index_map && record_.values && record_.col_ptr && record_.row_ind;
    }
    // -1 where it has none.
    int at(int x, int y) const {
        const int* roi = record_.roi;
        if (x < roi[0] || x >= roi[2] || y < roi[1] || y >= roi[3]) return -1;
        return record_.index_map[std::ptrdiff_t(y - roi[1]) * record_.index_stride + (x - roi[0])];
    }

  private:
    const mat_data& record_;
};

class assembly {
  public:
    // box: of the mask's non-zero pixels.
    assembly(const u8* image, int width, int height, int image_stride, const u8* mask,
             int mask_stride, const int* box)
        : image_(image),
          width_(width),
          height_(height),
          image_stride_(image_stride),
          area_{std::max(box[0] - 4, 0), std::max(box[1] - 4, 0), std::min(width, box[2] + 4),
                std::min(height, box[3] + 4)},
          w_(area_.width()),
          h_(area_.height()) {
        label_pixels(mask, mask_stride);
        number_unknowns();
        make_pattern();
    }

    void reuse_columns(const mat_data& previous);
    void add_windows();
    void fill_values();
    void sum_diagonals();
    mat_data& record() { return record_; }

  private:
    void label_pixels(const u8* mask, int mask_stride);
    void number_unknowns();
    void make_pattern();
    bool same_column(const mat_data& previous, const int* follower_of, int k, int p) const;
    void mark_inside_reused();
    void add_window(int x, int y, const lane_weights& weights, int lane);

    std::ptrdiff_t at(int x, int y) const { return std::ptrdiff_t(y) * w_ + x; }
    // Place of unknown k in the planes of the working rectangle.
    std::ptrdiff_t working_pixel(int k) const {
        const int p = record_.unknown_pixels[k];
        return at(p % width_ - area_.x0, p / width_ - area_.y0);
    }

    const u8* image_;
    const int width_, height_, image_stride_;
    const rectangle area_;
    const int w_, h_;  // of the working rectangle
    scratch<u8> labels_;
    scratch<double> sums_;  // slot_count per unknown, and one set more for everybody else
    mat_data record_;
};

void assembly::label_pixels(const u8* mask, int mask_stride) {
    const auto marked = make_scratch<u8>(w_, h_);
    ff::ipf_memcpy_2d(mask + std::ptrdiff_t(area_.y0) * mask_stride + area_.x0, w_, h_, mask_stride,
                      marked.get(), w_);
    const auto first = grow(marked.get(), w_, h_);
    const auto second = grow(first.get(), w_, h_);
    labels_ = make_scratch<u8>(w_, h_);
    const std::ptrdiff_t pixels = std::ptrdiff_t(w_) * h_;
    for (std::ptrdiff_t i = 0; i < pixels; ++i)
        labels_[std::size_t(i)] = marked[std::size_t(i)]   ? unknown
                                  : first[std::size_t(i)]  ? ring
                                  : second[std::size_t(i)] ? second_ring
                                                           : far_known;
}

void assembly::number_unknowns() {
    const u8* labels = labels_.get();
    const std::ptrdiff_t pixels = std::ptrdiff_t(w_) * h_;
    const auto n = std::count_if(labels, labels + pixels, [](u8 l) { return l >= ring; });
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
        for (int x = 0; x < w_; ++x) {
            const u8 l = labels[at(x, y)];
            if (l < ring) continue;
            map[std::ptrdiff_t(y) * stride + x] = k;
            unknown_pixels[std::size_t(k)] = (area_.y0 + y) * width_ + area_.x0 + x;
            flags[std::size_t(k)] = l == ring;
            ++k;
        }
    record_.create(k);
    const int roi[4] = {area_.x0, area_.y0, area_.x1, area_.y1};
    record_.set_mask_data(width_, height_, roi, index.release(), map, stride,
                          unknown_pixels.release(), k, flags.release(), k, nullptr);
}

void assembly::make_pattern() {
    const int stride = record_.index_stride;
    int position = 0;
    for (int k = 0; k < record_.n; ++k) {
        const int p = record_.unknown_pixels[k];
        const int* own = record_.index_map + std::ptrdiff_t(p / width_ - area_.y0) * stride +
                         (p % width_ - area_.x0);
        record_.col_ptr[k] = position + 1;
        record_.row_ind[position++] = k + 1;
        for (const auto& offset : forward_offset) {
            const int neighbour = own[offset[0] * stride + offset[1]];
            if (neighbour >= 0) record_.row_ind[position++] = neighbour + 1;
        }
    }
    record_.col_ptr[record_.n] = position + 1;
}

// Whether column p of the previous record may stand for column k. Full columns and lone diagonals
// always do; in between, each entry's row must equal the previous number of the unknown *after* the
// entry's own, which hardly ever holds: such columns are meant to be rebuilt.
bool assembly::same_column(const mat_data& previous, const int* follower_of, int k, int p) const {
    const int begin = record_.col_ptr[k] - 1, count = record_.col_ptr[k + 1] - 1 - begin;
    const int previous_begin = previous.col_ptr[p] - 1;
    if (previous.col_ptr[p + 1] - 1 - previous_begin != count) return false;
    if (count == slot_count || count < 2) return true;
    for (int e = 1; e < count; ++e) {
        const int row = record_.row_ind[begin + e];  // 1-based: as 0-based, the one that follows
        if (row >= record_.n || follower_of[row] + 1 != previous.row_ind[previous_begin + e])
            return false;
    }
    return true;
}

void assembly::reuse_columns(const mat_data& previous) {
    const previous_numbers numbers(previous);
    if (!numbers.any()) return;
    const auto previous_number = make_scratch<int>(record_.n);
    for (int k = 0; k < record_.n; ++k) {
        const int p = record_.unknown_pixels[k];
        previous_number[std::size_t(k)] = numbers.at(p % width_, p / width_);
    }
    for (int k = 0; k < record_.n; ++k) {
        const int p = previous_number[std::size_t(k)];
        if (p < 0 || !same_column(previous, previous_number.get(), k, p)) continue;
        const double* from = previous.values + (previous.col_ptr[p] - 1);
        std::copy(from, from + (record_.col_ptr[k + 1] - record_.col_ptr[k]),
                  record_.values + (record_.col_ptr[k] - 1));
        labels_[std::size_t(working_pixel(k))] = reused;
    }
    mark_inside_reused();
}

void assembly::mark_inside_reused() {
    u8* labels = labels_.get();
    for (int y = 1; y < h_ - 1; ++y)
        for (int x = 1; x < w_ - 1; ++x) {
            bool all = true;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) all &= labels[at(x + dx, y + dy)] >= reused;
            if (all) labels[at(x, y)] = reused_amid_reused;
        }
    std::replace(labels, labels + std::ptrdiff_t(w_) * h_, u8(reused_amid_reused),
                 u8(inside_reused));
}

// Adds the weights of the window centred on (x, y); they stand in the given lane.
void assembly::add_window(int x, int y, const lane_weights& weights, int lane) {
    const int stride = record_.index_stride;
    const int* index = record_.index_map + std::ptrdiff_t(y - 1) * stride + (x - 1);
    double* own[9];  // the accumulators of the window's pixels
    for (int i = 0; i < 9; ++i) {
        const int k = index[std::ptrdiff_t(i / 3) * stride + i % 3];
        own[i] = sums_.get() + std::ptrdiff_t(k < 0 ? record_.n : k) * slot_count;
    }
    for (int p = 0; p < pair_count; ++p)
        own[window_pairs[std::size_t(p)].i][window_pairs[std::size_t(p)].slot] += weights[p][lane];
}

void assembly::add_windows() {
    const colour_planes colours(
        image_ + std::ptrdiff_t(area_.y0) * image_stride_ + 3 * std::ptrdiff_t(area_.x0), w_, h_,
        image_stride_);
    sums_ = make_scratch<double>(std::ptrdiff_t(record_.n) + 1, slot_count);
    std::fill_n(sums_.get(), (std::ptrdiff_t(record_.n) + 1) * slot_count, 0.0);
    lane_weights weights;
    for (int y = 1; y < h_ - 1; ++y) {
        int weighed = 0;  // the windows centred left of this column are in `weights`
        for (int x = 1; x < w_ - 1; ++x) {
            if (labels_[std::size_t(at(x, y))] <= inside_reused) continue;
            if (x >= weighed) {
                pair_weights(colours, x - 1, y - 1, weights);
                weighed = x + window_lanes;
            }
            add_window(x, y, weights, x - weighed + window_lanes);
        }
    }
}

// Off-diagonal entries of the columns that were not copied.
void assembly::fill_values() {
    const int stride = record_.index_stride;
    for (int k = 0; k < record_.n; ++k) {
        const u8 l = labels_[std::size_t(working_pixel(k))];
        if (l == reused || l == inside_reused) continue;
        const int p = record_.unknown_pixels[k];
        const int* own = record_.index_map + std::ptrdiff_t(p / width_ - area_.y0) * stride +
                         (p % width_ - area_.x0);
        const double* sums = sums_.get() + std::ptrdiff_t(k) * slot_count;
        double* value = record_.values + record_.col_ptr[k];
        for (int s = 0; s < forward_count; ++s)
            if (own[forward_offset[s][0] * stride + forward_offset[s][1]] >= 0)
                *value++ = -sums[s + 1];
    }
}

void assembly::sum_diagonals() {
    const auto diagonal = [this](int k) -> double& {
        return record_.values[record_.col_ptr[k] - 1];
    };
    for (int k = 0; k < record_.n; ++k) diagonal(k) = 0.0;
    for (int k = 0; k < record_.n; ++k)
        for (int p = record_.col_ptr[k]; p < record_.col_ptr[k + 1] - 1; ++p) {
            diagonal(k) -= record_.values[p];
            diagonal(record_.row_ind[p] - 1) -= record_.values[p];
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
    assembly system(image, width, height, image_stride, mask, mask_stride, box);
    system.reuse_columns(previous);
    system.add_windows();
    system.fill_values();
    system.sum_diagonals();
    out.swap(system.record());
}
