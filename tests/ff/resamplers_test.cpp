#include "ff/resamplers.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

#include "ff/image.h"
#include "tests/support/guarded_raster.h"

namespace {

constexpr int one = 1024;  // ten fraction bits

// Samples a plane of 7 x 6 pixels everywhere, borders and outside included: C channels of T, rows
// a byte away from any alignment. `reach` is the side of the block that the method reads, `before`
// how far its corner lies before the position, `scale` what it makes of a flat field.
template <class Sampler, int C, class T, class Sample>
void check_plane(int reach, int before, double tolerance, double scale, Sample sample) {
    constexpr int w = 7, h = 6, size = int(sizeof(T));
    const auto plane = [](double x, double y, int c) {
        return (std::numeric_limits<T>::is_signed ? -30 : 30) + 3 * x + 5 * y + 7 * c;
    };
    Bytes raster(w * C * size, h, 1 + size);
    for (int i = 0; i < w * h * C; ++i) {
        const T v = T(plane(i / C % w, i / C / w, i % C));
        std::memcpy(&raster(i % (C * w) * size, i / C / w), &v, sizeof v);
    }
    Sampler sampler;
    sampler.Init(raster, w, h, raster.stride, 10);
    for (double y = -1.25; y < h + 2; y += 0.25)
        for (double x = -1.25; x < w + 2; x += 0.25) {
            const int xi = int(std::floor(x)) - before, yi = int(std::floor(y)) - before;
            const bool inside = xi >= 0 && yi >= 0 && xi < w && yi < h;
            const bool whole = inside && xi + reach <= w && yi + reach <= h;
            T out[C];
            std::fill_n(out, C, T(77));
            ASSERT_EQ(sample(sampler, x, y, out), inside) << x << ' ' << y;
            for (int c = 0; c < C; ++c) {
                const double single = inside ? plane(xi, yi, c) : 77;
                const double expected = whole ? scale * plane(x, y, c) : single;
                ASSERT_NEAR(double(out[c]), expected, whole ? tolerance : 0) << x << ' ' << y;
            }
        }
}

template <int C, class... Ts>
void check_channels() {
    const auto fixed = [](auto& s, double x, double y, auto* out) {
        using T = std::remove_pointer_t<decltype(out)>;
        return s.template resample<10, C, T, T>(int(x * one), int(y * one), out);
    };
    const double darker = 1023.0 * 1023 / (1024.0 * 1024);
    (check_plane<ff::FixCubicResampler, C, Ts>(4, 1, 3, darker, fixed), ...);
    const auto sample = [](auto& s, double x, double y, float* out) {
        bool far_off = false;
        for (double far : {double(NAN), HUGE_VAL, -HUGE_VAL, 1e300})
            far_off |= s.template resample<C, float, float>(far, y, out) ||
                       s.template resample<C, float, float>(x, far, out);
        return !far_off && s.template resample<C, float, float>(x, y, out);
    };
    check_plane<ff::CubicResampler, C, float>(4, 1, 1e-5, 1, sample);
    if constexpr (C > 1) {
        (check_plane<ff::FixBL4Resampler, C, Ts>(2, 0, 1, 1, fixed), ...);
        check_plane<ff::BL4Resampler, C, float>(2, 0, 1e-5, 1, sample);
    }
}

TEST(Resamplers, planes_come_back_and_borders_are_single_pixels) {
    check_channels<1, char, u8, short, unsigned short, int>();
    check_channels<2, u8, int>(), check_channels<4, u8, unsigned short>();
    check_channels<3, char, u8, short, unsigned short, int>();
}

// A step from `low` to `high` over six columns, and two rows of two pixels for the bilinear form.
template <class T>
void check_extremes(T low, T high, T halfway) {
    T step[36], out[2];
    for (int i = 0; i < 36; ++i) step[i] = i % 6 < 3 ? low : high;
    ff::FixCubicResampler cubic;
    cubic.Init(step, 6, 6, 6 * sizeof(T), 10);
    EXPECT_TRUE((cubic.resample<10, 1, T, T>(3 * one + 400, 2 * one, out)));
    EXPECT_EQ(out[0], high) << "an overshoot, clamped";
    ff::FixBL4Resampler bilinear;
    bilinear.Init(step, 3, 6, 6 * sizeof(T), 0);
    EXPECT_TRUE((bilinear.resample<10, 2, T, T>(one + 512, one + 1023, out)));
    EXPECT_EQ(out[0], halfway);
    EXPECT_FALSE((cubic.resample<10, 1, T, T>(INT_MIN, INT_MAX, out)));
}

TEST(Resamplers, fixed_point_truncates_clamps_and_does_not_overflow) {
    check_extremes<u8>(0, 255, 127);
    check_extremes<int>(INT_MIN, INT_MAX, 0);
    // (-31 * 1024 + 7 * 300) / 1024 toward zero, and one below it a quarter down.
    const short p[] = {-31, 0, -24, 0, -31, 0, -24, 100};
    short out[2];
    ff::FixBL4Resampler bilinear;
    bilinear.Init(p, 2, 2, 8, 0);
    EXPECT_TRUE((bilinear.resample<10, 2, short, short>(300, 256, out)));
    EXPECT_TRUE(out[0] == -28 && out[1] == 7);
}

TEST(Resamplers, tables_are_shared_replaced_and_made_again) {
    using ff::FixCubicResampler;
    const int* shared = FixCubicResampler::GetLookUpTable(10);
    EXPECT_EQ(std::vector<int>(shared + 1024, shared + 1028),
              (std::vector<int>{-55, 839, 280, -39}));
    EXPECT_EQ(FixCubicResampler::GetLookUpTable(FixCubicResampler::max_bits + 1), nullptr);

    std::vector<int> halved(shared, shared + 4096);
    for (int& weight : halved) weight /= 2;
    const Map flat(16, 255);
    FixCubicResampler cubic;
    const auto value = [&] {
        u8 out = 0;
        EXPECT_TRUE((cubic.resample<10, 1, u8, u8>(one, one, &out)));
        return int(out);
    };
    EXPECT_EQ(cubic.Init(flat.data(), 4, 4, 4, 10), shared);
    ff::ff_gfree_all();
    EXPECT_EQ(value(), 253) << "the table it had is gone";
    cubic.set_tab(halved.data(), 1024);
    EXPECT_EQ(value(), 63);
    cubic.set_tab(halved.data(), 1023);
    EXPECT_EQ(value(), 253) << "too few entries";
    ff::ff_gfree_all();
}

}  // namespace
