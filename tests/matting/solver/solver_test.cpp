#include <numeric>

#include "matting/solver/mat_solve.h"
#include "matting/solver/mat_system.h"
#include "tests/matting/solver/dense.h"
#include "tests/support/guarded_raster.h"

namespace {

using Mask = std::function<bool(int x, int y)>;

Mask disc(int cx, int cy, int square) {
    return [=](int x, int y) { return (x - cx) * (x - cx) + (y - cy) * (y - cy) < square; };
}

// 3 x 3 dilation of the pixels that do not lie on the picture's frame.
Map grown(const Map& in, int w, int h) {
    Map out = in;
    for (int y = 1; y < h - 1; ++y)
        for (int x = 1; x < w - 1; ++x)
            for (int k = 0; in[y * w + x] && k < 9; ++k)
                out[(y + k / 3 - 1) * w + x + k % 3 - 1] = 1;
    return out;
}

struct Problem {
    Problem(int width, int height, int seed, int contrast, const Mask& is_masked)
        : w(width),
          h(height),
          random(seed),
          image(3 * w, h, 5, noise(random, 100, 100 + contrast)),
          mask(w, h, 3, [&](int x, int y) { return is_masked(x, y) ? 1 + (x + y) % 255 : 0; }),
          trimap(w, h, 0, [&](int x, int y) { return is_masked(x, y) ? 128 : 255 * (x > y); }),
          alpha(w, h, 0, noise(random)),
          masked(mask.payload()) {
        const Map unknown = grown(masked, w, h);
        for (int i = 0; i < w * h; ++i) {
            number.push_back(unknown[i] ? int(pixels.size()) : -1);
            if (unknown[i]) pixels.push_back(i);
        }
    }
    void assemble(const mat_data& previous, mat_data& out) {
        mat_update(image, w, h, image.stride, mask, mask.stride, previous, out, nullptr);
    }
    void assemble_whole(mat_data& out) { mat_init(image, w, h, image.stride, out, nullptr); }
    int run(mat_data& d) { return mat_run(d, trimap, alpha, nullptr); }

    // The matting Laplacian. A 3 x 3 window adds I - M (M'M + R)^-1 M', where a row of M is a
    // pixel's colour and 1: what the best affine function of the colour leaves over.
    Matrix laplacian() {
        Matrix l(pixels.size(), Vector(pixels.size()));
        for (int y = 0; y < h - 2; ++y)
            for (int x = 0; x < w - 2; ++x) add_window(x, y, l);
        return l;
    }
    void add_window(int x, int y, Matrix& l) {
        Matrix m(9, Vector(4, 1.0)), normal(4, Vector(4));
        for (int k = 0; k < 27; ++k)
            m[k / 3][k % 3] = double(image(3 * (x + k / 3 % 3) + k % 3, y + k / 9) * 0.003921569f);
        for (int k = 0; k < 16; ++k) {
            normal[k / 4][k % 4] = k % 5 == 0 && k < 15 ? 9e-4 : 0;
            for (const Vector& row : m) normal[k / 4][k % 4] += row[k / 4] * row[k % 4];
        }
        const auto at = [&](int k) { return number[(y + k / 3) * w + x + k % 3]; };
        for (int k = 0; k < 81; ++k) {
            const int p = at(k / 9), q = at(k % 9);
            if (p < 0 || q < 0) continue;
            const Vector fit = eliminate(normal, m[k / 9]);
            const double weight = std::inner_product(fit.begin(), fit.end(), m[k % 9].begin(), 0.0);
            l[p][q] -= weight, l[p][p] += weight;
        }
    }

    int w, h;
    Random random;
    Bytes image, mask, trimap, alpha;
    Map masked;
    std::vector<int> pixels, number;  // of the system, in raster order; -1 or the place in it
};

// The record's matrix, once its layout has been checked.
Matrix dense(const mat_data& d) {
    Matrix a(d.n, Vector(d.n));
    EXPECT_EQ(d.col_ptr[0], 1);
    for (int k = 0; k < d.n; ++k) {
        const int *begin = d.row_ind + d.col_ptr[k] - 1, *end = d.row_ind + d.col_ptr[k + 1] - 1;
        EXPECT_TRUE(begin < end && end - begin <= 13 && *begin == k + 1) << k;
        EXPECT_EQ(std::adjacent_find(begin, end, std::greater_equal<int>()), end) << k;
        for (const int* row = begin; row < end; ++row)
            a[k][*row - 1] = a[*row - 1][k] = d.values[row - d.row_ind];
    }
    return a;
}

const struct {
    const char* name;
    int w, h, contrast;
    Mask mask;
} shapes[] = {{"one pixel", 15, 13, 155, disc(7, 6, 1)},
              {"flat disc", 17, 15, 2, disc(8, 7, 9)},
              {"left edge", 16, 13, 155, disc(-2, 6, 30)},
              {"corner", 16, 13, 40, disc(16, 13, 25)},
              {"scattered", 17, 16, 155, [](int x, int y) { return (5 * x + 7 * y) % 11 == 0; }},
              {"lone pixel on the border and disc", 16, 14, 40,
               [](int x, int y) { return disc(0, 7, 1)(x, y) || disc(11, 7, 5)(x, y); }}};

TEST(Assembly, matrix_is_the_textbook_laplacian_and_its_rows_sum_to_zero) {
    for (const auto& s : shapes) {
        Problem p(s.w, s.h, 7, s.contrast, s.mask);
        mat_data d;
        p.assemble(d, d);
        ASSERT_TRUE(d.unknown_pixel_count == d.n && d.unknown_flag_count == d.n) << s.name;
        ASSERT_EQ(std::vector<int>(d.unknown_pixels, d.unknown_pixels + d.n), p.pixels) << s.name;
        const Matrix a = dense(d), expected = p.laplacian();
        for (int i = 0; i < d.n; ++i) {
            const int pixel = p.pixels[i], x = pixel % s.w - d.roi[0], y = pixel / s.w - d.roi[1];
            EXPECT_EQ(d.unknown_flags[i], !p.masked[pixel]) << s.name;
            EXPECT_EQ(d.index_map[y * d.index_stride + x], i) << s.name;
            EXPECT_NEAR(std::accumulate(a[i].begin(), a[i].end(), 0.0), 0, 1e-9) << s.name;
            // Colours enter in single precision; flat windows magnify that.
            for (int j = 0; j < d.n; ++j)
                EXPECT_NEAR(a[i][j], expected[i][j], 2e-3) << s.name << ' ' << i << ' ' << j;
        }
    }
}

// A window's weights do not depend on which windows are weighed beside it.
TEST(Assembly, a_wider_mask_leaves_the_weights_of_what_it_covers) {
    for (int w = 1; w <= 41; ++w) {
        const int end = 9 + (w > 40 ? 150 : w);  // the last one spans several strips of windows
        mat_data narrow, wide;
        for (int more = 0; more < 5; ++more) {
            Problem p(end + 5, 9, 4, 155,
                      [&](int x, int y) { return x >= 9 - more && x < end && (y == 4 || y == 5); });
            p.assemble(mat_data(), more ? wide : narrow);
            if (!more) continue;
            const Matrix a = dense(narrow), b = dense(wide);
            for (int i = 0; i < narrow.n; ++i)
                for (int j = 0; j < i; ++j)
                    ASSERT_EQ(
                        a[i][j],
                        b[p.number[narrow.unknown_pixels[i]]][p.number[narrow.unknown_pixels[j]]])
                        << w << ' ' << more;
        }
    }
}

TEST(Assembly, reused_columns_are_those_of_a_fresh_record) {
    Problem first(31, 27, 3, 90, disc(14, 12, 50)), repainted(31, 27, 99, 90, disc(14, 12, 50));
    Problem moved(31, 27, 3, 90, disc(17, 9, 60)), small(9, 8, 3, 90, disc(7, 7, 16));
    mat_data old, next, fresh;
    first.assemble(old, old);
    for (Problem* p : {&first, &moved}) {
        p->assemble(old, next);
        p->assemble(mat_data(), fresh);
        EXPECT_EQ(dense(next), dense(fresh));
    }
    repainted.assemble(old, next);
    int reused = 0;  // full columns, though the picture has changed; only the diagonal is new
    for (int k = 0; k < next.n; ++k) {
        const int below = next.col_ptr[k], end = next.col_ptr[k + 1] - 1;
        reused += end - below == 12 &&
                  std::equal(next.values + below, next.values + end, old.values + below);
    }
    EXPECT_GT(reused, 50);
    small.assemble(old, old);  // a record of a larger picture is clipped
    EXPECT_EQ(dense(old).size(), small.pixels.size());
    old.release();
    EXPECT_TRUE(!old.values && old.n == int(small.pixels.size())) << "the counts stay";
}

TEST(Solve, equals_dense_elimination_and_leaves_the_record_as_it_was) {
    for (const auto& s : shapes) {
        Problem p(s.w, s.h, 8, s.contrast, s.mask);
        mat_data d;
        p.assemble(d, d);
        Matrix a = p.laplacian();
        Vector b(d.n);
        const Map entry = p.alpha.payload();
        for (int i = 0; i < d.n; ++i) {
            const int pixel = p.pixels[i];
            u8& t = p.trimap(pixel % s.w, pixel / s.w);
            // Some of all kinds become known, some of the ring unknown.
            t = i % 3 == 0 ? u8(i * 7) : !p.masked[pixel] && i % 3 == 1 ? 128 : t;
            // The lone pixel keeps its value: a weight too small to matter elsewhere.
            const double weight = t != 128 || !p.masked[pixel] ? 1000 : 1e-6;
            a[i][i] += weight;
            b[i] = (t != 128 ? t : entry[pixel]) / 255.0 * weight;
        }
        testing::internal::CaptureStdout();
        ASSERT_EQ(p.run(d), 0) << s.name;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nnp=" + std::to_string(d.n));
        const Map result = p.alpha.payload(), known = p.trimap.payload();
        const Vector x = eliminate(a, b);
        Map expected = entry;
        for (int i = 0; i < d.n; ++i) {
            const int pixel = p.pixels[i];
            // Half a byte of rounding and what single precision colours move.
            EXPECT_NEAR(result[pixel], std::clamp(255 * x[i], 0.0, 255.0), 0.75) << s.name << i;
            expected[pixel] = result[pixel];
            EXPECT_EQ(d.unknown_flags[i], !p.masked[pixel] && known[pixel] == 128)
                << "a known ring pixel loses its mark";
        }
        EXPECT_EQ(result, expected) << s.name << ": pixels outside the system";
        std::copy(entry.begin(), entry.end(), static_cast<u8*>(p.alpha));
        p.run(d);
        d.row_ind[1] = d.n + 1;
        EXPECT_EQ(p.run(d), -1);
        EXPECT_EQ(p.alpha.payload(), result) << s.name << ": a second run and a refused one";
    }
}

TEST(Solve, a_masked_part_of_a_whole_record_equals_its_own_system) {
    Problem p(26, 23, 5, 120, disc(12, 11, 40));
    p.alpha.fill([](int x, int y) { return x < 12 ? 4 * y : 250; });
    p.trimap.fill([](int x, int y) { return x == 12 && y == 11 ? 30 : 128; });
    Bytes free(26, 23, 4, [](int x, int y) { return x == 12 && y == 11 ? 30 : 0; });
    Bytes part(26, 23, 7, [&](int x, int y) { return p.alpha(x, y); });
    mat_data own, whole;
    p.assemble(own, own);
    p.assemble_whole(whole);
    for (int w : {25, 26}) {  // the first is not the record's
        EXPECT_EQ(part.payload(), p.alpha.payload());
        mat_mask_run(whole, free, w, 23, 30, p.mask, 29, part, 33, 0, 0);
    }
    EXPECT_EQ(p.run(own), 0);
    const Map system = grown(p.masked, 26, 23);
    int truncated = 0;
    part.each([&](int x, int y) {
        const int less = p.alpha(x, y) - part(x, y);  // truncated here, rounded there
        ASSERT_TRUE(less == 0 || (less == 1 && system[y * 26 + x])) << x << ',' << y;
        truncated += less;
    });
    EXPECT_GT(truncated, 40);
    for (int value : {12, 20}) {  // of one known pixel
        p.trimap.fill([=](int x, int y) { return x == value && y == 11 ? value : 128; });
        EXPECT_EQ(p.run(whole), 0);
        EXPECT_EQ(p.alpha.payload(), Map(26 * 23, u8(value))) << "is everywhere";
    }
}

}  // namespace
