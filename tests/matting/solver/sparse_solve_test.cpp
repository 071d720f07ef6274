#include "matting/solver/sparse_solve.h"

#include <algorithm>
#include <limits>

#include "tests/matting/solver/dense.h"
#include "tests/support/guarded_raster.h"

namespace {

const double inf = std::numeric_limits<double>::infinity(), nan = inf - inf;

// Lower triangle in 1-based compressed columns.
struct Lower {
    explicit Lower(const Matrix& a, bool whole_diagonal = true) {
        for (std::size_t j = 0; j < a.size(); ++j) {
            for (std::size_t i = j; i < a.size(); ++i)
                if ((i == j && whole_diagonal) || a[i][j] != 0)
                    values.push_back(a[i][j]), rows.push_back(int(i) + 1);
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
    for (const bool whole_diagonal : {true, false}) {
        const Lower a({{4, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 1, -1}, {0, 0, -1, 1}}, whole_diagonal);
        Vector x{9, 0.75, 0.25, 0.5};
        EXPECT_EQ(a.solve({2, 0, 0, 0}, x), 0);
        const double expected[] = {0.5, 0.75, 0.375, 0.375};
        for (int i = 0; i < 4; ++i) EXPECT_NEAR(x[i], expected[i], 1e-5) << i;
    }
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

}  // namespace
