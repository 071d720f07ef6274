// Native methods of dscmatting.Matting. A handle is the address of a DSCMatting; the Java object
// lets one thread in at a time and never passes a handle that was freed.
#include <cstdint>

#include "dscmatting_Matting.h"
#include "matting/facade/dsc_matting.h"
#include "native.h"

using native::bytes;
using native::guarded;
using native::picture;
using native::u8;

namespace {

DSCMatting* object(jlong handle) {
    // A Java long is where JNI keeps addresses. NOLINTNEXTLINE(performance-no-int-to-ptr)
    return reinterpret_cast<DSCMatting*>(static_cast<std::intptr_t>(handle));
}

}  // namespace

jlong Java_dscmatting_Matting_create(JNIEnv* env, jclass) {
    return guarded(env, [] { return jlong(reinterpret_cast<std::intptr_t>(new DSCMatting)); });
}

void Java_dscmatting_Matting_destroy(JNIEnv*, jclass, jlong handle) { delete object(handle); }

void Java_dscmatting_Matting_init(JNIEnv* env, jclass, jlong handle, jint w, jint h, jobject photo,
                                  jint photo_offset, jint photo_stride, jint max_size) {
    guarded(env, [&] {
        picture image(env, photo, photo_offset, photo_stride, w, h);
        image.load();
        object(handle)->Init(image.data(), w, h, image.stride(), max_size);
    });
}

void Java_dscmatting_Matting_initSegmented(JNIEnv* env, jclass, jlong handle, jint w, jint h,
                                           jobject photo, jint photo_offset, jint photo_stride,
                                           jobject seg, jint seg_offset, jint seg_stride,
                                           jint max_size, jint max_band, jdouble band_scale,
                                           jint step, jbyte low_contrast, jbyte high_contrast,
                                           jint min_band) {
    guarded(env, [&] {
        picture image(env, photo, photo_offset, photo_stride, w, h);
        image.load();
        object(handle)->Init(image.data(), w, h, image.stride(), bytes(env, seg, seg_offset),
                             seg_stride, max_size, max_band, band_scale, step, u8(low_contrast),
                             u8(high_contrast), min_band);
    });
}

void Java_dscmatting_Matting_setAlpha(JNIEnv* env, jclass, jlong handle, jint w, jint h,
                                      jobject alpha, jint alpha_offset, jint alpha_stride) {
    guarded(env, [&] {
        object(handle)->set_alpha(bytes(env, alpha, alpha_offset), w, h, alpha_stride);
    });
}

void Java_dscmatting_Matting_refine(JNIEnv* env, jclass, jlong handle, jint w, jint h,
                                    jobject trimap, jint trimap_offset, jint trimap_stride,
                                    jobject out, jint out_offset, jint out_stride, jint smooth,
                                    jint keep) {
    guarded(env, [&] {
        object(handle)->Refine(bytes(env, trimap, trimap_offset), w, h, trimap_stride,
                               bytes(env, out, out_offset), out_stride, smooth, keep);
    });
}

void Java_dscmatting_Matting_refineSegmented(JNIEnv* env, jclass, jlong handle, jint w, jint h,
                                             jobject out, jint out_offset, jint out_stride,
                                             jint smooth, jint keep) {
    guarded(env, [&] {
        object(handle)->Refine(bytes(env, out, out_offset), w, h, out_stride, smooth, keep);
    });
}

void Java_dscmatting_Matting_makeMatte(JNIEnv* env, jclass, jlong handle, jint w, jint h,
                                       jobject out, jint out_offset, jint out_stride, jint smooth,
                                       jint keep) {
    guarded(env, [&] {
        object(handle)->MakeMatte(bytes(env, out, out_offset), w, h, out_stride, smooth, keep);
    });
}

void Java_dscmatting_Matting_makeMatteFromSegmentation(JNIEnv* env, jclass, jlong handle, jint w,
                                                       jint h, jobject seg, jint seg_offset,
                                                       jint seg_stride, jobject out,
                                                       jint out_offset, jint out_stride,
                                                       jint max_band, jdouble band_scale,
                                                       jint smooth, jint keep) {
    guarded(env, [&] {
        object(handle)->MakeMatteFromSegmRes(bytes(env, seg, seg_offset), w, h, seg_stride,
                                             bytes(env, out, out_offset), out_stride, max_band,
                                             band_scale, smooth, keep);
    });
}

void Java_dscmatting_Matting_smoothBoundary(JNIEnv* env, jclass, jlong handle, jint smooth,
                                            jint keep) {
    guarded(env, [&] { object(handle)->SmoothBoundary(smooth, keep); });
}

void Java_dscmatting_Matting_getAlpha(JNIEnv* env, jclass, jlong handle, jobject out,
                                      jint out_offset, jint out_stride) {
    guarded(env, [&] { object(handle)->GetAlpha(bytes(env, out, out_offset), out_stride); });
}

void Java_dscmatting_Matting_getFImage(JNIEnv* env, jclass, jlong handle, jint w, jint h,
                                       jobject out, jint out_offset, jint out_stride, jint mode) {
    guarded(env, [&] {
        picture image(env, out, out_offset, out_stride, w, h);
        object(handle)->GetFImage(image.data(), image.stride(), mode);
        image.store();
    });
}
