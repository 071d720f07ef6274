#include "ff/components_color.h"
#include "tests/support/guarded_raster.h"

namespace {

// Numbers regions by flood fill from their first pixels.
int flood(Bytes& img, Ints& labels) {
    int n = 0;
    labels.fill([](int, int) { return -1; });
    img.each([&](int x0, int y0) {
        std::vector<std::pair<int, int>> todo;
        const auto reach = [&](int x, int y) {
            if (x < 0 || y < 0 || x >= img.w || y >= img.h || labels(x, y) >= 0) return;
            if (img(x, y) != img(x0, y0)) return;
            labels(x, y) = n;
            todo.push_back({x, y});
        };
        if (labels(x0, y0) >= 0) return;
        reach(x0, y0);
        while (!todo.empty()) {
            const auto [x, y] = todo.back();
            todo.pop_back();
            reach(x + 1, y), reach(x - 1, y), reach(x, y + 1), reach(x, y - 1);
        }
        ++n;
    });
    return n;
}

TEST(Components, labels_equal_a_flood_fill_in_number_and_order) {
    Random random(5);
    for (int n = 0; n < 203; ++n) {
        // Two values make large, winding regions; the last are wide: a serpentine, a checkerboard
        // and busy rows of noise among calm ones.
        const int w = n >= 200 ? 901 : 1 + n % 40, h = n >= 200 ? 300 : random.between(1, 20);
        Bytes img(w, h, n % 5, [&](int x, int y) {
            if (n == 200) return y % 2 == 0 || x == (y % 4 == 1 ? w - 1 : 0) ? 0 : 255;
            if (n == 201) return (x + y) % 2;
            return n == 202 && y % 7 > 4 ? x < 500 : random.below(2 + n % 3);
        });
        Ints labels(w, h, n % 3), expected(w, h, 0);
        const int found = ff::ipf_connected_component(img, w, h, img.stride, labels, labels.stride);
        ASSERT_EQ(found, flood(img, expected)) << w << 'x' << h;
        ASSERT_EQ(labels.payload(), expected.payload()) << w << 'x' << h;
    }
}

}  // namespace
