// Point resamplers: one interpolated pixel at fractional coordinates.
//
// A resampler looks at a raster of `width` x `height` pixels of C interleaved samples of type TI;
// `stride` is bytes whatever the sample type. Init takes the raster, which is not copied; a null
// pointer or a size below 1 makes an empty one. Coordinates count pixels from the centre of the
// top-left pixel, x to the right and y down.
//
// resample writes the C samples of one pixel to `out` and returns true, or returns false and leaves
// `out` as it was where the coordinates lie outside (the empty raster has no inside).
//
// Samples of type char are numbers as the compiler has them: signed on x86-64, unsigned on ARM64.
#pragma once

#include "ff/api.h"

namespace ff {

class DSCM_API Resampler {
  public:
    Resampler();
    // The last argument is accepted and not used here.
    void Init(const void* data, int w, int h, int row_stride, int);

  protected:
    const unsigned char* source;
    int width, height, stride;
};

// Bilinear, coordinates with BITS fraction bits, integer division truncating toward zero. On the
// last column and the last row: the pixel there, not interpolated.
// Instances: BITS 10; C 2, 3, 4; TI = TO = char, unsigned char, short, unsigned short, int.
class DSCM_API FixBL4Resampler : public Resampler {
  public:
    template <int BITS, int C, class TI, class TO>
    bool resample(int x, int y, TO* out);
};

// Cubic (Lagrange, 4 x 4 pixels), coordinates with BITS fraction bits, weights from a table;
// results are clamped to the range of TO. The table's weights sum to 2^BITS - 1 and are divided by
// 2^BITS, so that a flat field comes out very slightly darker (255 as 253): wanted so. Where the
// block does not fit the result is the block's top-left pixel, one left of and one above the
// integer position; where that lies outside, false. Instances: BITS 10; C 1, 2, 3, 4; TI = TO as
// FixBL4Resampler.
class DSCM_API FixCubicResampler : public Resampler {
  public:
    static constexpr int max_bits = 20;

    FixCubicResampler();
    // Returns the table in use: the one of set_tab, else the shared one for `bits`.
    const int* Init(const void* data, int w, int h, int row_stride, int bits);
    // Samples through the caller's table from now on: `entries` times four weights, entry i for the
    // fraction i / entries; it must outlive its use. One with fewer than 2^BITS entries, or null,
    // is not used.
    void set_tab(const int* table, int entries);

    template <int BITS, int C, class TI, class TO>
    bool resample(int x, int y, TO* out);

    // The shared table of 2^bits entries of four weights each, made on first use and again after
    // ff_gfree_all, which frees it. Null for bits outside 0 .. max_bits. Not to be made from
    // several threads at once.
    static const int* GetLookUpTable(int bits);
    // A table of its own, to be released with ff_gfree or ff_gfree_all.
    static const int* CreateLookUpTable(int bits);

  private:
    static const int* _pLookUpTab[max_bits + 1];
    const int* tab;  // of set_tab, or null
    int entries;
};

// The two in floating point, with the same borders: computed in double precision, not rounded, and
// the cubic weights sum to 1. Coordinates that are not finite lie outside.
// Instances: C 2, 3, 4 and C 1, 2, 3, 4; TI = TO = float.
class DSCM_API BL4Resampler : public Resampler {
  public:
    template <int C, class TI, class TO>
    bool resample(double x, double y, TO* out);
};

class DSCM_API CubicResampler : public Resampler {
  public:
    template <int C, class TI, class TO>
    bool resample(double x, double y, TO* out);
};

}  // namespace ff
