// Pixels and exceptions across the border. Arrays of ints are copied by rows (GetIntArrayRegion),
// never pinned: a solve takes long, and a pinned array would hold up the garbage collector.
#include "native.h"

#include <cstddef>
#include <exception>
#include <new>
#include <stdexcept>

namespace native {
namespace {

void raise(JNIEnv* env, const char* class_name, const char* message) {
    jclass type = env->FindClass(class_name);
    if (type) env->ThrowNew(type, message);  // otherwise the failed search is the exception
}

bool is_int_array(JNIEnv* env, jobject object) {
    jclass type = env->FindClass("[I");
    check_pending(env);
    return env->IsInstanceOf(object, type);
}

}  // namespace

void check_pending(JNIEnv* env) {
    if (env->ExceptionCheck()) throw java_exception();
}

void rethrow_in_java(JNIEnv* env) noexcept {
    try {
        throw;
    } catch (const java_exception&) {
    } catch (const std::bad_alloc&) {
        raise(env, "java/lang/OutOfMemoryError", "native memory");
    } catch (const std::exception& e) {
        raise(env, "java/lang/RuntimeException", e.what());
    } catch (...) {
        raise(env, "java/lang/RuntimeException", "unknown native exception");
    }
}

u8* bytes(JNIEnv* env, jobject buffer, jint offset) {
    if (!buffer) return nullptr;
    void* address = env->GetDirectBufferAddress(buffer);
    if (!address) throw std::runtime_error("this machine gives no access to direct buffers");
    return static_cast<u8*>(address) + offset;
}

picture::picture(JNIEnv* env, jobject pixels, jint offset, jint stride, jint width, jint height)
    : env_(env),
      offset_(offset),
      istride_(stride),
      width_(width),
      height_(height),
      data_stride_(stride) {
    if (pixels && is_int_array(env, pixels)) {
        array_ = static_cast<jintArray>(pixels);
        data_stride_ = 3 * width;
        copy_ = ff::make_scratch<u8>(data_stride_, height);
        data_ = copy_.get();
    } else {
        data_ = bytes(env, pixels, offset);
    }
}

void picture::load() {
    if (!array_) return;
    const auto row = ff::make_scratch<jint>(width_);
    u8* to = data_;
    for (jint y = 0; y < height_; ++y) {
        env_->GetIntArrayRegion(array_, offset_ + y * istride_, width_, row.get());
        check_pending(env_);
        for (jint x = 0; x < width_; ++x, to += 3) {
            const auto argb = unsigned(row[std::size_t(x)]);
            to[0] = u8(argb);
            to[1] = u8(argb >> 8);
            to[2] = u8(argb >> 16);
        }
    }
}

void picture::store(const u8* alpha, int alpha_stride) {
    if (!array_) return;
    const auto row = ff::make_scratch<jint>(width_);
    const u8* from = data_;
    for (jint y = 0; y < height_; ++y) {
        const u8* a = alpha ? alpha + std::ptrdiff_t(y) * alpha_stride : nullptr;
        for (jint x = 0; x < width_; ++x, from += 3) {
            const unsigned opacity = a ? a[x] : 255u;
            row[std::size_t(x)] =
                jint(opacity << 24 | unsigned(from[2]) << 16 | unsigned(from[1]) << 8 | from[0]);
        }
        env_->SetIntArrayRegion(array_, offset_ + y * istride_, width_, row.get());
        check_pending(env_);
    }
}

}  // namespace native
