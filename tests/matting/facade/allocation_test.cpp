#include <climits>
#include <new>

#include "ff/image.h"
#include "matting/facade/dsc_matting.h"
#include "matting/solver/mat_system.h"
#include "tests/support/counted_allocations.h"
#include "tests/support/guarded_raster.h"

namespace {

using Counted = CountedAllocations;

constexpr int w = 24, h = 20;
u8 img[3 * w * h], seg[w * h], trimap[w * h], out[w * h];

void draw() {
    for (int i = 0; i < w * h; ++i) {
        const int x = i % w;
        for (int c = 0; c < 3; ++c) img[3 * i + c] = u8(x < 11 ? i / w * 7 + c : 200 - 5 * x);
        seg[i] = x < 11 ? 255 : 0;
        trimap[i] = x < 8 ? 0 : x > 14 ? 255 : 128;
    }
}

// Lets the first, the second, ... allocation of call() fail until none does. Each time `check` sees
// whether the call came through and how many blocks it left.
template <class Call, class Check>
void fail_each_allocation(Call call, Check check) {
    for (int k = 0;; ++k) {
        draw();
        const long before = Counted::live;
        bool done = true;
        Counted::until_failure = k;
        try {
            call();
        } catch (const std::bad_alloc&) {
            done = false;
        }
        const bool failed = Counted::until_failure < 0;
        Counted::until_failure = -1;
        check(done, Counted::live - before);
        if (!failed) return;
    }
}

TEST(Allocation, the_facade_survives_every_failed_allocation) {
    draw();
    Map expected(w * h), matte(w * h);
    DSCMatting fresh(img, w, h, 72, seg, w, 100, 4, 0.4, 3, 5, 50, 2), m;
    ASSERT_TRUE(fresh.MakeMatte(expected.data(), w, h, w, 3, 0));
    fail_each_allocation(
        [&] { m.Init(img, w, h, 72, seg, w, 100, 4, 0.4, 3, 5, 50, 2); },
        [&](bool done, long left) { EXPECT_TRUE(done || (left == 0 && !m.GetAlpha(nullptr))); });
    ASSERT_TRUE(m.MakeMatte(matte.data(), w, h, w, 3, 0));
    EXPECT_EQ(matte, expected) << "after the failures as on a fresh object";
    for (int method = 0; method < 4; ++method) {
        const auto call = [method](DSCMatting& on) {
            if (method == 0) on.Refine(trimap, w, h, w, out, w, 3, 1);
            if (method == 1) on.MakeMatteFromSegmRes(seg, w, h, w, out, w, 3, 1.0, 3, 1);
            if (method == 2) on.MakeMatte(out, w, h, w, 0, 0);
            if (method == 3) std::copy_n(on.GetFImage(nullptr, 1), w * h, out);
        };
        call(fresh);
        std::copy(out, out + w * h, expected.begin());
        fail_each_allocation([&] { call(m); },
                             [&](bool done, long left) {
                                 EXPECT_EQ(left, done && method == 3) << "the colour is kept";
                             });
        EXPECT_TRUE(std::equal(out, out + w * h, expected.begin())) << "repeated, " << method;
    }
}

TEST(Allocation, a_failed_assembly_leaves_the_record_as_it_was) {
    mat_data record;
    draw();
    mat_update(img, w, h, 72, seg, w, record, record, nullptr);
    const double* const values = record.values;
    fail_each_allocation(
        [&] { mat_update(img, w, h, 72, trimap, w, record, record, nullptr); },
        [&](bool done, long left) { EXPECT_TRUE(left == 0 && (done || record.values == values)); });
    EXPECT_THROW(record.create(-1), std::bad_alloc);
    EXPECT_THROW(record.create(INT_MAX), std::bad_alloc);
}

TEST(Allocation, images_that_do_not_fit_stay_as_they_were) {
    ff::FVTImage image(3, 2, 785, 4);
    u8* const data = image.data;
    EXPECT_THROW(image.Reset(INT_MAX, 1, 785, 4), std::bad_alloc);
    EXPECT_THROW(image.Reset(INT_MAX, 1, 273, 4), std::bad_alloc) << "rounding overflows";
    EXPECT_THROW(image.StepReset(1, INT_MAX, 273, INT_MAX), std::bad_alloc);
    EXPECT_TRUE(image.data == data && image.width == 3 && image.height == 2 && image.stride == 12);
    EXPECT_THROW(ff::ff_galloc(ULONG_MAX / 2), std::bad_alloc);
}

}  // namespace
