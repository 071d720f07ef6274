#include "matting/solver/sparse_solve.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <new>

#include "tests/matting/solver/dense.h"
#include "tests/support/guarded_raster.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool address_sanitizer = true;
#else
constexpr bool address_sanitizer = false;
#endif

const double inf = std::numeric_limits<double>::infinity(), nan = inf - inf;

// Lower triangle in 1-based compressed columns.
struct Lower {
    Lower() = default;
    explicit Lower(const Matrix& a) {
        for (std::size_t j = 0; j < a.size(); ++j) {
            for (std::size_t i = j; i < a.size(); ++i)
                if (i == j || a[i][j] != 0) add(int(i), a[i][j]);
            end_column();
        }
    }
    void add(int row, double value) { values.push_back(value), rows.push_back(row + 1); }
    void end_column() { cols.push_back(int(values.size()) + 1); }
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
}

TEST(SparseSolve, values_that_are_not_finite_neither_enter_nor_leave) {
    for (double poison : {nan, inf, -inf, 1e308}) {
        const Vector entry{0.25, 0.5};
        for (double diagonal : {1e-300, nan}) {
            Vector x = entry;
            EXPECT_EQ(Lower({{diagonal, 0}, {0, 1}}).solve({poison, 1}, x), 0);
            EXPECT_EQ(x, entry) << poison;
        }
        Vector x(2, poison * 2);
        EXPECT_EQ(Lower({{4, 0}, {0, 0}}).solve({2, 0}, x), 0);
        EXPECT_NEAR(x[0], 0.5, 1e-5);
        EXPECT_EQ(x[1], 0);
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

// The Laplacian of a side x side grid with 1 added to its diagonal.
Lower grid_laplacian(int side) {
    Lower grid;
    for (int k = 0; k < side * side; ++k) {
        grid.add(k, 5);
        if (k % side + 1 < side) grid.add(k + 1, -1);
        if (k + side < side * side) grid.add(k + side, -1);
        grid.end_column();
    }
    return grid;
}

void limit_memory(rlim_t bytes) {
    const rlimit limit{bytes, RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
}

// Solves under rising limits of memory; what the caller sees must be a solution, the entry values
// or bad_alloc, and afterwards, without a limit, a solution. Exits 0 when all of it held and
// SuperLU itself ran out at least once.
[[noreturn]] void solve_while_memory_runs_out() {
    const Lower grid = grid_laplacian(150);
    Vector x(150 * 150);
    const auto solve = [&] {
        std::fill(x.begin(), x.end(), 0.5);
        return grid.solve(Vector(x.size(), 1.0), x);
    };
    const auto kept = [&] { return std::count(x.begin(), x.end(), 0.5) == long(x.size()); };
    bool good = solve() == 0 && !kept();
    int gave_up = 0;
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    for (rlim_t extra = 1; extra <= 64; ++extra) {
        limit_memory(pages * rlim_t(sysconf(_SC_PAGESIZE)) + (extra << 20));
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
    if (address_sanitizer) GTEST_SKIP() << "the address sanitizer reserves more than any limit";
    EXPECT_EXIT(solve_while_memory_runs_out(), testing::ExitedWithCode(0), "");
}

}  // namespace
