// Distinct objects in distinct threads. Meant for the thread sanitizer; without it the bytes tell.
#include <thread>

#include "tests/matting/facade/disc.h"

namespace {

// Everything a photograph goes through, twice, and what came out.
Map work_on(int variant) {
    Disc d(90 - 20 * variant, 60 + 10 * variant, 0);
    DSCMatting m;
    Bytes colour(3 * d.w, d.h, 0);
    Map all;
    for (int max_size : {100, 40}) {
        d.init(m, max_size);
        for (const u8 byte : d.matte(m, 3)) all.push_back(byte);
        m.GetFImage(colour, colour.stride, -1);
        for (const u8 byte : colour.payload()) all.push_back(byte);
        d.short_init(m, max_size);
        m.MakeMatteFromSegmRes(d.seg, d.w, d.h, d.w, d.out, d.w, 4, 0.4, 0, 0);
        m.set_alpha(d.out, d.w, d.h, d.w), m.SmoothBoundary(9, 2);
        for (const u8 byte : d.refine(m, 5, 1)) all.push_back(byte);
    }
    return all;
}

TEST(Threads, distinct_objects_do_not_disturb_each_other) {
    Map made[4];
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&made, t] {
            for (int n = 0; n < 4; ++n) made[t] = work_on(t % 2);
        });
    for (std::thread& thread : threads) thread.join();
    // Last, so that the threads meet tables nobody has used.
    for (int t = 0; t < 4; ++t) EXPECT_TRUE(made[t] == work_on(t % 2)) << t;
}

}  // namespace
