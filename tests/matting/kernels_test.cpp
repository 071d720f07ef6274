// Kernels that exist in two forms give the same bytes in both.
#include "ff/distance_field.h"
#include "ff/filters.h"
#include "ff/raster.h"
#include "ff/shuffle.h"
#include "matting/sampling/usam.h"
#include "matting/solver/forward_sums.h"
#include "tests/support/digest.h"
#include "tests/support/guarded_raster.h"

namespace {

struct Results {
    explicit Results(int w) {
        Random random(w);
        Bytes src(4 * w, h, 1, noise(random)), bytes(4 * w, h, 0), grown(4 * 200, 2 * h, 0);
        Ints wide(4 * w, h, 1, noise(random, -9999, 9999)), ints(4 * w, h, 0);
        const int k = 1 + w % 9, n = 4 * w;
        for (int c : {1, 3, 4}) {
            ff::ipf_min_filter(src, w, h, src.stride, c, bytes, n, k, 1, nullptr);
            all.add(bytes.payload());
            ff::ipf_max_filter(src, w, h, src.stride, c, bytes, n, k, 1, nullptr);
            all.add(bytes.payload());
            ff::ipf_sum_filter(wide, w, h, wide.stride, c, ints, n, k, k, nullptr);
            all.add(ints.payload());
            ff::ipf_mean_filter(src, w, h, src.stride, c, ints, n, nullptr, 0, k, k, nullptr);
            all.add(ints.payload());
            ff::ipf_mean_filter(src, w, h, src.stride, c, bytes, n, nullptr, 0, k, k, nullptr);
            all.add(bytes.payload());
            ff::ipf_flip_horz(src, w - 1, h, src.stride, c, bytes, n);
            all.add(bytes.payload());
            ff::ipf_flip_vert(bytes, w * c, h, n);
            all.add(bytes.payload());
            for (int to : {1, 12, 23, 34, 45, 200}) {
                ff::ipf_resize_bl<u8, u8>(src, w, h, src.stride, c, grown, to, 2 * h, 800, c, c);
                all.add(grown.payload());
            }
        }
        // Four times as wide, to have several blocks.
        Bytes labels(n, h, 0, [&](int, int) { return std::max(0, random.between(-60, 2)); });
        ff::dist_field* field = ff::ipf_create_distance_field_2d(n, h, 100);
        auto* const distances = reinterpret_cast<unsigned*>(&ints(0, 0));
        ff::ipf_distance_transform_2d(field, labels, n, h, n, 2, distances, n, nullptr, 0);
        ff::ipf_release_distance_field(field);
        all.add(ints.payload());
        matting::forward_sums sums(src, w, h, src.stride);
        const Bytes windows(w, 1, 1);
        GuardedRaster<double> gathered(matting::forward_count, w, 0);
        for (int y = -1; y <= h; ++y) {
            sums.add_windows(y, windows, 0, w);
            gathered.each([&](int s, int x) { gathered(s, x) = sums.row(s)[x]; });
            all.add(gathered.payload());
        }
        Bytes small(12, 3, 0, noise(random));
        GuardedRaster<short> weights(w, h, 0);
        for (int mode : {2, 3}) {
            usam_calc_weights_8u_c3(src, w, h, src.stride, nullptr, 0, small, 4, 3, 12, ints, n,
                                    weights, w, mode);
            all.add(ints.payload()), all.add(weights.payload());
        }
    }
    static constexpr int h = 9;
    Digest all;
};

TEST(Kernels, both_forms_give_the_same_bytes_at_every_width) {
    bool& fast_form = ff::can_shuffle();
    if (!fast_form) GTEST_SKIP() << "one form only";
    for (int w = 1; w <= 40; ++w) {
        const Results fast(w);
        fast_form = false;
        const Results plain(w);
        fast_form = true;
        EXPECT_EQ(fast.all.value, plain.all.value) << w;
    }
}

}  // namespace
