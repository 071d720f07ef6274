// Memory that runs out: each step of an object's life in child processes under ever wider limits of
// the address space, SuperLU's own allocations included; and a life long enough to show a leak.
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <new>

#include "matting/facade/dsc_matting_impl.h"
#include "matting/sampling/usam.h"
#include "matting/trimap/trimap.h"
#include "tests/matting/facade/disc.h"
#include "tests/support/counted_allocations.h"

namespace {

using Counted = CountedAllocations;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

std::size_t bytes_in_use() { return mallinfo2().uordblks + mallinfo2().hblkhd; }

long pages(int field) {  // 0: of the address space, 1: resident
    long size[2] = {};
    std::ifstream("/proc/self/statm") >> size[0] >> size[1];
    return size[field];
}

void limit_memory(rlim_t bytes) {
    const rlimit limit{bytes, RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
}

enum outcome { worked, threw, solver_gave_up, wrong };

constexpr int max_size = 80;

// A step of an object's life. `guide` is the trimap it solves with, where it does: none for 0.
struct Step {
    const char* name;
    void (*run)(DSCMatting&, Disc&);
    Map (*guide)(const DSCMattingImpl&, Disc&);
};
const Step steps[] = {
    {"Init", [](DSCMatting& m, Disc& d) { d.init(m, max_size); }, nullptr},
    {"SmoothBoundary", [](DSCMatting& m, Disc&) { m.SmoothBoundary(3, 0); }, nullptr},
    {"GetFImage", [](DSCMatting& m, Disc&) { m.GetFImage(nullptr, 1); }, nullptr},
    {"MakeMatte", [](DSCMatting& m, Disc& d) { d.matte(m); },
     [](const DSCMattingImpl& p, Disc& d) { return Map(p.alpha.data, p.alpha.data + d.w * d.h); }},
    {"Refine", [](DSCMatting& m, Disc& d) { d.refine(m); },
     [](const DSCMattingImpl&, Disc& d) { return d.trimap.payload(); }},
    {"MakeMatteFromSegmRes",
     [](DSCMatting& m, Disc& d) {
         m.MakeMatteFromSegmRes(d.seg, d.w, d.h, d.w, d.out, d.w, 9, 1, 0, 0);
     },
     [](const DSCMattingImpl&, Disc& d) {
         MakeTrimapFromSegRes(d.seg, d.w, d.h, d.w, d.out, d.w, 9, 1);
         return inverted(d.out.payload());
     }}};

Map alpha_of(DSCMatting& m, const Disc& d) {
    const u8* const alpha = m.GetAlpha(nullptr);
    return alpha ? Map(alpha, alpha + d.w * d.h) : Map();
}

// The alpha a step may leave: when all is well, when it threw, and when the solver gave up, so that
// what it would have solved is the working trimap.
struct Alphas {
    Map solved, before, guide, unsolved;

    Alphas(const Step& step, Disc& d) {
        DSCMatting m;
        d.init(m, max_size);
        if (&step != steps) before = alpha_of(m, d);
        step.run(m, d);
        solved = alpha_of(m, d);
        if (!step.guide) return;
        DSCMattingImpl p;
        p.Init(d.img, d.w, d.h, d.img.stride, d.seg, d.w, max_size, 5, 0.5, 3, 5, 50, 2);
        guide = step.guide(p, d);
        p.set_alpha(guide.data(), d.w, d.h, d.w);
        usam_interpolate_c1(p.work_alpha.data, p.work_width, p.work_height, p.up_index.get(),
                            2 * d.w, p.up_weights.get(), d.w, p.alpha.data, d.w, d.h, d.w,
                            guide.data(), d.w, 128);
        unsolved.assign(p.alpha.data, p.alpha.data + d.w * d.h);
    }
};

outcome run_under(rlim_t extra, const Step& step, Disc& d, const Alphas& alphas) {
    DSCMatting m;
    if (&step != steps) d.init(m, max_size);
    bool threw_up = false;
    limit_memory(rlim_t(pages(0)) * rlim_t(sysconf(_SC_PAGESIZE)) + extra);
    try {
        step.run(m, d);
    } catch (const std::bad_alloc&) {
        threw_up = true;
    }
    limit_memory(RLIM_INFINITY);
    const Map left = alpha_of(m, d);
    d.init(m, max_size);
    step.run(m, d);
    if (alpha_of(m, d) != alphas.solved) return wrong;  // no longer as good as a new one
    if (threw_up) return left == alphas.before || left == alphas.guide ? threw : wrong;
    if (left == alphas.solved) return worked;
    return left == alphas.unsolved ? solver_gave_up : wrong;
}

// The same in this process, with an eye on what it leaves allocated.
outcome run_and_look_for_leaks(rlim_t extra, const Step& step, Disc& d, const Alphas& alphas) {
    if (!std::freopen("/dev/null", "w", stdout) || std::setvbuf(stdout, nullptr, _IONBF, 0))
        return wrong;
    const long blocks = Counted::live;
    const std::size_t bytes = bytes_in_use();
    const outcome result = run_under(extra, step, d, alphas);
    return Counted::live == blocks && bytes_in_use() <= bytes + 4096 ? result : wrong;
}

TEST(Memory, a_step_without_memory_throws_or_leaves_the_alpha) {
    if (sanitized) GTEST_SKIP() << "sanitizers reserve more address space than any limit";
    mallopt(M_MMAP_THRESHOLD, 4096);  // so that the heap hoards no address space
    Disc d(240, 200);
    for (const Step& step : steps) {
        const Alphas alphas(step, d);
        int seen[4] = {};
        for (rlim_t extra = 0; seen[worked] < 3; extra += extra / 6 + 32768) {
            const pid_t child = fork();
            if (child == 0) _exit(run_and_look_for_leaks(extra, step, d, alphas));
            int status = 0;
            waitpid(child, &status, 0);
            ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < wrong)
                << step.name << ' ' << extra << " status " << status;
            ++seen[WEXITSTATUS(status)];
        }
        EXPECT_GT(seen[threw], 3) << step.name;
        EXPECT_EQ(seen[solver_gave_up] > 3, step.guide != nullptr) << step.name;
    }
}

TEST(Memory, two_hundred_photographs_leave_none_of_theirs) {
    long blocks[200], resident[200];
    std::size_t bytes[200];
    DSCMatting m;
    for (int n = 0; n < 200; ++n) {
        Disc d(31 + n % 10 * 17, 140 - n % 5 * 23);
        d.init(m, 50 + n % 10 * 9);
        d.matte(m, 3);
        m.GetFImage(nullptr, -1);
        blocks[n] = Counted::live, bytes[n] = bytes_in_use(), resident[n] = pages(1);
        if (n < 20) continue;
        ASSERT_EQ(blocks[n], blocks[n - 10]) << n;
        ASSERT_LE(bytes[n], bytes[n - 10] + 4096) << n;
        ASSERT_TRUE(sanitized ||
                    resident[n] <= *std::max_element(resident, resident + 20) * 11 / 10)
            << n;
    }
}

}  // namespace
