// Distinct objects in distinct threads. Meant for the thread sanitizer; without it the bytes tell.
#include <atomic>
#include <thread>

#include "tests/matting/facade/disc.h"

namespace {

// Everything a photograph goes through, twice, and all that came out.
Map work_on(int variant) {
    Disc d(90 - 20 * variant, 60 + 10 * variant);
    DSCMatting m;
    Map all;
    const auto keep = [&](const Map& map) { all.insert(all.end(), map.begin(), map.end()); };
    for (int max_size : {100, 40}) {
        d.init(m, max_size);
        keep(d.matte(m, 3));
        Bytes colour(3 * d.w, d.h, 0);
        m.GetFImage(colour, colour.stride, -1);
        keep(colour.payload());
        d.short_init(m, max_size);
        keep(d.refine(m, 5, 1));
        m.MakeMatteFromSegmRes(d.seg, d.w, d.h, d.w, d.out, d.w, 4, 0.4, 0, 0);
        m.set_alpha(d.out, d.w, d.h, d.w), m.SmoothBoundary(9, 2);
        m.GetAlpha(d.out, d.w);
        keep(d.out.payload());
    }
    return all;
}

TEST(Threads, distinct_objects_do_not_disturb_each_other) {
    constexpr int count = 4, repeats = 4;
    std::atomic<int> waiting{count};
    Map made[count][repeats];
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t)
        threads.emplace_back([&, t] {
            --waiting;
            while (waiting > 0) std::this_thread::yield();
            for (int n = 0; n < repeats; ++n) made[t][n] = work_on((n + t) % 2);
        });
    for (std::thread& thread : threads) thread.join();
    const Map alone[2] = {work_on(0), work_on(1)};  // last: the threads meet unused tables
    for (int t = 0; t < count; ++t)
        for (int n = 0; n < repeats; ++n) EXPECT_TRUE(made[t][n] == alone[(n + t) % 2]) << t;
}

}  // namespace
