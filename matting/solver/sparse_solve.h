// The sparse direct solve, behind one small door: SuperLU's expert driver with column ordering by
// COLAMD and partial pivoting, no iterative refinement.
#pragma once

#include "ff/api.h"

// Solves A x = rhs for a symmetric A given as its lower triangle in 1-based compressed columns (the
// layout of mat_data).
//
// values, row_ind: col_ptr[n] - 1 entries; col_ptr: n + 1. rhs: in, n values; may come back
// row-scaled. x: in-out, n values: on entry what the unknowns keep where nothing determines them
// (values that are not finite count as 0), on return the solution.
// A singular system is solved once more with 1e-6 added to the diagonal and 1e-6 x to the
// right-hand side; when that fails too, when memory runs out inside SuperLU or its BLAS, when an
// entry is given twice, or when a result is not finite, x keeps its entry values and the call still
// returns 0. A diagonal entry that is not given is 0. What SuperLU cannot count in ints (11 million
// unknowns, or 71 million entries of the full matrix) is out of memory. Returns -1 (printing "error
// number of unknowns") for columns or rows that are no such matrix; 0 otherwise, n below 1 and null
// pointers included. std::bad_alloc when the expanded matrix cannot be had.
DSCM_API int mn_sparse_solve_d(const double* values, const int* row_ind, const int* col_ptr, int n,
                               int ignored, double* rhs, double* x);

// The driver over a full matrix in 0-based compressed columns: row_ind and values have nnz entries,
// col_ptr n + 1. rhs may come back scaled. x and failures as above. Returns 0 always.
DSCM_API int SparseLinearSys(int* row_ind, int* col_ptr, double* values, double* rhs, double* x,
                             int n, int nnz);
