#include "matting/sampling/dsam.h"

#include "tests/support/guarded_raster.h"

namespace {

TEST(Downsample, the_grid_is_aligned_at_the_corners) {
    const std::pair<int, std::vector<int>> table[] = {{5, {0, 2, 4}},     {5, {0}},
                                                      {1, {0, 0, 0, 0}},  {4, {0, 1, 1, 2, 2, 3}},
                                                      {10, {0, 3, 6, 9}}, {8, {0, 4, 7}}};
    for (int c : {1, 3, 4})
        for (const auto& [from, taken] : table) {
            // Samples that say where they come from; five rows become three.
            const int to = int(taken.size());
            Bytes dst(to * c, 3, 1),
                src(from * c, 5, 2, [=](int x, int y) { return x / c * 5 + x % c + 50 * y; });
            dsam_image(src, from, 5, src.stride, dst, to, 3, dst.stride, c);
            dst.each([&, &columns = taken](int x, int y) {
                EXPECT_EQ(dst(x, y), columns[std::size_t(x / c)] * 5 + x % c + 100 * y);
            });
        }
}

TEST(Downsample, marks_go_to_the_closest_colour_and_the_last_one_wins) {
    // Four low-resolution greys; full-resolution pixels of the closest, of ties, and marks.
    Bytes lo(6, 2, 1, [](int x, int y) { return (x / 3 + 2 * y) * 40; });  // 0 40 / 80 120
    const int greys[] = {0, 20, 39, 45, 79, 100, 101, 255};                // 20, 100: ties
    Bytes img(12, 2, 2, [&](int x, int y) { return greys[x / 3 + 4 * y]; });
    Ints index(4, 2, 1);
    dsam_calc_index(img, 4, 2, img.stride, lo, 2, 2, lo.stride, index, index.stride);
    EXPECT_EQ(index.payload(), (std::vector<int>{0, 0, 1, 1, 2, 2, 3, 3}));

    Bytes ui(4, 2, 3, [](int x, int y) { return x == 1 || y == 0 ? 10 * x + y : 128; });
    ui(3, 1) = 255;
    Bytes map(2, 2, 0);
    dsam_ui_alpha(ui, 4, 2, ui.stride, index, index.stride, map, 2, 2, 7, 7);
    EXPECT_EQ(map.payload(), (Map{10, 30, 11, 255}));
    index(3, 1) = 4, index(0, 0) = -1;  // outside: carries nothing
    dsam_ui_alpha(ui, 4, 2, ui.stride, index, index.stride, map, 2, 2, 0, 0);
    EXPECT_EQ(map.payload(), (Map{10, 30, 11, 128}));
}

TEST(Downsample, sizes_too_small_and_unknown_channels_write_nothing) {
    Bytes src(12, 4, 0, [](int, int) { return 5; }), dst(12, 4, 0);
    Ints index(4, 4, 0);
    for (int small : {0, -3}) {
        dsam_image(src, 4, 4, 12, dst, 4, small, 12, 3);
        dsam_calc_index(src, 1 + small, 4, 12, src, 4, 4, 12, index, 4);
        dsam_ui_alpha(src, small, 4, 12, index, 4, dst, 4, 4, 0, 0);
    }
    dsam_image(src, 2, 2, 12, dst, 2, 2, 12, 2);
    EXPECT_EQ(dst.payload(), Map(48, Bytes::pattern));
    EXPECT_EQ(index.payload(), std::vector<int>(16, Ints::pattern));
}

}  // namespace
