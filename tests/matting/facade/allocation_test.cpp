#include <climits>
#include <new>
#include <string>

#include "ff/components_color.h"
#include "ff/filters.h"
#include "ff/image.h"
#include "ff/raster.h"
#include "matting/edit/cleanup.h"
#include "matting/facade/dsc_matting.h"
#include "matting/sampling/usam.h"
#include "matting/solver/mat_solve.h"
#include "matting/solver/mat_system.h"
#include "matting/trimap/distance_transform.h"
#include "matting/trimap/trimap.h"
#include "tests/support/counted_allocations.h"
#include "tests/support/guarded_raster.h"

namespace {

using Map = std::vector<u8>;
using Counted = CountedAllocations;

constexpr int w = 24, h = 20;
// Results lie outside the std::function closures, which would allocate.
u8 img[3 * w * h], seg[w * h], trimap[w * h], out[w * h], dst[w * h];
int ints[2 * w * h], counts[w * h];
short weights[w * h];
float grid[w * h];

void draw() {
    for (int i = 0; i < w * h; ++i) {
        const int x = i % w, y = i / w;
        for (int c = 0; c < 3; ++c) img[3 * i + c] = u8(x < 11 ? 7 * y + c : 200 - 5 * x);
        seg[i] = x < 11 ? 255 : 0;
        trimap[i] = x < 8 ? 0 : x > 14 ? 255 : 128;
        grid[i] = seg[i] ? 1e20f : 0;
        ints[2 * i] = ints[2 * i + 1] = -1;
    }
}

// Lets the first, the second, ... allocation of call() fail until none does. Each time `check` sees
// whether the failure was clean; blocks that outlive the failed call are a leak. Returns the number
// of failures that did not come out as an exception.
template <class Call, class Check>
int fail_each_allocation(const char* name, Call call, Check check) {
    int hidden = 0;
    for (long k = 0; k < 5000; ++k) {
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
        if (!failed) return hidden;
        hidden += done;
    }
    ADD_FAILURE() << name << " never gets through";
    return hidden;
}

TEST(Allocation, scratch_is_released_on_every_path) {
    const struct {
        const char* name;
        void (*call)();
    } table[] = {
        {"flips", [] { ff::ipf_flip_vert(dst, w, h, w), ff::ipf_flip_horz(dst, 3, 5, 60, 20); }},
        {"resize", [] { ff::ipf_resize_nn(seg, w, h, w, 1, dst, 9, 9, w, 1, ff::ccn<1>()); }},
        {"bilinear", [] { ff::ipf_resize_bl(seg, w, h, w, 1, dst, 9, 9, w, 1, 1); }},
        {"mask box",
         [] {
             int box[4];
             ff::ipf_get_mask_roi(seg, w, h, w, box, 0);
         }},
        {"components", [] { ff::ipf_connected_component(seg, w, h, w, ints, w); }},
        {"minimum", [] { ff::ipf_min_filter(seg, w, h, w, 1, dst, w, 5, 2, nullptr); }},
        {"mean", [] { ff::ipf_mean_filter(seg, w, h, w, 1, dst, w, counts, w, 5, 5, nullptr); }},
        {"labelled mean",
         [] { ff::ipf_mean_filter(seg, w, h, w, 1, ints, w, nullptr, 0, 5, 5, nullptr); }},
        {"smooth", [] { mat_smooth_boundary(seg, w, h, w, dst, w, 5); }},
        {"erase", [] { vm_erase_small_cc(dst, w, h, w, 0, 1); }},
        {"isolated", [] { mat_remove_isolated(seg, w, h, w, trimap, w, dst, w, 9); }},
        {"fragments", [] { mat_erase_unknown_fragment(dst, w, h, w, 9, 200); }},
        {"transform", [] { DistanceTransform(grid, w, h); }},
        {"seeds", [] { MakeSeeds(seg, w, h, w, dst, w, 3); }},
        {"short trimap", [] { MakeTrimapFromSegRes(seg, w, h, w, dst, w, 4, 1.0); }},
        {"long trimap",
         [] { MakeTrimapFromSegRes(img, w, h, 3 * w, seg, w, dst, w, 4, 1.0, 2, 5, 50, 1); }},
        {"weights",
         [] {
             usam_calc_weights_8u_c3(img, w, h, 3 * w, nullptr, 0, img, 12, 10, 3 * w, ints, 2 * w,
                                     weights, w, 3);
         }},
    };
    for (const auto& t : table) {
        const int hidden = fail_each_allocation(
            t.name, [&] { std::fill_n(dst, w * h, 77), t.call(); },
            [&](bool done, long left) {
                EXPECT_EQ(left, 0) << t.name;
                EXPECT_TRUE(done || std::count(dst, dst + w * h, 77) == w * h)
                    << t.name << " wrote before it failed";
            });
        // Labelling reports it by its result.
        EXPECT_EQ(hidden > 0, std::string(t.name) == "components") << t.name;
    }
}

TEST(Allocation, a_failed_assembly_leaves_the_record_as_it_was) {
    mat_data record;
    draw();
    mat_update(img, w, h, 3 * w, seg, w, record, record, nullptr);
    const double* const values = record.values;
    const int n = record.n;
    fail_each_allocation(
        "mat_update", [&] { mat_update(img, w, h, 3 * w, trimap, w, record, record, nullptr); },
        [&](bool done, long left) {
            EXPECT_TRUE(left == 0 && (done || (record.values == values && record.n == n)));
        });
    mat_data whole;
    fail_each_allocation(
        "mat_init", [&] { mat_init(img, w, h, 3 * w, whole, nullptr); },
        [&](bool done, long) { EXPECT_TRUE(done || (whole.n == 0 && !whole.values)); });
    const double diagonal = record.values[0];
    fail_each_allocation(
        "mat_run", [&] { mat_run(record, trimap, out, nullptr); },
        [&](bool, long left) {
            EXPECT_TRUE(left == 0 && std::abs(record.values[0] - diagonal) < 1e-9);
        });
    fail_each_allocation(
        "mat_mask_run", [&] { mat_mask_run(whole, trimap, w, h, w, seg, w, dst, w, 0, 0); },
        [&](bool, long left) { EXPECT_EQ(left, 0); });
    EXPECT_THROW(record.create(-1), std::bad_alloc);
    EXPECT_THROW(record.create(INT_MAX), std::bad_alloc);
}

TEST(Allocation, the_facade_survives_every_failed_allocation) {
    draw();
    Map expected(w * h), matte(w * h);
    DSCMatting fresh(img, w, h, 3 * w, seg, w, 100, 4, 0.4, 3, 5, 50, 2);
    ASSERT_TRUE(fresh.MakeMatte(expected.data(), w, h, w, 3, 0));
    DSCMatting m;
    long held = Counted::live;
    fail_each_allocation(
        "Init", [&] { m.Init(img, w, h, 3 * w, seg, w, 100, 4, 0.4, 3, 5, 50, 2); },
        [&](bool done, long) {
            EXPECT_TRUE(done || (Counted::live == held && !m.GetAlpha(nullptr)));
        });
    ASSERT_TRUE(m.MakeMatte(matte.data(), w, h, w, 3, 0));
    EXPECT_EQ(matte, expected) << "after the failures as on a fresh object";
    held = Counted::live;
    for (int method = 0; method < 3; ++method) {
        draw();
        Map before(w * h), after(w * h);
        m.set_alpha(seg, w, h, w);
        m.GetAlpha(before.data(), w);
        fail_each_allocation(
            "method",
            [&] {
                if (method == 0) m.MakeMatte(out, w, h, w, 3, 1);
                if (method == 1) m.Refine(trimap, w, h, w, out, w, 3, 1);
                if (method == 2) m.MakeMatteFromSegmRes(seg, w, h, w, out, w, 3, 1.0, 3, 1);
            },
            [&](bool done, long left) {
                EXPECT_EQ(left, 0) << method;
                m.GetAlpha(after.data(), w);
                EXPECT_TRUE(done || after == before) << "alpha lost in method " << method;
            });
    }
}

TEST(Allocation, a_photograph_takes_about_sixteen_bytes_a_pixel) {
    Bytes photo(3 * 640, 480, 0, [](int x, int y) { return (x / 3 * y) % 251; });
    const std::size_t before = Counted::live_bytes;
    DSCMatting m(photo.data(), 640, 480, 3 * 640, 160);
    EXPECT_LT((Counted::live_bytes - before) / (640.0 * 480), 17);
    std::vector<u8> matte(640 * 480), known(640 * 480, 255);
    Counted::peak_bytes = Counted::live_bytes;
    const std::size_t held = Counted::live_bytes;
    m.Refine(known.data(), 640, 480, 640, matte.data(), 640, INT_MAX, INT_MAX);
    EXPECT_LT((Counted::peak_bytes - held) / (640.0 * 480), 40)
        << "a few planes, whatever the window";
}

TEST(Allocation, images_that_do_not_fit_stay_as_they_were) {
    ff::FVTImage image(3, 2, 785, 4);
    u8* const data = image.data;
    EXPECT_THROW(image.Reset(INT_MAX, 1, 785, 4), std::bad_alloc);
    EXPECT_THROW(image.Reset(INT_MAX, 1, 273, 4), std::bad_alloc) << "rounding overflows";
    EXPECT_THROW(image.Reset(INT_MAX, INT_MAX, 273, 1), std::bad_alloc);
    EXPECT_THROW(image.StepReset(1, INT_MAX, 273, INT_MAX), std::bad_alloc);
    EXPECT_THROW(image.ResetIf(INT_MAX, INT_MAX, 785), std::bad_alloc);
    EXPECT_TRUE(image.data == data && image.width == 3 && image.height == 2 && image.stride == 12);
    EXPECT_THROW(ff::ff_galloc(ULONG_MAX / 2), std::bad_alloc);
    EXPECT_THROW(ff::ff_alloc(ULONG_MAX), std::bad_alloc);
    // The registry forgets nothing and remembers nothing it did not get.
    ff::ff_gfree_all();
    const long before = Counted::live;
    for (long k = 0; k < 250; ++k) {
        Counted::until_failure = k % 3 ? -1 : k / 3 % 2;
        try {
            ff::ff_galloc(8);
        } catch (const std::bad_alloc&) {
        }
        Counted::until_failure = -1;
    }
    ff::ff_gfree_all();
    EXPECT_EQ(Counted::live, before);
}

}  // namespace
