// Native methods of dscmatting.Colors. ARGB outputs are written last, after everything that can
// fail, so they may be the array that was read.
#include "dscmatting_Colors.h"
#include "matting/color/fb_color.h"
#include "matting/color/improve_foreground.h"
#include "native.h"

using native::bytes;
using native::guarded;
using native::picture;
using native::u8;

namespace {

constexpr u8 lowest_mixed = 1, highest_mixed = 253;
constexpr u8 pulling = 255, pushing = 0;  // modes of a reference colour

// B, G, R and the mode.
struct reference_colour {
    u8 bytes[4];

    reference_colour(jint rgb, jboolean towards)
        : bytes{u8(rgb), u8(rgb >> 8), u8(rgb >> 16), towards ? pulling : pushing} {}
};

}  // namespace

void Java_dscmatting_Colors_estimate(JNIEnv* env, jclass, jint w, jint h, jobject image,
                                     jint image_offset, jint image_stride, jobject alpha,
                                     jint alpha_offset, jint alpha_stride, jobject low,
                                     jint low_offset, jint low_stride, jobject high,
                                     jint high_offset, jint high_stride, jbyte lo, jbyte hi) {
    guarded(env, [&] {
        picture in(env, image, image_offset, image_stride, w, h);
        picture low_out(env, low, low_offset, low_stride, w, h);
        picture high_out(env, high, high_offset, high_stride, w, h);
        in.load();
        mat_estimate_fb_color(in.data(), w, h, in.stride(), bytes(env, alpha, alpha_offset),
                              alpha_stride, low_out.data(), low_out.stride(), high_out.data(),
                              high_out.stride(), u8(lo), u8(hi));
        low_out.store();
        high_out.store();
    });
}

void Java_dscmatting_Colors_cutOut(JNIEnv* env, jclass, jint w, jint h, jobject image,
                                   jint image_offset, jint image_stride, jobject alpha,
                                   jint alpha_offset, jint alpha_stride, jobject out,
                                   jint out_offset, jint out_stride) {
    guarded(env, [&] {
        picture in(env, image, image_offset, image_stride, w, h);
        picture subject(env, out, out_offset, out_stride, w, h);
        const u8* matte = bytes(env, alpha, alpha_offset);
        in.load();
        mat_estimate_fb_color(in.data(), w, h, in.stride(), matte, alpha_stride, nullptr, 0,
                              subject.data(), subject.stride(), lowest_mixed, highest_mixed);
        subject.store(matte, alpha_stride);
    });
}

void Java_dscmatting_Colors_improveForeground(
    JNIEnv* env, jclass, jint w, jint h, jobject src, jint src_offset, jint src_stride,
    jobject alpha, jint alpha_offset, jint alpha_stride, jobject brush, jint brush_offset,
    jint brush_stride, jobject applied, jint applied_offset, jint applied_stride, jobject result,
    jint result_offset, jint result_stride, jint reference, jboolean towards, jbyte threshold) {
    guarded(env, [&] {
        picture in(env, src, src_offset, src_stride, w, h);
        in.load();
        const reference_colour colour(reference, towards);
        mat_improve_foreground(in.data(), w, h, in.stride(), bytes(env, alpha, alpha_offset),
                               alpha_stride, bytes(env, brush, brush_offset), brush_stride,
                               bytes(env, applied, applied_offset), applied_stride,
                               bytes(env, result, result_offset), result_stride, colour.bytes,
                               nullptr, u8(threshold));
    });
}

void Java_dscmatting_Colors_improveWithMap(JNIEnv* env, jclass, jint w, jint h, jobject src,
                                           jint src_offset, jint src_stride, jobject references,
                                           jint references_offset, jint references_stride,
                                           jobject alpha, jint alpha_offset, jint alpha_stride,
                                           jobject result, jint result_offset, jint result_stride,
                                           jbyte threshold) {
    guarded(env, [&] {
        picture in(env, src, src_offset, src_stride, w, h);
        in.load();
        mat_improve_foreground(in.data(), w, h, in.stride(),
                               bytes(env, references, references_offset), references_stride,
                               bytes(env, alpha, alpha_offset), alpha_stride,
                               bytes(env, result, result_offset), result_stride, u8(threshold));
    });
}

void Java_dscmatting_Colors_paintReference(JNIEnv* env, jclass, jint w, jint h, jobject references,
                                           jint references_offset, jint references_stride,
                                           jint reference, jboolean towards, jobject brush,
                                           jint brush_offset, jint brush_stride) {
    guarded(env, [&] {
        const reference_colour colour(reference, towards);
        mat_update_reference_color(bytes(env, references, references_offset), w, h,
                                   references_stride, colour.bytes, bytes(env, brush, brush_offset),
                                   brush_stride);
    });
}

void Java_dscmatting_Colors_merge(JNIEnv* env, jclass, jint w, jint h, jobject src, jint src_offset,
                                  jint src_stride, jobject result, jint result_offset,
                                  jint result_stride) {
    guarded(env, [&] {
        picture in(env, src, src_offset, src_stride, w, h);
        in.load();
        mat_merge_f_color(in.data(), w, h, in.stride(), bytes(env, result, result_offset),
                          result_stride);
    });
}
