// Plain dense linear algebra, against which the sparse solver is judged.
#pragma once

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

using Vector = std::vector<double>;
using Matrix = std::vector<Vector>;

// Gaussian elimination with partial pivoting.
inline Vector eliminate(Matrix a, Vector b) {
    const std::size_t n = b.size();
    for (std::size_t k = 0; k < n; ++k) {
        std::size_t pivot = k;
        for (std::size_t i = k + 1; i < n; ++i)
            if (std::abs(a[i][k]) > std::abs(a[pivot][k])) pivot = i;
        std::swap(a[k], a[pivot]);
        std::swap(b[k], b[pivot]);
        for (std::size_t i = k + 1; i < n; ++i) {
            const double f = a[i][k] / a[k][k];
            if (f == 0) continue;
            for (std::size_t j = k; j < n; ++j) a[i][j] -= f * a[k][j];
            b[i] -= f * b[k];
        }
    }
    for (std::size_t k = n; k-- > 0;) {
        for (std::size_t j = k + 1; j < n; ++j) b[k] -= a[k][j] * b[j];
        b[k] /= a[k][k];
    }
    return b;
}
