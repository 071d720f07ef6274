// The solver's own entries: systems from records of other pictures and masks, parts of a whole
// picture's system, and matrices of any content.
#include "fuzz/input.h"
#include "matting/solver/mat_data.h"
#include "matting/solver/mat_solve.h"
#include "matting/solver/mat_system.h"
#include "matting/solver/sparse_solve.h"

namespace {

void update(Input& in, mat_data& record, mat_data& other) {
    const int w = in.between(1, 24), h = in.between(1, 24);
    const Raster<u8> img(in, w, h, 3), mask(in, w, h), trimap(in, w * h, 1), alpha(in, w * h, 1);
    if (in.rarely()) record.swap(other);
    mat_data& out = in.byte() % 4 ? record : other;
    mat_update(SIZED(img), ROWS(mask), record, out, nullptr);
    if (in.byte() % 2) mat_run(out, trimap, alpha, nullptr);
}

void solve_parts(Input& in) {
    const int w = in.between(1, 12), h = in.between(1, 12);
    const Raster<u8> img(in, w, h, 3);
    mat_data record;
    mat_init(SIZED(img), record, nullptr);
    for (int i = 0; i < 3; ++i) {
        const Raster<u8> mask(in, w, h), trimap(in, w, h), alpha(in, w, h);
        mat_mask_run(record, SIZED(trimap), ROWS(mask), ROWS(alpha), 0, 0.0);
    }
}

void solve_matrix(Input& in) {
    const int n = in.between(1, 12), entries = in.between(0, 40), base = in.byte() % 2;
    const Raster<int> columns(in, n + 1, 1), rows(in, entries, 1);
    const Raster<double> values(in, entries, 1), rhs(in, n, 1), x(in, n, 1);
    for (int k = 0, p = base; k <= n; p = std::min(p + in.byte() % 4, entries + base), ++k)
        columns[k] = p;
    for (int e = 0; e < entries; ++e) rows[e] = in.byte() % n + base;
    for (int e = 0; e < entries; ++e) values[e] = in.real();
    if (in.rarely()) columns[in.byte() % n] = in.number();
    if (in.rarely() && entries > 0) rows[in.byte() % entries] = in.number();
    columns[n] = entries + base;
    if (base == 1) mn_sparse_solve_d(values, rows, columns, n, 0, rhs, x);
    if (base == 0) SparseLinearSys(rows, columns, values, rhs, x, n, entries);
    for (int k = 0; k < n; ++k) require(x[k] - x[k] == 0.0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    Input in(data, size);
    const int kind = in.byte() % 3;
    mat_data record, other;
    for (int i = 0; kind == 0 && i < 5 && !in.empty(); ++i) update(in, record, other);
    if (kind == 1) solve_parts(in);
    if (kind == 2) solve_matrix(in);
    return 0;
}
