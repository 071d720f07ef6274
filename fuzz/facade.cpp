// A matting object through any sequence of calls: every argument any value, only the buffers are
// what they are said to be.
#include <memory>

#include "fuzz/input.h"
#include "matting/facade/dsc_matting.h"

namespace {

class Session {
  public:
    explicit Session(Input& in) : in_(in), matting_(new DSCMatting) {}

    void init() {
        const int w = in_.between(-3, 64), h = in_.between(-3, 64), max_size = in_.number();
        const Raster<u8> img(in_, w, h, 3), seg(in_, w, h);
        const u8* photo = img.or_null(in_);
        const bool has_seg = in_.byte() % 4 != 0;
        if (in_.rarely()) matting_ = std::make_unique<DSCMatting>(), w_ = h_ = 0;
        if (photo && w > 0 && h > 0) w_ = w, h_ = h, has_trimap_ = has_seg;
        if (!has_seg) return matting_->Init(photo, w, h, img.step, max_size);
        const int max_band = in_.number(), step = in_.number(), min_band = in_.number();
        const u8 low = in_.byte(), high = in_.byte();
        matting_->Init(photo, w, h, img.step, seg, seg.step, max_size, max_band, in_.real(), step,
                       low, high, min_band);
    }

    void call() {
        const int method = in_.byte() % 8;
        if (method == 0) return init();
        // Where a size is not the photograph's or a pointer is null nothing may be written.
        const bool other_size = in_.rarely();
        const int w = other_size ? in_.number() : w_, h = other_size ? in_.number() : h_;
        const bool fits = w_ > 0 && w == w_ && h == h_;
        const Raster<u8> map(in_, w_, h_), result(in_, w_, h_), colours(in_, w_, h_, 3);
        const std::vector<u8> before = result.samples, alpha_before = copied_alpha();
        const u8* from = map.or_null(in_);
        u8* to = result.or_null(in_);
        const int n = map.step, m = result.step;
        const int smooth = in_.number(), keep = in_.number(), band = in_.number();
        const double scale = in_.real();
        const bool own_trimap = method == 3 || method == 4;
        const bool possible = fits && to && (own_trimap ? has_trimap_ : from != nullptr);
        bool answer = possible;
        if (method == 1) matting_->set_alpha(from, w, h, n);
        if (method == 2) matting_->Refine(from, w, h, n, to, m, smooth, keep);
        if (method == 3) answer = matting_->Refine(to, w, h, m, smooth, keep);
        if (method == 4) answer = matting_->MakeMatte(to, w, h, m, smooth, keep);
        if (method == 5)
            answer =
                matting_->MakeMatteFromSegmRes(from, w, h, n, to, m, band, scale, smooth, keep);
        if (method == 6) matting_->SmoothBoundary(smooth, keep);
        if (method == 7) matting_->GetFImage(to ? +colours : to, colours.step, band);
        require(answer == possible);
        const bool changes = method == 1 ? fits && from : method == 6 || (possible && method < 6);
        require(changes || copied_alpha() == alpha_before);
        require((possible && method > 1 && method < 6) || result.samples == before);
        matting_->GetAlpha(to, m);
        int stride = 0;
        const u8* alpha = matting_->GetAlpha(&stride);
        look_at(alpha, w_, stride);
        const u8* planes = in_.rarely() ? matting_->GetFImage(&stride, keep) : nullptr;
        look_at(planes, 3 * w_, stride);
        require((alpha != nullptr) == (w_ > 0));
    }

  private:
    std::vector<u8> copied_alpha() const {
        std::vector<u8> all(std::size_t(w_ * h_));
        if (w_ > 0) matting_->GetAlpha(all.data(), w_);
        return all;
    }
    void look_at(const u8* rows, int row_bytes, int stride) const {
        volatile int sum = 0;
        for (int i = 0; rows && i < h_ * row_bytes; ++i)
            sum = sum + rows[i / row_bytes * stride + i % row_bytes];
    }

    Input& in_;
    std::unique_ptr<DSCMatting> matting_;
    int w_ = 0, h_ = 0;  // of the photograph, 0 before the first
    bool has_trimap_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    Input in(data, size);
    Session session(in);
    if (!in.rarely()) session.init();
    for (int i = 0; i < 10 && !in.empty(); ++i) session.call();
    return 0;
}
