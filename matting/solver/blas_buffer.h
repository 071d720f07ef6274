// Keeps OpenBLAS from waiting forever for memory.
//
// OpenBLAS needs a buffer for every thread that is inside of it: 128 MB of address space, of which
// hardly any is touched. It makes one when there is none to spare, keeps it for good, and where the
// system gives none it tries again without end. So a solve makes sure beforehand that there are as
// many buffers as solves. Other BLAS libraries have no such buffers, and nothing is done for them.
#pragma once

namespace matting {

// One solve's claim, from before its first call of the BLAS to after its last.
class blas_buffer {
  public:
    blas_buffer();
    ~blas_buffer();
    blas_buffer(const blas_buffer&) = delete;
    blas_buffer& operator=(const blas_buffer&) = delete;

    // False when memory ran out: the BLAS must not be called.
    explicit operator bool() const { return is_there_; }

  private:
    bool is_there_;
};

}  // namespace matting
