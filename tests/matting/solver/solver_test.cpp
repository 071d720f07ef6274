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
          alpha(w, h, 0, noise(random)) {
        mask.each([&](int x, int y) { masked.push_back(mask(x, y) != 0); });
        const Map unknown = grown(masked, w, h);
        for (int i = 0; i < w * h; ++i)
            if (unknown[i]) pixels.push_back(i);
    }
    void assemble(const mat_data& previous, mat_data& out) {
        mat_update(image, w, h, image.stride, mask, mask.stride, previous, out, nullptr);
    }
    int run(mat_data& d) { return mat_run(d, trimap, alpha, nullptr); }

    // The matting Laplacian from its formula, over the windows near the mask.
    Matrix laplacian() {
        const Map near = grown(grown(masked, w, h), w, h);
        std::vector<int> number(w * h, -1);
        for (std::size_t k = 0; k < pixels.size(); ++k) number[pixels[k]] = int(k);
        Matrix l(pixels.size(), Vector(pixels.size()));
        for (int y = 1; y < h - 1; ++y)
            for (int x = 1; x < w - 1; ++x)
                if (near[y * w + x]) add_window(x, y, number, l);
        return l;
    }
    void add_window(int x, int y, const std::vector<int>& number, Matrix& l) {
        Matrix colour(9, Vector(3)), covariance(3, Vector(3));
        for (int k = 0; k < 27; ++k)
            colour[k / 3][k % 3] =
                double(image(3 * (x + k / 3 % 3 - 1) + k % 3, y + k / 9 - 1) * 0.003921569f);
        for (int c = 0; c < 3; ++c) {
            double mean = 0;
            for (const Vector& i : colour) mean += i[c] / 9;
            for (Vector& i : colour) i[c] -= mean;
        }
        for (int k = 0; k < 9; ++k) {
            covariance[k / 3][k % 3] = k % 4 ? 0 : 1e-4;
            for (const Vector& i : colour) covariance[k / 3][k % 3] += i[k / 3] * i[k % 3] / 9;
        }
        for (int i = 0; i < 9; ++i) {
            const Vector whitened = eliminate(covariance, colour[i]);
            const int p = number[(y + i / 3 - 1) * w + x + i % 3 - 1];
            for (int j = 0; j < i; ++j) {
                const int q = number[(y + j / 3 - 1) * w + x + j % 3 - 1];
                if (p < 0 || q < 0) continue;
                double weight = 1.0 / 9;
                for (int c = 0; c < 3; ++c) weight += whitened[c] * colour[j][c] / 9;
                l[p][q] -= weight, l[q][p] -= weight, l[p][p] += weight, l[q][q] += weight;
            }
        }
    }

    int w, h;
    Random random;
    Bytes image, mask, trimap, alpha;
    Map masked;
    std::vector<int> pixels;  // of the system, in raster order
};

// The record's matrix, once its layout has been checked.
Matrix dense(const mat_data& d) {
    Matrix a(d.n, Vector(d.n));
    EXPECT_EQ(d.col_ptr[0], 1);
    for (int k = 0; k < d.n; ++k) {
        const int begin = d.col_ptr[k] - 1, end = d.col_ptr[k + 1] - 1;
        EXPECT_TRUE(begin < end && end - begin <= 13 && d.row_ind[begin] == k + 1) << k;
        for (int p = begin; p < end; ++p) {
            EXPECT_TRUE(p == begin || d.row_ind[p] > d.row_ind[p - 1]) << k;
            a[k][d.row_ind[p] - 1] = a[d.row_ind[p] - 1][k] = d.values[p];
        }
    }
    return a;
}

const struct {
    const char* name;
    int w, h, contrast;
    Mask mask;
} shapes[] = {{"one pixel", 15, 13, 155, disc(7, 6, 1)},
              {"disc", 17, 15, 40, disc(8, 7, 16)},
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
        ASSERT_EQ(d.n, int(p.pixels.size())) << s.name;
        ASSERT_TRUE(d.unknown_pixel_count == d.n && d.unknown_flag_count == d.n) << s.name;
        const Matrix a = dense(d), expected = p.laplacian();
        for (int i = 0; i < d.n; ++i) {
            const int pixel = p.pixels[i], x = pixel % s.w - d.roi[0], y = pixel / s.w - d.roi[1];
            EXPECT_EQ(d.unknown_pixels[i], pixel) << s.name;
            EXPECT_EQ(d.unknown_flags[i], 1 - p.masked[pixel]) << s.name;
            EXPECT_EQ(d.index_map[y * d.index_stride + x], i) << s.name;
            double sum = 0;
            for (int j = 0; j < d.n; ++j) {
                sum += a[i][j];
                // Colours enter in single precision; flat windows magnify that.
                EXPECT_NEAR(a[i][j], expected[i][j], 2e-3) << s.name << ' ' << i << ' ' << j;
            }
            EXPECT_NEAR(sum, 0, 1e-9) << s.name;
        }
    }
}

TEST(Assembly, empty_masks_and_tiny_pictures) {
    mat_data d;
    Problem some(9, 9, 1, 99, disc(8, 4, 16)), none(9, 9, 1, 99, disc(0, 0, 0));
    some.assemble(d, d);
    none.assemble(d, d);
    EXPECT_TRUE(!d.values && !d.rhs && !d.col_ptr && !d.index_buffer && !d.unknown_flags);
    EXPECT_EQ(some.run(d), 0) << "no arrays, nothing to solve";
    for (int size = 0; size < 36; ++size) {
        Problem p(1 + size % 6, 1 + size / 6, size, 99, disc(2, 2, 4));
        mat_data whole;
        p.assemble(d, d);
        mat_init(p.image, p.w, p.h, p.image.stride, whole, nullptr);
        EXPECT_EQ(whole.n, p.w * p.h);
        EXPECT_EQ(p.run(d) + p.run(whole), 0);
    }
}

TEST(Assembly, reused_columns_are_those_of_a_fresh_record) {
    Problem first(31, 27, 3, 90, disc(14, 12, 50)), same(31, 27, 3, 90, disc(14, 12, 50));
    Problem moved(31, 27, 3, 90, disc(17, 9, 60)), repainted(31, 27, 99, 90, disc(14, 12, 50));
    for (Problem* next : {&same, &moved}) {
        mat_data kept, fresh;
        first.assemble(kept, kept);
        next->assemble(mat_data(), fresh);
        next->assemble(kept, kept);
        EXPECT_EQ(dense(kept), dense(fresh));
    }
    // Full columns come from the previous record even when the picture has changed since.
    mat_data old, fresh, mixed;
    first.assemble(old, old);
    repainted.assemble(fresh, fresh);
    repainted.assemble(old, mixed);
    int full = 0;
    for (int k = 0; k < mixed.n; ++k) {
        const bool copied = mixed.col_ptr[k + 1] - mixed.col_ptr[k] == 13;
        full += copied;
        for (int p = mixed.col_ptr[k]; p < mixed.col_ptr[k + 1] - 1; ++p)
            ASSERT_EQ(mixed.values[p], (copied ? old : fresh).values[p]) << k;
    }
    EXPECT_GT(full, 50);
    Problem small(9, 8, 3, 90, disc(7, 7, 16));  // a record of a larger picture is clipped
    small.assemble(old, mixed);
    EXPECT_EQ(dense(mixed).size(), small.pixels.size());
}

TEST(Solve, equals_dense_elimination_and_leaves_the_record_as_it_was) {
    for (const auto& s : shapes) {
        Problem p(s.w, s.h, 8, s.contrast, s.mask);
        mat_data d;
        p.assemble(d, d);
        for (int i = 0; i < d.n; ++i) {  // some of all kinds become known, some of the ring unknown
            u8& t = p.trimap(p.pixels[i] % s.w, p.pixels[i] / s.w);
            t = i % 3 == 0 ? u8(i * 7) : !p.masked[p.pixels[i]] && i % 3 == 1 ? 128 : t;
        }
        Matrix a = p.laplacian();
        Vector b(d.n), diagonal(d.n);
        const Map entry = p.alpha.payload(), known = p.trimap.payload();
        for (int i = 0; i < d.n; ++i) {
            const int pixel = p.pixels[i];
            const bool pinned = known[pixel] != 128 || !p.masked[pixel];
            // The lone pixel keeps its value: a weight too small to matter elsewhere.
            const double weight = pinned ? 1000 : 1e-6, before = d.values[d.col_ptr[i] - 1];
            a[i][i] += weight;
            b[i] = (known[pixel] != 128 ? known[pixel] : entry[pixel]) / 255.0 * weight;
            diagonal[i] = pinned ? (before + 1000.0) - 1000.0 : before;
        }
        testing::internal::CaptureStdout();
        ASSERT_EQ(p.run(d), 0) << s.name;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nnp=" + std::to_string(d.n));
        const Map result = p.alpha.payload();
        const Vector x = eliminate(a, b);
        Map expected = entry;
        for (int i = 0; i < d.n; ++i) {
            const int pixel = p.pixels[i];
            // Half a byte of rounding and what single precision colours move.
            EXPECT_NEAR(result[pixel], std::clamp(255 * x[i], 0.0, 255.0), 0.75) << s.name << i;
            expected[pixel] = result[pixel];
            EXPECT_EQ(d.values[d.col_ptr[i] - 1], diagonal[i]) << s.name;
            EXPECT_EQ(d.unknown_flags[i], !p.masked[pixel] && known[pixel] == 128)
                << "a known ring pixel loses its mark";
        }
        EXPECT_EQ(result, expected) << s.name << ": pixels outside the system";
        std::copy(entry.begin(), entry.end(), static_cast<u8*>(p.alpha));
        p.run(d);
        EXPECT_EQ(p.alpha.payload(), result) << s.name << ": the second run";
        d.row_ind[1] = d.n + 1;
        EXPECT_EQ(p.run(d), -1);
        EXPECT_EQ(p.alpha.payload(), result) << s.name << ": a refused system";
    }
}

TEST(Solve, known_pixels_that_agree_give_their_value_everywhere) {
    for (int value : {0, 1, 64, 127, 129, 254, 255}) {
        for (const auto& s : shapes) {
            Problem p(s.w, s.h, 9, s.contrast, s.mask);
            p.trimap.fill([&](int x, int y) { return s.mask(x, y) ? 128 : value; });
            p.alpha.fill([&](int x, int y) { return x == 0 || !s.mask(x, y) ? value : 99; });
            mat_data d, whole;
            p.assemble(d, d);
            p.run(d);
            EXPECT_EQ(p.alpha.payload(), Map(s.w * s.h, u8(value))) << s.name;
            // Without mask data every pixel is pinned by its own trimap byte.
            mat_init(p.image, s.w, s.h, p.image.stride, whole, nullptr);
            p.alpha.fill([&](int x, int) { return x == 0 ? value : 99; });
            p.run(whole);
            EXPECT_EQ(p.alpha.payload(), Map(s.w * s.h, u8(value))) << s.name;
        }
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
    mat_init(p.image, 26, 23, p.image.stride, whole, nullptr);
    dense(whole);
    const auto solve_part = [&](int width) {
        return mat_mask_run(whole, free, width, 23, free.stride, p.mask, p.mask.stride, part,
                            part.stride, 0, 0);
    };
    EXPECT_EQ(solve_part(25), 0);
    EXPECT_EQ(part.payload(), p.alpha.payload()) << "a size that is not the record's";
    EXPECT_EQ(p.run(own) + solve_part(26), 0);
    const Map system = grown(p.masked, 26, 23);
    int truncated = 0;
    part.each([&](int x, int y) {
        const int less = p.alpha(x, y) - part(x, y);  // truncated here, rounded there
        ASSERT_TRUE(less == 0 || (less == 1 && system[y * 26 + x])) << x << ',' << y;
        truncated += less;
    });
    EXPECT_GT(truncated, 40);
}

TEST(Solve, solutions_are_rounded_and_clamped) {
    const double x[] = {-1e300, -0.1, 0.49 / 255, 0.51 / 255, 0.5, 1.0, 1.7, 1e300};
    const int order[] = {7, 6, 5, 4, 3, 2, 1, 0};
    Bytes straight(8, 1, 0), turned(8, 1, 0);
    EXPECT_EQ(_mat_get_alpha(straight, x, nullptr, 8), &straight(0, 0) + 8);
    EXPECT_EQ(_mat_get_alpha(turned, x, order, 8), &turned(0, 0));
    EXPECT_EQ(straight.payload(), (Map{0, 0, 0, 1, 128, 255, 255, 255}));
    EXPECT_EQ(turned.payload(), (Map{255, 255, 255, 128, 1, 0, 0, 0}));
}

TEST(Record, release_keeps_the_counts) {
    mat_data a, b;
    for (int twice = 0; twice < 2; ++twice) {
        int *const buffer = new int[30], roi[] = {1, 2, 3, 4};
        a.create(3);
        a.set_mask_data(8, 9, roi, buffer, buffer + 14, 6, new int[3], 3, new u8[3], 3, nullptr);
    }
    a.swap(b);
    b.release_mask_data();
    EXPECT_TRUE(!a.values && a.n == 0 && b.values && !b.index_buffer && !b.index_map);
    b.release();
    EXPECT_TRUE(!b.values && b.n == 3 && b.roi[3] == 4 && b.unknown_pixel_count == 3);
}

}  // namespace
