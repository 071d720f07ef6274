// Memory that runs out: each single allocation fails in turn, and children run under ever wider
// limits of the address space. And a life long enough to leak.
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <fstream>
#include <new>
#include <set>

#include "ff/image.h"
#include "matting/solver/mat_system.h"
#include "tests/matting/facade/disc.h"
#include "tests/support/counted_allocations.h"

namespace {

using Counted = CountedAllocations;

long bytes_in_use() { return long(mallinfo2().uordblks + mallinfo2().hblkhd); }

// To what the process has and `more` bytes.
void limit_memory(rlim_t more) {
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlimit limit{pages * rlim_t(sysconf(_SC_PAGESIZE)) + more, RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
}

// A step of an object's life. Init starts from a fresh object, the others from one with a picture.
struct Step {
    const char* name;
    void (*run)(DSCMatting&, Disc&);
    bool solves;
};
const Step steps[] = {
    {"Init", [](DSCMatting& m, Disc& d) { d.init(m, 80); }, false},
    {"SmoothBoundary", [](DSCMatting& m, Disc&) { m.SmoothBoundary(3, 0); }, false},
    {"GetFImage", [](DSCMatting& m, Disc&) { m.GetFImage(nullptr, 1); }, false},
    {"MakeMatte", [](DSCMatting& m, Disc& d) { m.MakeMatte(d.out, d.w, d.h, d.w, 0, 0); }, true},
    {"Refine", [](DSCMatting& m, Disc& d) { m.Refine(d.trimap, d.w, d.h, d.w, d.out, d.w, 0, 0); },
     true},
    {"MakeMatteFromSegmRes",
     [](DSCMatting& m, Disc& d) {
         m.MakeMatteFromSegmRes(d.seg, d.w, d.h, d.w, d.out, d.w, 2, 1, 0, 0);
     },
     true}};

struct Life {
    Life(const Step& s, Disc& disc) : step(s), d(disc) {
        if (&s != steps) d.init(m, 80);
    }
    bool go_on() {  // false when it threw
        try {
            step.run(m, d);
        } catch (const std::bad_alloc&) {
            return false;
        }
        return true;
    }
    Map alpha() {
        const u8* const alpha = m.GetAlpha(nullptr);
        return alpha ? Map(alpha, alpha + d.w * d.h) : Map();
    }
    const Step& step;
    Disc& d;
    DSCMatting m;
};

// The alphas around a step that nothing disturbs.
struct Alphas {
    Alphas(const Step& step, Disc& d) {
        Life alone(step, d);
        before = alone.alpha();
        EXPECT_TRUE(alone.go_on());
        right = alone.alpha();
    }
    // How many pixels that were known, and right, are so no longer.
    int spoilt(const Map& left) const {
        int count = 0;
        for (std::size_t i = 0; i < std::min(left.size(), before.size()); ++i)
            count += before[i] != 128 && before[i] == right[i] && left[i] != right[i];
        return count;
    }
    Map before, right;
};

// Each `new` of a step fails in turn, and each block of SuperLU's, with which the solve is given
// up.
TEST(Allocation, a_step_without_memory_throws_or_leaves_the_alpha) {
    Disc d(120, 100);
    for (const Step& step : steps) {
        const Alphas alphas(step, d);
        const Map &before = alphas.before, &right = alphas.right;
        std::set<Map> left_by[2];  // [0] by those that threw
        const long bytes = bytes_in_use();
        int gave_up = 0;
        bool failed = true;
        for (int k = 0; failed; ++k) {
            SCOPED_TRACE(step.name + (' ' + std::to_string(k)));
            Life life(step, d);
            const long blocks = Counted::live;
            Counted::until_failure = k;
            const bool done = life.go_on();
            failed = Counted::until_failure < 0;
            Counted::until_failure = -1;
            EXPECT_TRUE(done || Counted::live == blocks);
            const Map left = life.alpha();
            left_by[done].insert(left);
            gave_up += done && failed;
            EXPECT_TRUE(!done || (left == right) == !failed) << "no second try with less";
            ASSERT_EQ(left.size(), done ? right.size() : before.size());
            EXPECT_EQ(alphas.spoilt(left), 0);
            d.init(life.m, 80);  // it must be as good as a new one
            EXPECT_TRUE(life.go_on() && life.alpha() == right);
        }
        EXPECT_TRUE(left_by[0].size() <= 2 && left_by[1].size() <= 2) << step.name;
        // A static SuperLU may lose two arrays of one try.
        EXPECT_LE(bytes_in_use(), bytes + 4000000) << step.name;
        EXPECT_EQ(gave_up > 20, step.solves) << step.name;
    }
}

TEST(Allocation, a_step_under_any_limit_throws_gives_up_or_works) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers reserve more address space than any limit";
#endif
    // So that the heap hoards no address space.
    malloc_trim(0), mallopt(M_MMAP_THRESHOLD, 4096);
    Disc d(120, 100);
    for (const Step& step : steps) {
        const Alphas alphas(step, d);
        const Map& right = alphas.right;
        enum { threw, gave_up, worked, wrong };
        int seen[wrong] = {}, status = 0;
        for (rlim_t more = 0; seen[worked] < 3; more += more / 5 + 2048) {
            if (const pid_t child = fork()) {
                waitpid(child, &status, 0);
                ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < wrong)
                    << step.name << ' ' << more << " status " << status;
                ++seen[WEXITSTATUS(status)];
                continue;
            }
            close(STDOUT_FILENO);
            Life life(step, d);
            const long blocks = Counted::live;
            limit_memory(more);
            const bool done = life.go_on();
            limit_memory(RLIM_INFINITY / 2);
            const bool leaked = !done && Counted::live != blocks;
            const Map left = life.alpha();
            const bool clean = !leaked && !alphas.spoilt(left);
            d.init(life.m, 80);  // it must be as good as a new one
            const bool usable = life.go_on() && life.alpha() == right;
            _exit(!clean || !usable ? wrong : !done ? threw : left == right ? worked : gave_up);
        }
        EXPECT_GT(seen[threw], 3) << step.name;
        EXPECT_EQ(seen[gave_up] > 3, step.solves) << step.name;
    }
}

TEST(Allocation, a_failed_assembly_leaves_the_record_as_it_was) {
    Disc d(24, 20);
    mat_data record;
    mat_update(d.img, 24, 20, 72, d.seg, 24, record, record, nullptr);
    const double* const values = record.values;
    for (int k = 0; record.values == values; ++k) {
        const long blocks = Counted::live;
        Counted::until_failure = k;
        try {
            mat_update(d.img, 24, 20, 72, d.trimap, 24, record, record, nullptr);
        } catch (const std::bad_alloc&) {
        }
        Counted::until_failure = -1;
        EXPECT_EQ(Counted::live, blocks);
    }
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

TEST(Allocation, two_hundred_photographs_leave_none_of_theirs) {
    long blocks[200], bytes[200];
    DSCMatting m;
    for (int n = 0; n < 200; ++n) {
        Disc d(31 + n % 10 * 17, 140 - n % 5 * 23);
        d.init(m, 50 + n % 10 * 9);
        d.matte(m, 3);
        m.GetFImage(nullptr, -1);
        blocks[n] = Counted::live, bytes[n] = bytes_in_use();
        if (n < 20) continue;
        ASSERT_EQ(blocks[n], blocks[n - 10]) << n;
        ASSERT_LE(bytes[n], bytes[n - 10] + 4096) << n;
    }
}

}  // namespace
