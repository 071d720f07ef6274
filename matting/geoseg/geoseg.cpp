// Geodesic distances by raster sweeps over precomputed link costs.
//
// Four sweeps, one per diagonal direction, each relax every pixel from the neighbours the sweep has
// just passed; none is repeated. Each leaves out the rows and columns it starts from, whose
// neighbours behind would lie outside. All distances are unsigned 32-bit and never exceed
// 100000000, so that adding a cost of 16 bits cannot wrap.
//
// The 24-neighbour form keeps its distances in a raster padded by two pixels that are never
// reached: no test for the border in the sweep. A link's cost is the same in both directions and is
// computed once, by the later of its two pixels, and stored with both.
// Cost per query: 4 x 2 or 4 x 12 additions and comparisons a pixel.
#include "matting/geoseg/geoseg.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

#include "ff/scratch.h"

namespace {

using u8 = unsigned char;

constexpr unsigned unreached = 100000000;
constexpr std::ptrdiff_t margin = 2;  // of GeoSegN24's distances

int colour_cost(const u8* p, const u8* q) {
    const int d0 = p[0] - q[0], d1 = p[1] - q[1], d2 = p[2] - q[2];
    return d0 * d0 + d1 * d1 + d2 * d2;
}

// --- GeoSeg -------------------------------------------------------------------------------------

// Wraps at 65536: wanted, where GeoSegN24 clamps.
unsigned wrapped_cost(const u8* p, const u8* q) {
    return std::max(unsigned(colour_cost(p, q)) & 0xffffu, 1u);
}

// --- GeoSegN24 ----------------------------------------------------------------------------------

constexpr int half_slots = 12;
constexpr double mean_cost = 128.0;
constexpr unsigned short largest_cost = 65535;

// Where the neighbour of a slot below 12 lies.
constexpr int slot_dx(int slot) { return slot % 5 - 2; }
constexpr int slot_dy(int slot) { return slot / 5 - 2; }

// Calls link(x, slot, cost) for the links of row y to the neighbours before each pixel that lie
// inside the image, slot by slot.
template <class Link>
void for_each_link(const u8* img, int w, int stride, int pixel_step, int y, Link link) {
    for (int slot = 0; slot < half_slots; ++slot) {
        const int dx = slot_dx(slot), dy = slot_dy(slot);
        if (y + dy < 0) continue;
        const u8* row = img + std::ptrdiff_t(y) * stride;
        const std::ptrdiff_t offset = std::ptrdiff_t(dy) * stride + std::ptrdiff_t(dx) * pixel_step;
        const int end = std::min(w, w - dx);
        for (int x = std::max(0, -dx); x < end; ++x) {
            const u8* p = row + std::ptrdiff_t(x) * pixel_step;
            link(x, slot, colour_cost(p, p + offset));
        }
    }
}

// What makes the mean over all slots 128; 0 in an image of one colour. The sum is exact.
double cost_scale(const u8* img, int w, int h, int stride, int pixel_step) {
    std::int64_t sum = 0;
    for (int y = 0; y < h; ++y)
        for_each_link(img, w, stride, pixel_step, y, [&](int, int, int cost) { sum += cost; });
    if (sum == 0) return 0.0;
    return mean_cost / (double(sum) / (double(w) * half_slots * double(h)));
}

unsigned short scaled_cost(int cost, double scale) {
    const double q = double(cost) * scale;
    if (q >= double(largest_cost)) return largest_cost;
    return std::max<unsigned short>(static_cast<unsigned short>(q), 1);
}

// Smallest distance by way of the five neighbours from `behind` on.
unsigned shortest_of_five(const unsigned* behind, const unsigned short* cost, unsigned shortest) {
    for (int i = 0; i < 5; ++i) shortest = std::min(shortest, behind[i] + cost[i]);
    return shortest;
}

// --- both ---------------------------------------------------------------------------------------

// prob holds D2 as a float and dist D1 when the second of the two comes in.
void store_second(const unsigned* dist, std::ptrdiff_t dist_stride, int w, int h, float* prob,
                  int prob_stride) {
    for (int y = 0; y < h; ++y, dist += dist_stride, prob += prob_stride)
        for (int x = 0; x < w; ++x) prob[x] = float(dist[x]);
}

void divide_by_sum(const unsigned* dist, std::ptrdiff_t dist_stride, int w, int h, float* prob,
                   int prob_stride) {
    for (int y = 0; y < h; ++y, dist += dist_stride, prob += prob_stride)
        for (int x = 0; x < w; ++x) {
            const float d1 = float(dist[x]);
            prob[x] = d1 / (d1 + prob[x]);
        }
}

// trunc(255 D / (max D | 1)) of every distance.
void normalise(const unsigned* dist, std::ptrdiff_t dist_stride, int w, int h, u8* map) {
    unsigned largest = 0;
    for (int y = 0; y < h; ++y) {
        const unsigned* row = dist + y * dist_stride;
        largest = std::max(largest, *std::max_element(row, row + w));
    }
    const std::uint64_t divisor = largest | 1u;
    for (int y = 0; y < h; ++y, dist += dist_stride, map += w)
        for (int x = 0; x < w; ++x) map[x] = u8(std::uint64_t(255) * dist[x] / divisor);
}

}  // namespace

GeoSeg::GeoSeg() : width_(0), height_(0), cost_stride_(0) {}

GeoSeg::~GeoSeg() = default;

int GeoSeg::SetImage(const unsigned char* img, int w, int h, int stride, int pixel_step) {
    costs_.reset(), dist_.reset();
    width_ = height_ = cost_stride_ = 0;
    if (!img || w < 1 || h < 1 || pixel_step < 3) return -1;
    auto costs = ff::make_scratch<links>(w, h);
    dist_ = ff::make_scratch<unsigned>(w, h);

    links* record = costs.get();
    for (int y = 0; y < h; ++y) {
        const u8* p = img + std::ptrdiff_t(y) * stride;
        for (int x = 0; x < w; ++x, ++record, p += pixel_step) {
            record->left = x > 0 ? record[-1].right : 1;
            record->up = y > 0 ? record[-std::ptrdiff_t(w)].down : 1;
            record->right = x < w - 1 ? wrapped_cost(p, p + pixel_step) : 1;
            record->down = y < h - 1 ? wrapped_cost(p, p + stride) : 1;
        }
    }
    costs_ = std::move(costs);
    width_ = cost_stride_ = w;
    height_ = h;
    return 0;
}

// One pass in the direction (DX, DY), from the pixels it comes from.
template <int DX, int DY>
void GeoSeg::sweep(const unsigned char* seeds, int seed_stride, unsigned char label,
                   unsigned int* dist, int dist_stride) const {
    for (int y = DY > 0 ? 1 : height_ - 2; y >= 0 && y < height_; y += DY) {
        const links* cost = costs_.get() + std::ptrdiff_t(y) * cost_stride_;
        const u8* seed = seeds + std::ptrdiff_t(y) * seed_stride;
        unsigned* row = dist + std::ptrdiff_t(y) * dist_stride;
        const unsigned* behind = row - std::ptrdiff_t(DY) * dist_stride;
        for (int x = DX > 0 ? 1 : width_ - 2; x >= 0 && x < width_; x += DX) {
            const unsigned vertical = behind[x] + (DY > 0 ? cost[x].up : cost[x].down);
            const unsigned horizontal = row[x - DX] + (DX > 0 ? cost[x].left : cost[x].right);
            row[x] = seed[x] == label ? 0 : std::min({row[x], vertical, horizontal});
        }
    }
}

void GeoSeg::propagate(const unsigned char* seeds, int seed_stride, unsigned char label,
                       unsigned int* dist, int dist_stride) const {
    for (int y = 0; y < height_; ++y)
        std::fill_n(dist + std::ptrdiff_t(y) * dist_stride, width_, unreached);
    if (width_ < 2 || height_ < 2) return;
    sweep<1, 1>(seeds, seed_stride, label, dist, dist_stride);
    sweep<-1, -1>(seeds, seed_stride, label, dist, dist_stride);
    sweep<-1, 1>(seeds, seed_stride, label, dist, dist_stride);
    sweep<1, -1>(seeds, seed_stride, label, dist, dist_stride);
}

int GeoSeg::GetDist(const unsigned char* seeds, int seed_stride, unsigned int* dist,
                    int dist_stride, unsigned char label) {
    if (costs_ && seeds && dist) propagate(seeds, seed_stride, label, dist, dist_stride);
    return 0;
}

int GeoSeg::GetProb(const unsigned char* seeds, int seed_stride, float* prob, int prob_stride) {
    if (!costs_ || !seeds || !prob) return 0;
    propagate(seeds, seed_stride, 2, dist_.get(), width_);
    store_second(dist_.get(), width_, width_, height_, prob, prob_stride);
    propagate(seeds, seed_stride, 1, dist_.get(), width_);
    divide_by_sum(dist_.get(), width_, width_, height_, prob, prob_stride);
    return 0;
}

GeoSegN24::GeoSegN24() : width_(0), height_(0), cost_stride_(0) {}

GeoSegN24::~GeoSegN24() = default;

int GeoSegN24::SetImage(const unsigned char* img, int w, int h, int stride, int pixel_step,
                        unsigned char*) {
    costs_.reset(), dist_.reset();
    width_ = height_ = cost_stride_ = 0;
    if (!img || w < 1 || h < 1 || pixel_step < 3) return -1;
    auto costs = ff::make_scratch<links>(w, h);
    dist_ =
        ff::make_scratch<unsigned>(std::ptrdiff_t(w) + 2 * margin, std::ptrdiff_t(h) + 2 * margin);

    // Links that leave the image cost 1, which nobody sees: the margin is never reached.
    links unlinked;
    std::fill(std::begin(unlinked.cost), std::end(unlinked.cost), static_cast<unsigned short>(1));
    const double scale = cost_scale(img, w, h, stride, pixel_step);
    for (int y = 0; y < h; ++y) {
        links* row = costs.get() + std::ptrdiff_t(y) * w;
        std::fill_n(row, w, unlinked);
        for_each_link(img, w, stride, pixel_step, y, [=](int x, int slot, int cost) {
            links& neighbour = row[std::ptrdiff_t(slot_dy(slot)) * w + slot_dx(slot) + x];
            const unsigned short scaled = scaled_cost(cost, scale);
            row[x].cost[slot] = scaled;
            neighbour.cost[2 * half_slots - 1 - slot] = scaled;
        });
    }
    costs_ = std::move(costs);
    width_ = cost_stride_ = w;
    height_ = h;
    return 0;
}

// Distance of pixel (0, 0) in the padded raster.
unsigned int* GeoSegN24::pixels() const {
    return dist_.get() + margin * (std::ptrdiff_t(width_) + 2 * margin) + margin;
}

// One pass in the direction (DX, DY): ten neighbours in the two rows behind, two in the own row.
template <int DX, int DY>
void GeoSegN24::sweep(const unsigned char* seeds, int seed_stride, unsigned char label) {
    constexpr int near_slot = DY > 0 ? 5 : 14, far_slot = DY > 0 ? 0 : 19;
    constexpr int next_slot = DX > 0 ? 11 : 12, second_slot = DX > 0 ? 10 : 13;
    const std::ptrdiff_t dist_stride = std::ptrdiff_t(width_) + 2 * margin;
    for (int y = DY > 0 ? 2 : height_ - 3; y >= 0 && y < height_; y += DY) {
        const links* record = costs_.get() + std::ptrdiff_t(y) * cost_stride_;
        const u8* seed = seeds + std::ptrdiff_t(y) * seed_stride;
        unsigned* row = pixels() + y * dist_stride;
        const unsigned* near_row = row - DY * dist_stride - 2;
        const unsigned* far_row = near_row - DY * dist_stride;
        for (int x = DX > 0 ? 2 : width_ - 3; x >= 0 && x < width_; x += DX) {
            if (seed[x] == label) {
                row[x] = 0;
            } else if (seed[x] != 0) {
                row[x] = unreached;  // a barrier
            } else {
                const unsigned short* cost = record[x].cost;
                unsigned d = shortest_of_five(far_row + x, cost + far_slot, row[x]);
                d = shortest_of_five(near_row + x, cost + near_slot, d);
                row[x] = std::min(
                    {d, row[x - DX] + cost[next_slot], row[x - 2 * DX] + cost[second_slot]});
            }
        }
    }
}

void GeoSegN24::propagate(const unsigned char* seeds, int seed_stride, unsigned char label) {
    std::fill_n(dist_.get(),
                (std::ptrdiff_t(width_) + 2 * margin) * (std::ptrdiff_t(height_) + 2 * margin),
                unreached);
    if (width_ < 3 || height_ < 3) return;
    sweep<1, 1>(seeds, seed_stride, label);
    sweep<-1, -1>(seeds, seed_stride, label);
    sweep<-1, 1>(seeds, seed_stride, label);
    sweep<1, -1>(seeds, seed_stride, label);
}

int GeoSegN24::GetDist(const unsigned char* seeds, int seed_stride, unsigned int* dist,
                       int dist_stride, unsigned char label) {
    if (!costs_ || !seeds || !dist) return 0;
    propagate(seeds, seed_stride, label);
    const unsigned* row = pixels();
    for (int y = 0; y < height_; ++y, row += width_ + 2 * margin, dist += dist_stride)
        std::copy_n(row, width_, dist);
    return 0;
}

int GeoSegN24::GetProb(const unsigned char* seeds, int seed_stride, float* prob, int prob_stride,
                       int mode, unsigned char* map) {
    const bool first = (mode & 1) != 0, second = (mode & 2) != 0;
    const bool both = first && second;
    if (!costs_ || !seeds || !(first || second) || (both ? !prob : !map)) return 0;
    const std::ptrdiff_t dist_stride = std::ptrdiff_t(width_) + 2 * margin;
    if (second) propagate(seeds, seed_stride, 2);
    if (both) store_second(pixels(), dist_stride, width_, height_, prob, prob_stride);
    if (first) propagate(seeds, seed_stride, 1);
    if (both)
        divide_by_sum(pixels(), dist_stride, width_, height_, prob, prob_stride);
    else
        normalise(pixels(), dist_stride, width_, height_, map);
    return 0;
}
