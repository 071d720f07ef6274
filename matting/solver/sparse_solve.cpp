// Half matrix to full matrix to SuperLU.
//
// The expansion counts the entries of every full column, turns the counts into column starts and
// fills the columns in ascending order of the half matrix, so that rows rise in every column. It
// keeps nothing but the full matrix while the factorisation runs: the peak of a solve is SuperLU's.
// SuperLU may scale the matrix and the right-hand side in place; a second attempt expands anew.
//
// SuperLU writes outside its arrays where a column has no row left to pivot on, and where an entry
// comes twice. So entries are looked through for the latter, and a diagonal that is not there is
// put in as 0: a matrix with a whole diagonal always has a row left, be its values what they may.
#include "matting/solver/sparse_solve.h"

#include <slu_ddefs.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>

#include "ff/scratch.h"
#include "matting/solver/blas_buffer.h"
#include "matting/solver/superlu_guard.h"

namespace {

using ff::make_scratch;
using ff::scratch;

// What holds unknowns of a singular system to their entry values.
constexpr double regularisation = 1e-6;

// A symmetric matrix in 0-based compressed columns, both triangles.
struct full_matrix {
    int n = 0;
    int nnz = 0;
    scratch<int> col_ptr;
    scratch<int> row_ind;
    scratch<double> values;
};

enum class outcome { solved, singular, failed };

// --- the driver ---------------------------------------------------------------------------------

// Everything one dgssvx call touches; plain data, since a failed allocation jumps over it.
struct driver_call {
    int n, nnz;
    int *row_ind, *col_ptr;
    double *values, *rhs, *x;
    int *perm_c, *perm_r, *etree;
    double *row_scale, *col_scale;
    int info;
};

void destroy_factors(SuperMatrix& lower, SuperMatrix& upper) {
    Destroy_SuperNode_Matrix(&lower);
    Destroy_CompCol_Matrix(&upper);
}

void call_driver(void* argument) {
    auto& c = *static_cast<driver_call*>(argument);
    superlu_options_t options;
    set_default_options(&options);  // COLAMD, partial pivoting, equilibration, no refinement
    SuperMatrix a, b, x, lower, upper;
    dCreate_CompCol_Matrix(&a, c.n, c.n, c.nnz, c.values, c.row_ind, c.col_ptr, SLU_NC, SLU_D,
                           SLU_GE);
    dCreate_Dense_Matrix(&b, c.n, 1, c.rhs, c.n, SLU_DN, SLU_D, SLU_GE);
    dCreate_Dense_Matrix(&x, c.n, 1, c.x, c.n, SLU_DN, SLU_D, SLU_GE);
    SuperLUStat_t stat;
    StatInit(&stat);
    char equed = 'N';
    double growth, condition, forward_error, backward_error;
    GlobalLU_t workspace;
    mem_usage_t usage;
    dgssvx(&options, &a, c.perm_c, c.perm_r, c.etree, &equed, c.row_scale, c.col_scale, &lower,
           &upper, nullptr, 0, &b, &x, &growth, &condition, &forward_error, &backward_error,
           &workspace, &usage, &stat, &c.info);
    StatFree(&stat);
    // The factors exist when the factorisation ran to its end, be it with a zero pivot.
    if (c.info >= 0 && c.info <= c.n + 1) destroy_factors(lower, upper);
    Destroy_SuperMatrix_Store(&a);
    Destroy_SuperMatrix_Store(&b);
    Destroy_SuperMatrix_Store(&x);
}

// Whether SuperLU's int counters hold what it will count: the bytes of its work space (2 panels + 7
// ints an unknown) and its first guess of the factors' entries (30 for each of the matrix). Beyond
// them memory would be said to be missing on one processor and overrun on another.
bool can_be_counted(int n, int nnz) {
    const std::int64_t work_bytes = (2 * std::int64_t(sp_ienv(1)) + 7) * std::int64_t(sizeof(int));
    return n <= INT_MAX / work_bytes && nnz <= INT_MAX / sp_ienv(6);
}

bool all_finite(const double* v, std::ptrdiff_t n) {
    return std::all_of(v, v + n, [](double d) { return std::isfinite(d); });
}

// Whether no column has two entries of one row.
bool is_free_of_repeats(const int* row_ind, const int* col_ptr, int n) {
    const auto last_column = make_scratch<int>(n);  // that had an entry in the row
    std::fill_n(last_column.get(), n, -1);
    for (int j = 0; j < n; ++j)
        for (int p = col_ptr[j]; p < col_ptr[j + 1]; ++p) {
            int& last = last_column[std::size_t(row_ind[p])];
            if (last == j) return false;
            last = j;
        }
    return true;
}

// Solves into `solution`; rhs and values may come back scaled.
outcome solve_full(const full_matrix& m, double* rhs, double* solution) {
    const int n = m.n, nnz = m.nnz;
    int *const row_ind = m.row_ind.get(), *const col_ptr = m.col_ptr.get();
    double* const values = m.values.get();
    if (!all_finite(values, nnz) || !all_finite(rhs, n)) return outcome::failed;
    driver_call call{};
    scratch<int> orders;
    scratch<double> scales;
    try {
        orders = make_scratch<int>(n, 3);
        scales = make_scratch<double>(n, 2);
        if (!is_free_of_repeats(row_ind, col_ptr, n)) return outcome::failed;
    } catch (const std::bad_alloc&) {
        std::printf("malloc fails for buf\n");
        return outcome::failed;
    }
    const auto size = std::ptrdiff_t(n);
    call.n = n, call.nnz = nnz;
    call.row_ind = row_ind, call.col_ptr = col_ptr, call.values = values;
    call.rhs = rhs, call.x = solution;
    call.perm_c = orders.get(), call.perm_r = orders.get() + size,
    call.etree = orders.get() + 2 * size;
    call.row_scale = scales.get(), call.col_scale = scales.get() + size;
    const matting::blas_buffer buffer;
    if (!buffer || !can_be_counted(n, nnz) || !superlu_guarded_call(call_driver, &call) ||
        call.info > n + 1) {
        std::printf("Not enough memory to perform factorization.\n");
        return outcome::failed;
    }
    if (call.info > 0 && call.info <= n) return outcome::singular;
    return call.info >= 0 && all_finite(solution, n) ? outcome::solved : outcome::failed;
}

// --- the expansion ------------------------------------------------------------------------------

// Whether the column starts rise from `base` and every row exists; rows count from `base` too.
bool is_matrix(const int* row_ind, const int* col_ptr, int n, int base) {
    if (col_ptr[0] != base) return false;
    for (int j = 0; j < n; ++j)
        if (col_ptr[j + 1] < col_ptr[j]) return false;
    return std::all_of(row_ind, row_ind + (col_ptr[n] - base),
                       [=](int row) { return row >= base && row - base < n; });
}

// Whether column j has an entry on the diagonal; rows and positions count from `base`.
bool has_diagonal(const int* row_ind, const int* col_ptr, int j, int base) {
    const int* begin = row_ind + (col_ptr[j] - base);
    const int* end = row_ind + (col_ptr[j + 1] - base);
    return std::find(begin, end, j + base) != end;
}

// Entries of every full column, into col_ptr[j + 1]; returns their total.
std::int64_t count_columns(const int* row_ind, const int* half_ptr, int n, int* col_ptr) {
    std::fill(col_ptr, col_ptr + n + 1, 0);
    std::int64_t total = 0;
    const auto count = [&](int column) { ++col_ptr[column + 1], ++total; };
    for (int j = 0; j < n; ++j) {
        if (!has_diagonal(row_ind, half_ptr, j, 1)) count(j);
        for (int p = half_ptr[j]; p < half_ptr[j + 1]; ++p) {
            const int row = row_ind[p - 1] - 1;
            count(row);
            if (row != j) count(j);
        }
    }
    return total;
}

// `extra_diagonal` is added to every diagonal entry.
full_matrix expand(const double* values, const int* row_ind, const int* half_ptr, int n,
                   double extra_diagonal) {
    full_matrix m;
    m.n = n;
    m.col_ptr = make_scratch<int>(std::ptrdiff_t(n) + 1);
    const std::int64_t total = count_columns(row_ind, half_ptr, n, m.col_ptr.get());
    if (total > INT_MAX) throw std::bad_alloc();
    m.nnz = int(total);  // n at least: an entry on every diagonal
    m.row_ind = make_scratch<int>(std::max(m.nnz, n));
    m.values = make_scratch<double>(std::max(m.nnz, n));

    const auto next = make_scratch<int>(n);  // where the next entry of each column goes
    for (int j = 0; j < n; ++j) {
        next[std::size_t(j)] = m.col_ptr[std::size_t(j)];
        m.col_ptr[std::size_t(j) + 1] += m.col_ptr[std::size_t(j)];
    }
    const auto append = [&](int column, double value, int row) {
        const int at = next[std::size_t(column)]++;
        m.values[std::size_t(at)] = value;
        m.row_ind[std::size_t(at)] = row;
    };
    for (int j = 0; j < n; ++j) {
        if (!has_diagonal(row_ind, half_ptr, j, 1)) append(j, extra_diagonal, j);
        for (int p = half_ptr[j]; p < half_ptr[j + 1]; ++p) {
            const int row = row_ind[p - 1] - 1;
            if (row == j) {
                append(j, values[p - 1] + extra_diagonal, j);
                continue;
            }
            append(row, values[p - 1], j);
            append(j, values[p - 1], row);
        }
    }
    return m;
}

// A copy with `extra_diagonal` added to every diagonal entry.
full_matrix with_diagonal(const double* values, const int* row_ind, const int* col_ptr, int n,
                          double extra_diagonal) {
    full_matrix m;
    m.n = n;
    const std::int64_t most = std::int64_t(col_ptr[n]) + n;
    if (most > INT_MAX) throw std::bad_alloc();
    m.col_ptr = make_scratch<int>(std::ptrdiff_t(n) + 1);
    m.row_ind = make_scratch<int>(most);
    m.values = make_scratch<double>(most);
    const auto append = [&m](int row, double value) {
        m.row_ind[std::size_t(m.nnz)] = row;
        m.values[std::size_t(m.nnz)] = value;
        ++m.nnz;
    };
    for (int j = 0; j < n; ++j) {
        m.col_ptr[std::size_t(j)] = m.nnz;
        for (int p = col_ptr[j]; p < col_ptr[j + 1]; ++p)
            append(row_ind[p], row_ind[p] == j ? values[p] + extra_diagonal : values[p]);
        if (!has_diagonal(row_ind, col_ptr, j, 0)) append(j, extra_diagonal);
    }
    m.col_ptr[std::size_t(n)] = m.nnz;
    return m;
}

// --- entry values and the second attempt --------------------------------------------------------

void zero_where_not_finite(double* x, int n) {
    for (int i = 0; i < n; ++i)
        if (!std::isfinite(x[i])) x[i] = 0.0;
}

void hold_to(const double* entry, double* rhs, int n) {
    for (int i = 0; i < n; ++i) rhs[i] += regularisation * entry[i];
}

// Runs attempt(extra_diagonal, rhs, solution), a second time with the regularised system when the
// first finds it singular, and keeps the entry values of x unless one succeeds.
template <class Attempt>
void solve_or_keep(double* rhs, double* x, int n, Attempt attempt) {
    zero_where_not_finite(x, n);
    const auto kept_rhs = make_scratch<double>(n);
    const auto solution = make_scratch<double>(n);
    std::copy(rhs, rhs + n, kept_rhs.get());
    outcome result = attempt(0.0, rhs, solution.get());
    if (result == outcome::singular) {
        hold_to(x, kept_rhs.get(), n);
        result = attempt(regularisation, kept_rhs.get(), solution.get());
    }
    if (result == outcome::solved) std::copy(solution.get(), solution.get() + n, x);
}

}  // namespace

int mn_sparse_solve_d(const double* values, const int* row_ind, const int* col_ptr, int n, int,
                      double* rhs, double* x) {
    if (n < 1 || !values || !row_ind || !col_ptr || !rhs || !x) return 0;
    if (!is_matrix(row_ind, col_ptr, n, 1)) {
        std::printf("error number of unknowns");
        return -1;
    }
    solve_or_keep(rhs, x, n, [=](double extra_diagonal, double* b, double* solution) {
        return solve_full(expand(values, row_ind, col_ptr, n, extra_diagonal), b, solution);
    });
    return 0;
}

int SparseLinearSys(int* row_ind, int* col_ptr, double* values, double* rhs, double* x, int n,
                    int nnz) {
    if (n < 1 || nnz < 0 || !row_ind || !col_ptr || !values || !rhs || !x) return 0;
    if (col_ptr[n] != nnz || !is_matrix(row_ind, col_ptr, n, 0)) return 0;
    solve_or_keep(rhs, x, n, [=](double extra_diagonal, double* b, double* solution) {
        return solve_full(with_diagonal(values, row_ind, col_ptr, n, extra_diagonal), b, solution);
    });
    return 0;
}
