// The image object and the toolkit's heap routines; with them the operations on images and raw
// rasters and the point resamplers, which have headers of their own.
#pragma once

#include "ff/api.h"
#include "ff/image_ops.h"
#include "ff/raster_ops.h"
#include "ff/resamplers.h"

namespace ff {

// Top-left corner and size, in pixels.
template <class T>
struct RectT {
    T x, y, width, height;
};

// An image that owns its pixels or refers to somebody else's.
//
// format: bits 8 to 15 channels, bits 4 to 7 bytes per channel, bits 0 to 3 a sample type code;
// 0x111 is one 8-bit channel, 0x311 three. flags: bit 0 owned, bits 8 to 15 lock bits (kept for the
// caller, nothing here looks at them).
//
// Sizes below 0 count as 0. A size whose bytes do not fit, or are not to be had, throws
// std::bad_alloc and leaves the image as it was. Fresh pixels are not initialised.
struct DSCM_API FVTImage {
    unsigned char* data;
    int width;
    int height;
    int stride;  // bytes
    int format;
    int flags;

    // The empty image: no pixels, format 0x111.
    FVTImage();
    FVTImage(int w, int h, int fmt, int align);
    // Deep copies: owned, of the source's stride, lock bits not copied.
    FVTImage(const FVTImage& other);
    FVTImage& operator=(const FVTImage& other);
    ~FVTImage();

    // Always a new buffer, rows rounded up to a multiple of `align` bytes (not above 1: not at
    // all).
    void Reset(int w, int h, int fmt, int align);
    // Nothing when size and format are the same already, else Reset with rows of 4-byte multiples.
    void ResetIf(int w, int h, int fmt);
    // Reset with the stride given; one that does not hold a row is raised to the row.
    void StepReset(int w, int h, int fmt, int row_stride);
    // Refers to `pixels` from now on, which stay the caller's.
    void Attach(void* pixels, int w, int h, int fmt, int row_stride);
    // Refers to the part of src inside r, which must outlive this. An empty part changes nothing.
    void AttachROI(const FVTImage& src, const RectT<int>& r);
    // Set and clear lock bits; only bits 8 to 15 of the argument count.
    void Lock(int bits);
    void Unlock(int bits);
    void Swap(FVTImage& other);
    bool IsExternData() const;
    // Back to the empty image; frees what is owned.
    void Clear();
    // Reset with the format kept and rows of 4-byte multiples.
    void Reshape(int w, int h);
};

// Plain heap: array new and delete.
DSCM_API void* ff_alloc(unsigned long size);
DSCM_API void ff_free(void* p);

// Heap blocks that a process-wide registry remembers, so that ff_gfree_all can release them all.
// Not to be called from several threads at once.
DSCM_API void* ff_galloc(unsigned long size);
// Releases p whether or not it is registered; null is ignored.
DSCM_API void ff_gfree(void* p);
// Adds a function that every ff_gfree_all calls, in the order of adding; null is ignored.
DSCM_API void ff_add_gfree_func(void (*func)());
// Releases every registered block, then calls the clean-up functions; what one throws is dropped.
DSCM_API void ff_gfree_all();
// Accepted, without effect.
DSCM_API void enable_memory_leak_report(bool on);

// Owner of one ff_alloc block.
class DSCM_API ff_mem {
  public:
    ff_mem();
    ff_mem(const ff_mem&) = delete;
    ff_mem& operator=(const ff_mem&) = delete;
    ~ff_mem();

    // Releases the block held and holds `p`, which came from ff_alloc.
    void set_mem(void* p);

  private:
    void* mem_;
};

}  // namespace ff
