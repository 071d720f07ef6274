// Memory that runs out: each single allocation fails in turn, and, for what is not allocated by
// new, children run under ever wider limits of the address space. And a life long enough to leak.
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

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

long bytes_in_use() { return long(mallinfo2().uordblks + mallinfo2().hblkhd); }

struct Pages {
    long address_space = 0, resident = 0;
    Pages() { std::ifstream("/proc/self/statm") >> address_space >> resident; }
};

void limit_memory(rlim_t bytes) {
    const rlimit limit{bytes, RLIM_INFINITY};
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

// The alphas that a step leaves, [0] of those that threw, as each `new` fails in turn. What was
// known before and is right stays; nothing is left allocated.
void fail_each_new(const Step& step, Disc& d, const Map& right, std::set<Map> (&left_by)[2]) {
    const Map before = Life(step, d).alpha();
    bool failed = true;
    for (int k = 0; failed; ++k) {
        Life life(step, d);
        const long blocks = Counted::live;
        Counted::until_failure = k;
        const bool done = life.go_on();
        failed = Counted::until_failure < 0;
        Counted::until_failure = -1;
        EXPECT_TRUE(done || Counted::live == blocks) << step.name << k;
        const Map left = life.alpha();
        ASSERT_EQ(left.size(), done ? right.size() : before.size());
        int touched = 0;
        for (std::size_t i = 0; i < std::min(left.size(), before.size()); ++i)
            touched += before[i] != 128 && before[i] == right[i] && left[i] != right[i];
        EXPECT_EQ(touched, 0) << step.name << k;
        EXPECT_TRUE(left == right || (life.go_on() && life.alpha() == right)) << step.name << k;
        left_by[done].insert(left);
    }
}

TEST(Allocation, a_step_without_memory_throws_or_leaves_the_alpha) {
    mallopt(M_MMAP_THRESHOLD, 4096);  // so that the heap hoards no address space
    Disc d(120, 100);
    for (const Step& step : steps) {
        Life alone(step, d);
        ASSERT_TRUE(alone.go_on());
        const Map right = alone.alpha();
        std::set<Map> left_by[2];
        fail_each_new(step, d, right, left_by);
        if (sanitized) continue;  // sanitizers reserve more address space than any limit
        enum { threw, gave_up, worked, wrong };
        int seen[4] = {}, status = 0;
        for (rlim_t extra = 0; seen[worked] < 3; extra += extra / 5 + 8192) {
            const pid_t child = fork();
            if (child == 0) {
                close(STDOUT_FILENO);
                const long blocks = Counted::live, bytes = bytes_in_use();
                int result = wrong;
                {
                    Life life(step, d);
                    limit_memory(rlim_t(Pages().address_space * sysconf(_SC_PAGESIZE)) + extra);
                    const bool done = life.go_on();
                    limit_memory(RLIM_INFINITY);
                    const Map left = life.alpha();
                    d.init(life.m, 80);  // it must be as good as a new one
                    if (left_by[done].count(left) == 1 && life.go_on() && life.alpha() == right)
                        result = !done ? threw : left == right ? worked : gave_up;
                }
                const bool leaked = Counted::live != blocks || bytes_in_use() > bytes + 8192;
                _exit(leaked ? wrong : result);
            }
            waitpid(child, &status, 0);
            ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < wrong)
                << step.name << ' ' << extra << " status " << status;
            ++seen[WEXITSTATUS(status)];
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
    long blocks[200], resident[200], bytes[200];
    DSCMatting m;
    for (int n = 0; n < 200; ++n) {
        Disc d(31 + n % 10 * 17, 140 - n % 5 * 23);
        d.init(m, 50 + n % 10 * 9);
        d.matte(m, 3);
        m.GetFImage(nullptr, -1);
        blocks[n] = Counted::live, bytes[n] = bytes_in_use(), resident[n] = Pages().resident;
        if (n < 20) continue;
        ASSERT_EQ(blocks[n], blocks[n - 10]) << n;
        ASSERT_LE(bytes[n], bytes[n - 10] + 4096) << n;
        ASSERT_TRUE(sanitized ||
                    resident[n] <= *std::max_element(resident, resident + 20) * 11 / 10);
    }
}

}  // namespace
