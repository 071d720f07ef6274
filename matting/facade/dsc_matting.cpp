// The public object: forwards to the implementation and translates the caller's alpha convention.
#include "matting/facade/dsc_matting.h"

#include "ff/scratch.h"
#include "matting/facade/dsc_matting_impl.h"
#include "matting/trimap/distance_transform.h"
#include "matting/trimap/trimap.h"

DSCMatting::DSCMatting() : impl_(new DSCMattingImpl) {}

DSCMatting::DSCMatting(const unsigned char* img, int w, int h, int stride, int max_size)
    : DSCMatting() {
    Init(img, w, h, stride, max_size);
}

DSCMatting::DSCMatting(const unsigned char* img, int w, int h, int stride, const unsigned char* seg,
                       int seg_stride, int max_size, int max_band, double band_scale, int step,
                       unsigned char low_contrast, unsigned char high_contrast, int min_band)
    : DSCMatting() {
    Init(img, w, h, stride, seg, seg_stride, max_size, max_band, band_scale, step, low_contrast,
         high_contrast, min_band);
}

DSCMatting::~DSCMatting() { delete impl_; }

void DSCMatting::Init(const unsigned char* img, int w, int h, int stride, int max_size) {
    impl_->Init(img, w, h, stride, nullptr, 0, max_size, 0, 0.0, 3, 5, 50, 1);
}

void DSCMatting::Init(const unsigned char* img, int w, int h, int stride, const unsigned char* seg,
                      int seg_stride, int max_size, int max_band, double band_scale, int step,
                      unsigned char low_contrast, unsigned char high_contrast, int min_band) {
    impl_->Init(img, w, h, stride, seg, seg_stride, max_size, max_band, band_scale, step,
                low_contrast, high_contrast, min_band);
}

void DSCMatting::set_alpha(const unsigned char* a, int w, int h, int stride) {
    impl_->set_alpha(a, w, h, stride);
}

void DSCMatting::Refine(const unsigned char* trimap, int w, int h, int stride, unsigned char* out,
                        int out_stride, int smooth, int keep_components) {
    impl_->Refine(trimap, w, h, stride, out, out_stride, smooth, keep_components);
}

bool DSCMatting::Refine(unsigned char* out, int w, int h, int out_stride, int smooth,
                        int keep_components) {
    return impl_->Refine(out, w, h, out_stride, smooth, keep_components);
}

bool DSCMatting::MakeMatte(unsigned char* out, int w, int h, int stride, int smooth,
                           int keep_components) {
    if (!impl_->Refine(out, w, h, stride, smooth, keep_components)) return false;
    InvertMatte(out, w, h, stride);
    return true;
}

bool DSCMatting::MakeMatteFromSegmRes(const unsigned char* seg, int w, int h, int seg_stride,
                                      unsigned char* out, int out_stride, int max_band,
                                      double band_scale, int smooth, int keep_components) {
    if (!impl_->is_size(w, h) || !seg || !out) return false;
    const auto trimap = ff::make_scratch<unsigned char>(w, h);
    MakeTrimapFromSegRes(seg, w, h, seg_stride, trimap.get(), w, max_band, band_scale);
    InvertMatte(trimap.get(), w, h, w);
    impl_->Refine(trimap.get(), w, h, w, out, out_stride, smooth, keep_components);
    InvertMatte(out, w, h, out_stride);
    return true;
}

void DSCMatting::SmoothBoundary(int smooth, int keep_components) {
    impl_->SmoothBoundary(smooth, keep_components);
}

unsigned char* DSCMatting::GetAlpha(int* stride) { return impl_->GetAlpha(stride); }

void DSCMatting::GetAlpha(unsigned char* dst, int dst_stride) { impl_->GetAlpha(dst, dst_stride); }

unsigned char* DSCMatting::GetFImage(int* stride, int mode) {
    return impl_->GetFImage(stride, mode);
}

void DSCMatting::GetFImage(unsigned char* dst, int dst_stride, int mode) {
    impl_->GetFImage(dst, dst_stride, mode);
}
