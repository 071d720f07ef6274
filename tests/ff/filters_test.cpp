#include "ff/filters.h"

#include "tests/support/guarded_raster.h"

namespace {

TEST(Filters, equal_brute_force_over_every_window) {
    Random random(4);
    for (int n = 0; n < 300; ++n) {
        const int w = 1 + n % 40, h = random.between(1, 12), c = n % 4 ? 1 : 3, passes = 1 + n % 2;
        const int margin = n % 3 ? 0 : 12;  // real data around, of which `border` allows a part
        const std::vector<int> sizes{1, 3, 4, 7, 25, 1001, -3}, allowances{-2, 0, 1, 2, 3, 12};
        const int kw = sizes[random.below(7)], kh = sizes[random.below(7)];
        const int odd_w = std::max(kw, 1) | 1, odd_h = std::max(kh, 1) | 1;
        int border[4], box_allowance[4], rank_allowance[4];
        for (int i = 0; i < 4; ++i) {
            border[i] = allowances[random.below(6)];
            const int allowed = margin ? std::max(border[i], 0) : 0;
            box_allowance[i] = std::min(allowed, i % 2 ? odd_h : odd_w);
            rank_allowance[i] = std::min(allowed, odd_w);
        }
        int* const given = margin ? border : nullptr;
        const int scale = n % 2 ? 16843009 : -7;  // the former's sums wrap
        Bytes src((w + 2 * margin) * c, h + 2 * margin, random.below(4), noise(random));
        Ints wide(src.w, src.h, 3, [&](int x, int y) { return scale * unsigned(src(x, y)); });
        u8* const s = &src(margin * c, margin);
        const int* const ws = &wide(margin * c, margin);
        const int pad = n % 3;
        Bytes lo(w * c, h, pad), hi(w * c, h, pad), byte_mean(w * c, h, pad);
        Ints sum(w * c, h, pad), wide_sum(w * c, h, 1), mean(w * c, h, 1), wide_mean(w * c, h, pad);
        Ints count(w, h, pad), mean_count(w, h, 2);
        ff::ipf_min_filter(s, w, h, src.stride, c, lo, lo.stride, kw, passes, given);
        ff::ipf_max_filter(s, w, h, src.stride, c, hi, hi.stride, kw, passes, given);
        ff::ipf_sum_filter(s, w, h, src.stride, c, sum, sum.stride, kw, kh, given);
        ff::ipf_sum_filter(ws, w, h, wide.stride, c, wide_sum, wide_sum.stride, kw, kh, given);
        ff::ipf_count_filter_pixels(count, w, h, count.stride, kw, kh, given);
        ff::ipf_mean_filter(s, w, h, src.stride, c, mean, mean.stride, mean_count,
                            mean_count.stride, kw, kh, given);
        ff::ipf_mean_filter(ws, w, h, wide.stride, c, wide_mean, wide_mean.stride, nullptr, 0, kw,
                            kh, given);
        ff::ipf_mean_filter(s, w, h, src.stride, c, byte_mean, byte_mean.stride, nullptr, 0, kw, kh,
                            given);
        EXPECT_EQ(mean_count.payload(), count.payload());
        lo.each([&](int column, int y) {
            const int x = column / c, reach = passes * (odd_w - 1) + 1;
            const auto at = [&](int u, int v) {
                return int(src((u + margin) * c + column % c, v + margin));
            };
            const Window rank(at, w, h, x, y, reach, reach, rank_allowance);
            const Window box(at, w, h, x, y, odd_w, odd_h, box_allowance);
            const int wrapped = int(unsigned(scale) * unsigned(box.sum));
            ASSERT_TRUE(lo(column, y) == rank.least && hi(column, y) == rank.most) << "case " << n;
            ASSERT_EQ(count(x, y), box.count) << "case " << n;
            ASSERT_EQ(sum(column, y), box.sum) << "case " << n;
            ASSERT_EQ(mean(column, y), box.mean()) << "case " << n;
            ASSERT_EQ(byte_mean(column, y), box.mean()) << "case " << n;
            ASSERT_EQ(wide_sum(column, y), wrapped) << "case " << n;
            if (scale > 0) return;
            ASSERT_EQ(wide_mean(column, y), (wrapped + box.count / 2) / box.count) << "case " << n;
        });
        if (margin) continue;
        ff::ipf_max_filter(s, w, h, src.stride, c, s, src.stride, kw, passes, nullptr);
        EXPECT_EQ(src.payload(), hi.payload()) << "in place, case " << n;
    }
}

}  // namespace
