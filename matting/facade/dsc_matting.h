// DSCMatting: an alpha matte for one photograph.
//
// Photographs are 8-bit with 3 interleaved channels in B, G, R order; maps have one byte a pixel.
// Strides are bytes between the first bytes of successive rows. Two conventions meet here:
//   caller    subject 255, surroundings 0: segmentations, and the mattes of MakeMatte and
//             MakeMatteFromSegmRes
//   internal  the inverse, subject 0, surroundings 255: everything else
// In both, a trimap byte of exactly 128 is unknown. The translation inverts every byte but 128, so
// a matte value of 127 or 128 comes back as 128.
//
// The solve runs on a working copy of the photograph: reduced when both sides exceed max_size, so
// that the longer side becomes it (a picture with one side up to max_size is never reduced); its
// width is rounded down to a multiple of 4. The result is carried back to full size along the
// photograph's own colour edges.
//
// Everything runs on the caller's thread. One object must not be used from two threads at once;
// distinct objects share nothing. Nothing the caller passes is kept. A photograph needs about 16
// bytes of memory a pixel as long as the object holds it, 3 more from the first GetFImage on.
//
// std::bad_alloc passes through every method. From Init it leaves the object as freshly
// constructed. From the others it leaves the photograph and its tables, so that the call can be
// repeated; the alpha is then that of the last step that was reached. Where memory runs out inside
// the sparse solver nothing is thrown: the working trimap stands in for the solution, so that known
// pixels keep their value and unknown ones stay 128 or, close to known ones, blend with them.
//
// A picture has at most 2^31 - 1 pixels and a third of that in a row; from Init a larger one is
// std::bad_alloc, before it is looked at. Strides may be as large as an int. More than about 2.8
// million unknowns in one piece at the working size are beyond the sparse solver's counters: it has
// no memory for them, however much there is.
//
// Each solve prints "\nnp=<unknowns>" on standard output.
#pragma once

#ifndef DSCM_API
#if defined(__GNUC__)
#define DSCM_API __attribute__((visibility("default")))
#else
#define DSCM_API
#endif
#endif

class DSCMattingImpl;

class DSCM_API DSCMatting {
  public:
    // Empty; Init must follow. Every other method does nothing (or returns false or null) before.
    DSCMatting();
    // Constructs, then does the short Init.
    DSCMatting(const unsigned char* img, int w, int h, int stride, int max_size);
    // Constructs, then does the long Init.
    DSCMatting(const unsigned char* img, int w, int h, int stride, const unsigned char* seg,
               int seg_stride, int max_size, int max_band, double band_scale, int step,
               unsigned char low_contrast, unsigned char high_contrast, int min_band);
    ~DSCMatting();
    DSCMatting(const DSCMatting&) = delete;
    DSCMatting& operator=(const DSCMatting&) = delete;

    // Takes a photograph without a segmentation; Refine with a trimap makes the matte. The alpha is
    // all 0. A null image or a side below 1 changes nothing.
    void Init(const unsigned char* img, int w, int h, int stride, int max_size);

    // Takes a photograph and a segmentation (caller convention, same size; non-zero is subject,
    // only 255 has a boundary, 128 is unknown). From it a trimap is made whose unknown band has the
    // half-width
    //   b = min(band_scale * largest distance from inside the region to its outside, max_band),
    // narrowed where the colours on both sides of the boundary are alike: min_band wide at
    // differences up to low_contrast a channel, max_band from high_contrast on. step: every
    // step-th colour is compared. Any value is accepted; a null seg is the short Init.
    void Init(const unsigned char* img, int w, int h, int stride, const unsigned char* seg,
              int seg_stride, int max_size, int max_band, double band_scale, int step,
              unsigned char low_contrast, unsigned char high_contrast, int min_band);

    // Replaces the alpha (internal convention). Nothing when (w, h) is not the photograph's size.
    void set_alpha(const unsigned char* a, int w, int h, int stride);

    // Solves with the caller's trimap (internal convention, photograph's size) and writes the alpha
    // (internal convention) to out. smooth is the width of the boundary smoothing (below 1: none),
    // keep_components the number of largest components of the internal alpha, which is the
    // surroundings, to keep (below 1: all).
    // Meant for an object from the short Init: one that has a segmentation holds no upsampling
    // weights where that segmentation said subject, and unknown pixels there stay 128.
    // Nothing when (w, h) is not the photograph's size or a pointer is null.
    void Refine(const unsigned char* trimap, int w, int h, int stride, unsigned char* out,
                int out_stride, int smooth, int keep_components);

    // Solves with the trimap made at Init. False, with nothing written, when (w, h) is not the
    // photograph's size, Init had no segmentation or out is null. Internal convention.
    bool Refine(unsigned char* out, int w, int h, int out_stride, int smooth, int keep_components);

    // The same with the matte in the caller convention.
    bool MakeMatte(unsigned char* out, int w, int h, int stride, int smooth, int keep_components);

    // Makes a trimap from another segmentation (caller convention), without looking at the colours,
    // solves with it and writes the matte in the caller convention. For an object from the short
    // Init, as above. False, with nothing written, for a wrong size or a null pointer.
    bool MakeMatteFromSegmRes(const unsigned char* seg, int w, int h, int seg_stride,
                              unsigned char* out, int out_stride, int max_band, double band_scale,
                              int smooth, int keep_components);

    // Smooths the current alpha and keeps its largest components, as Refine does.
    void SmoothBoundary(int smooth, int keep_components);

    // The current alpha (internal convention), photograph's size; *stride receives its stride.
    // Owned by the object and valid until the next call that changes it. Null before Init.
    unsigned char* GetAlpha(int* stride);

    // Copies the current alpha to dst, photograph's size.
    void GetAlpha(unsigned char* dst, int dst_stride);

    // The colour of the subject under the current alpha: 3 channels, photograph's size; *stride
    // (may be null) receives its stride. Kept from call to call: mode < 0 computes it anew when a
    // solve or SmoothBoundary changed the alpha (set_alpha does not count), mode 0 only when there
    // is none yet, mode > 0 always. Owned by the object and valid until the next GetFImage or Init.
    // Null, with nothing written, before Init.
    //
    // It is quick and soft: pixels that are not wholly subject get plain means of subject pixels
    // nearby. To cut the subject out or to put it on another background use the high side of
    // mat_estimate_fb_color (matting/color/fb_color.h) with the matte in the caller convention,
    // which picks for every mixed pixel the colour that explains it.
    unsigned char* GetFImage(int* stride, int mode);

    // The same, copied to dst, 3 channels. Nothing when dst is null.
    void GetFImage(unsigned char* dst, int dst_stride, int mode);

  private:
    DSCMattingImpl* impl_;
};
