// Reading and naming of files for the decoders; not for use outside tools/image.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace tools {

// Throws ImageError "path: reason".
[[noreturn]] void fail(const std::string& path, const std::string& reason);

// Throws ImageError "path: text of errno".
[[noreturn]] void fail_errno(const std::string& path, int error);

// A file open for reading whose first bytes are looked at without a seek, so that pipes will do.
class InputFile {
  public:
    static constexpr std::size_t head_size = 8;

    // Throws ImageError where the file cannot be opened, is a directory or has no byte.
    explicit InputFile(const std::string& path);

    const std::string& path() const { return path_; }

    // The first min(head_size, length) bytes; read() starts behind them.
    const std::uint8_t* head() const { return head_; }
    std::size_t head_length() const { return head_length_; }

    // Reads up to `size` bytes; less than that, 0 included, at the end of the file or when reading
    // fails. Never throws: the C decoders call it.
    std::size_t read(std::uint8_t* bytes, std::size_t size) noexcept;

    // errno of a failed read, else 0.
    int read_error() const { return read_error_; }

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::string path_;
    std::unique_ptr<std::FILE, Closer> file_;
    std::uint8_t head_[head_size] = {};
    std::size_t head_length_ = 0;
    int read_error_ = 0;
};

}  // namespace tools
