// Native methods of dscmatting.Brushes.
#include "dscmatting_Brushes.h"
#include "matting/edit/brush.h"
#include "native.h"

using native::bytes;
using native::guarded;
using native::u8;

namespace {

// How far beyond a part's left, top, right and bottom edge its raster has pixels.
struct border {
    jint pixels[4] = {0, 0, 0, 0};

    border(JNIEnv* env, jintArray array) {
        env->GetIntArrayRegion(array, 0, 4, pixels);
        native::check_pending(env);
    }
};

}  // namespace

void Java_dscmatting_Brushes_set(JNIEnv* env, jclass, jint w, jint h, jobject alpha,
                                 jint alpha_offset, jint alpha_stride, jobject brush,
                                 jint brush_offset, jint brush_stride, jobject applied,
                                 jint applied_offset, jint applied_stride, jobject dst,
                                 jint dst_offset, jint dst_stride, jbyte value) {
    guarded(env, [&] {
        mat_set_brush(bytes(env, alpha, alpha_offset), w, h, alpha_stride,
                      bytes(env, brush, brush_offset), brush_stride,
                      bytes(env, applied, applied_offset), applied_stride,
                      bytes(env, dst, dst_offset), dst_stride, u8(value));
    });
}

void Java_dscmatting_Brushes_undo(JNIEnv* env, jclass, jint w, jint h, jint channels, jobject saved,
                                  jint saved_offset, jint saved_stride, jobject brush,
                                  jint brush_offset, jint brush_stride, jobject applied,
                                  jint applied_offset, jint applied_stride, jobject dst,
                                  jint dst_offset, jint dst_stride, jboolean record) {
    guarded(env, [&] {
        mat_undo_brush(bytes(env, saved, saved_offset), w, h, saved_stride, channels,
                       bytes(env, brush, brush_offset), brush_stride,
                       bytes(env, applied, applied_offset), applied_stride,
                       bytes(env, dst, dst_offset), dst_stride, record);
    });
}

void Java_dscmatting_Brushes_morph(JNIEnv* env, jclass, jboolean grow, jint w, jint h, jobject src,
                                   jint src_offset, jint src_stride, jobject brush,
                                   jint brush_offset, jint brush_stride, jobject dst,
                                   jint dst_offset, jint dst_stride, jint size, jintArray around) {
    guarded(env, [&] {
        border readable(env, around);
        const auto tool = grow ? mat_dilate_brush : mat_erode_brush;
        tool(bytes(env, src, src_offset), w, h, src_stride, bytes(env, brush, brush_offset),
             brush_stride, bytes(env, dst, dst_offset), dst_stride, size, readable.pixels);
    });
}

void Java_dscmatting_Brushes_smooth(JNIEnv* env, jclass, jint w, jint h, jint channels, jobject src,
                                    jint src_offset, jint src_stride, jobject dst, jint dst_offset,
                                    jint dst_stride, jint size, jintArray around) {
    guarded(env, [&] {
        border readable(env, around);
        mat_smooth_brush(bytes(env, src, src_offset), w, h, src_stride, channels,
                         bytes(env, dst, dst_offset), dst_stride, size, readable.pixels);
    });
}

void Java_dscmatting_Brushes_threshold(JNIEnv* env, jclass, jint w, jint h, jobject src,
                                       jint src_offset, jint src_stride, jobject first,
                                       jint first_offset, jint first_stride, jobject second,
                                       jint second_offset, jint second_stride, jint size,
                                       jintArray around, jbyte low, jbyte high) {
    guarded(env, [&] {
        border readable(env, around);
        mat_brush_threshold(bytes(env, src, src_offset), w, h, src_stride,
                            bytes(env, first, first_offset), first_stride,
                            bytes(env, second, second_offset), second_stride, size, readable.pixels,
                            u8(low), u8(high));
    });
}

void Java_dscmatting_Brushes_shrinkUnknown(JNIEnv* env, jclass, jint w, jint h, jobject src,
                                           jint src_offset, jint src_stride, jobject dst,
                                           jint dst_offset, jint dst_stride, jint size,
                                           jint iterations, jbyte low, jbyte high) {
    guarded(env, [&] {
        mat_shrink_unknown_mm(bytes(env, src, src_offset), w, h, src_stride,
                              bytes(env, dst, dst_offset), dst_stride, size, iterations, u8(low),
                              u8(high));
    });
}

void Java_dscmatting_Brushes_rectifyAlpha(JNIEnv* env, jclass, jint w, jint h, jobject trimap,
                                          jint trimap_offset, jint trimap_stride, jobject first,
                                          jint first_offset, jint first_stride, jobject second,
                                          jint second_offset, jint second_stride, jint tolerance) {
    guarded(env, [&] {
        mat_rectify_uialpha(bytes(env, trimap, trimap_offset), w, h, trimap_stride,
                            bytes(env, first, first_offset), first_stride,
                            bytes(env, second, second_offset), second_stride, tolerance);
    });
}

void Java_dscmatting_Brushes_makeRectWeight(JNIEnv* env, jclass, jint w, jint h, jobject dst,
                                            jint dst_offset, jint dst_stride, jfloat edge) {
    guarded(env,
            [&] { mat_make_rect_weight(bytes(env, dst, dst_offset), w, h, dst_stride, edge); });
}

jdouble Java_dscmatting_Brushes_estimateOptLevel(JNIEnv* env, jclass, jint w, jint h,
                                                 jobject trimap, jint trimap_offset,
                                                 jint trimap_stride, jint column_strips,
                                                 jint row_strips) {
    return guarded(env, [&] {
        return mat_estimate_opt_level(bytes(env, trimap, trimap_offset), w, h, trimap_stride,
                                      column_strips, row_strips);
    });
}

void Java_dscmatting_Brushes_calcSTransform(JNIEnv* env, jclass, jbyteArray table, jint steepness,
                                            jint balance) {
    guarded(env, [&] {
        jbyte curve[256];
        mat_calc_S_transform(reinterpret_cast<u8*>(curve), steepness, balance);
        env->SetByteArrayRegion(table, 0, 256, curve);
    });
}
