// What the native methods share: pixels that Java hands over, and exceptions on their way back.
//
// A raster arrives as three arguments: its object (a direct ByteBuffer or an int[]), and the offset
// of its first pixel and its stride in elements of that object, bytes or ints. The Java classes
// have checked sizes, ranges, directness and writability; nothing is checked again here.
#pragma once

#include <jni.h>

#include "ff/scratch.h"

namespace native {

using u8 = unsigned char;

// Thrown where a Java exception is pending already.
struct java_exception {};

// In a catch clause: the exception as a Java one. std::bad_alloc becomes OutOfMemoryError,
// everything else RuntimeException.
void rethrow_in_java(JNIEnv* env) noexcept;

// Runs a native method's body; no C++ exception leaves it. Where one does the result is 0.
template <class Body>
auto guarded(JNIEnv* env, Body body) -> decltype(body()) {
    try {
        return body();
    } catch (...) {
        rethrow_in_java(env);
    }
    return decltype(body())();
}

// Throws where a Java exception is pending.
void check_pending(JNIEnv* env);

// The address of a raster in a direct buffer; null for a null buffer.
u8* bytes(JNIEnv* env, jobject buffer, jint offset);

// An image of 3 channels, B,G,R: a buffer's own bytes, or a copy of ARGB ints that is filled by
// load() and brought back by store(). Both convert a row at a time, and do nothing for a buffer.
class picture {
  public:
    picture(JNIEnv* env, jobject pixels, jint offset, jint stride, jint width, jint height);

    u8* data() const { return data_; }  // null for null pixels
    int stride() const { return data_stride_; }

    void load();
    // The alpha of every pixel becomes that of the map, 255 without one.
    void store(const u8* alpha = nullptr, int alpha_stride = 0);

  private:
    JNIEnv* env_;
    jintArray array_ = nullptr;  // of ARGB ints; null for a buffer
    jint offset_, istride_, width_, height_;
    ff::scratch<u8> copy_;
    u8* data_ = nullptr;
    int data_stride_;  // bytes
};

}  // namespace native
