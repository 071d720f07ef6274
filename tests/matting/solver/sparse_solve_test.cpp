#include "matting/solver/sparse_solve.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <new>

#include "tests/matting/solver/dense.h"
#include "tests/support/guarded_raster.h"

namespace {

const double inf = std::numeric_limits<double>::infinity(), nan = inf - inf;

// Lower triangle in 1-based compressed columns, from a dense symmetric matrix.
struct Lower {
    explicit Lower(const Matrix& a) {
        for (std::size_t j = 0; j < a.size(); ++j) {
            for (std::size_t i = j; i < a.size(); ++i)
                if (i == j || a[i][j] != 0) values.push_back(a[i][j]), rows.push_back(int(i) + 1);
            cols.push_back(int(values.size()) + 1);
        }
    }
    int solve(Vector rhs, Vector& x) const {
        return mn_sparse_solve_d(values.data(), rows.data(), cols.data(), int(x.size()), 4,
                                 rhs.data(), x.data());
    }
    Vector values;
    std::vector<int> rows, cols{1};
};

TEST(SparseSolve, what_a_singular_system_does_not_determine_keeps_its_entry_value) {
    // Unknown 1 has an empty row; 2 and 3 are only tied to each other.
    const Lower a({{4, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 1, -1}, {0, 0, -1, 1}});
    Vector x{9, 0.75, 0.25, 0.5};
    EXPECT_EQ(a.solve({2, 0, 0, 0}, x), 0);
    const double expected[] = {0.5, 0.75, 0.375, 0.375};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(x[i], expected[i], 1e-5) << i;
    x = {nan, inf, -inf, nan};
    EXPECT_EQ(a.solve({2, 0, 0, 0}, x), 0);
    EXPECT_NEAR(x[0], 0.5, 1e-5);
    EXPECT_EQ(x[1], 0);
}

TEST(SparseSolve, results_that_are_not_finite_never_leave) {
    for (double poison : {nan, inf, -inf, 1e308}) {
        const Vector entry{0.25, 0.5};
        Vector x = entry, y = entry;
        EXPECT_EQ(Lower({{1e-300, 0}, {0, 1}}).solve({poison, 1}, x), 0);
        EXPECT_EQ(Lower({{nan, 0}, {0, 1}}).solve({poison, 1}, y), 0);
        EXPECT_TRUE(x == entry && y == entry) << poison;
    }
}

TEST(SparseSolve, badly_scaled_rows_and_full_matrices_by_columns) {
    Vector x(3, nan);
    EXPECT_EQ(Lower({{2e6, 1, 0}, {1, 1e-3, 0}, {0, 0, 7}}).solve({4e6 + 3, 2.003, 7e9}, x), 0);
    EXPECT_NEAR(std::abs(x[0] - 2) + std::abs(x[1] - 3) + std::abs(x[2] / 1e9 - 1), 0, 1e-9);
    int rows[] = {0, 0, 1}, cols[] = {0, 1, 3};
    double values[] = {2, 1, 4}, rhs[] = {4, 8};
    EXPECT_EQ(SparseLinearSys(rows, cols, values, rhs, x.data(), 2, 3), 0);
    EXPECT_NEAR(x[0] + 10 * x[1], 21, 1e-9);
}

TEST(SparseSolve, malformed_systems_are_refused) {
    for (int damage = 0; damage < 4; ++damage) {
        Lower bad({{2, 1, 0}, {1, 2, 1}, {0, 1, 2}});
        (damage == 0 ? bad.cols[1] : damage == 1 ? bad.cols[0] : bad.rows[1]) = 12 - 4 * damage;
        Vector x{7, 8, 9};
        EXPECT_EQ(bad.solve({1, 1, 1}, x), -1) << damage;
        EXPECT_EQ(x, (Vector{7, 8, 9}));
    }
}

// The Laplacian of a side x side grid with 1 added to its diagonal; 0 where x is 0, else 1.
struct Grid {
    explicit Grid(int side) : n(side * side) {
        for (int k = 0; k < n; ++k) {
            const auto add = [&](double v, int row) {
                values.push_back(v), rows.push_back(row + 1);
            };
            add(5, k);
            if (k % side + 1 < side) add(-1, k + 1);
            if (k + side < n) add(-1, k + side);
            cols.push_back(int(values.size()) + 1);
        }
    }
    int n;
    Vector values;
    std::vector<int> rows, cols{1};
};

void limit_memory(rlim_t bytes) {
    const rlimit limit{bytes, RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
}

rlim_t memory_in_use() {
    long pages = 0;
    std::FILE* f = std::fopen("/proc/self/statm", "r");
    if (!f || std::fscanf(f, "%ld", &pages) != 1) std::exit(3);
    std::fclose(f);
    return rlim_t(pages) * rlim_t(sysconf(_SC_PAGESIZE));
}

// Solves under rising limits of memory; what the caller sees must be a solution, the entry values
// or bad_alloc, and afterwards, without a limit, a solution. Exits 0 when all of it held and
// SuperLU itself ran out at least once.
[[noreturn]] void solve_while_memory_runs_out() {
    const Grid grid(150);
    Vector x(std::size_t(grid.n)), rhs(x.size());
    const auto solve = [&] {
        std::fill(x.begin(), x.end(), 0.5);
        std::fill(rhs.begin(), rhs.end(), 1.0);
        return mn_sparse_solve_d(grid.values.data(), grid.rows.data(), grid.cols.data(), grid.n, 4,
                                 rhs.data(), x.data());
    };
    const auto kept = [&] { return std::count(x.begin(), x.end(), 0.5) == grid.n; };
    bool good = solve() == 0 && !kept();
    int gave_up = 0;
    const rlim_t start = memory_in_use();
    for (rlim_t extra = 1; extra <= 64; ++extra) {
        limit_memory(start + (extra << 20));
        try {
            good &= solve() == 0;
            gave_up += kept();
        } catch (const std::bad_alloc&) {
        }
    }
    limit_memory(RLIM_INFINITY);
    good &= solve() == 0 && !kept() && gave_up > 0;
    std::exit(good ? 0 : 1);
}

TEST(SparseSolve, memory_that_runs_out_inside_superlu_is_a_failed_solve) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the address sanitizer reserves more than any limit";
#else
    EXPECT_EXIT(solve_while_memory_runs_out(), testing::ExitedWithCode(0), "");
#endif
}

}  // namespace
