#include "ff/image.h"

#include <climits>
#include <stdexcept>

#include "tests/support/guarded_raster.h"

namespace {

using ff::FVTImage;
using Shape = std::vector<int>;  // all fields but the pixels' address

Shape shape(const FVTImage& i) { return {i.width, i.height, i.stride, i.format, i.flags}; }

TEST(Image, strides_round_up_and_what_fits_is_kept) {
    const int table[][5] = {
        {10, 4, 785, 4, 32}, {10, 4, 785, 0, 30}, {7, 2, 0x343, 16, 96}, {7, 2, 785, 5, 25}};
    for (const auto& [w, h, format, align, stride] : table) {
        const FVTImage image(w, h, format, align);
        EXPECT_EQ(shape(image), (Shape{w, h, stride, format, 1}));
        std::fill_n(image.data, stride * h, u8(1));  // the sanitizer knows the size
    }
    FVTImage image;
    image.StepReset(10, 4, 785, 77);
    image.ResetIf(10, 4, 785);
    EXPECT_EQ(image.stride, 77) << "it fitted";
    image.ResetIf(10, 5, 785);
    EXPECT_EQ(shape(image), (Shape{10, 5, 32, 785, 1}));
    image.StepReset(10, 4, 785, 7);
    EXPECT_EQ(image.stride, 30) << "a stride that holds no row";
}

TEST(Image, copies_are_deep_and_attached_pixels_stay_the_callers) {
    Bytes pixels(9, 4, 5, [](int x, int y) { return 10 * y + x; });
    FVTImage ours(5, 5, 273, 1), assigned(2, 2, 273, 1);
    ours.Attach(pixels, 3, 4, 785, pixels.stride);
    EXPECT_EQ(shape(ours), (Shape{3, 4, 14, 785, 0}));
    ours.Lock(0x12345);
    EXPECT_EQ(ours.flags, 0x2300);
    ours.Unlock(0x0101ff);
    EXPECT_EQ(ours.flags, 0x2200);
    assigned = ours;
    assigned = *&assigned;
    pixels(8, 3) = 77;
    EXPECT_EQ(shape(assigned), (Shape{3, 4, 14, 785, 1})) << "no lock bits";
    EXPECT_EQ(assigned.data[3 * 14 + 8], 38);
    ours.Swap(assigned);
    EXPECT_TRUE(assigned.IsExternData() && !ours.IsExternData());
    ours = FVTImage();
    EXPECT_TRUE(!ours.data && FVTImage(ours).data == nullptr);
    EXPECT_EQ(shape(ours), (Shape{0, 0, 0, 0x111, 0}));
}

TEST(Image, attached_regions_are_clipped_and_empty_ones_change_nothing) {
    const FVTImage src(10, 8, 785, 4);
    const ff::RectT<int> table[][2] = {{{2, 3, 4, 5}, {2, 3, 4, 5}},
                                       {{-2, -3, 4, 5}, {0, 0, 2, 2}},
                                       {{3, 7, INT_MAX, INT_MAX}, {3, 7, 7, 1}},
                                       {{10, 0, 1, 1}, {}},
                                       {{INT_MIN, 0, 5, 5}, {}}};
    for (const auto& [asked, got] : table) {
        FVTImage part;
        part.AttachROI(src, asked);
        EXPECT_EQ(part.data, got.width ? src.data + got.y * src.stride + 3 * got.x : nullptr);
        EXPECT_TRUE(part.width == got.width && part.height == got.height);
    }
}

std::vector<int> calls;

TEST(Image, the_registry_reuses_slots_and_runs_clean_up_functions_in_order) {
    for (int i = 0; i < 350; ++i) {
        void* const block = ff::ff_galloc(16);
        if (i % 3 == 0) ff::ff_gfree(block);
    }
    ff::ff_gfree(ff::ff_alloc(8));  // not registered: released all the same
    ff::ff_add_gfree_func(nullptr);
    ff::ff_add_gfree_func([] { calls.push_back(1); });
    ff::ff_add_gfree_func([] { throw std::runtime_error("dropped"); });
    ff::ff_add_gfree_func([] { calls.push_back(2); });
    ff::ff_gfree_all();  // the leak checker reports what it forgets
    ff::ff_gfree_all();
    EXPECT_EQ(calls, (std::vector<int>{1, 2, 1, 2})) << "the list stays";
}

}  // namespace
