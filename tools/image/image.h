// Image files for the programs: JPEG and PNG in, PNG out.
//
// Failures throw ImageError, whose text is one line that names the file; memory that is not there
// throws std::bad_alloc. Nothing is printed, not even the libraries' warnings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/picture.h"

namespace tools {

struct ImageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Pictures above this many pixels are refused from their header, before memory is taken.
constexpr long long default_max_pixels = 200'000'000;

// Reads a JPEG or PNG (told apart by its first bytes, whatever its name; pipes will do) as B,G,R:
// grey and palette are expanded, 16-bit samples reduced, alpha dropped. The EXIF orientation is
// applied, so that the picture stands as a viewer shows it. A file that ends early or whose picture
// data is damaged is an error, as is a JPEG of four colours (CMYK).
Image read_colour(const std::string& path, long long max_pixels = default_max_pixels);

// The same as 8-bit grey (colour files by BT.601 luma; equal channels give their value exactly).
Image read_grey(const std::string& path, long long max_pixels = default_max_pixels);

// The bytes of a PNG file of 1, 3 or 4 channels. `name` stands in the error's text.
std::vector<std::uint8_t> encode_png(const Image& image, const std::string& name);

// Writes a PNG of 1, 3 or 4 channels by write_file.
void write_png(const std::string& path, const Image& image);

// Writes a whole file. It appears under its name only when it is complete: it is written beside it
// first and renamed, with the permissions that the umask gives. A symbolic link stays and what it
// points at is replaced; a device or pipe is written to directly. Throws and leaves nothing behind
// when that fails.
void write_file(const std::string& path, const std::vector<std::uint8_t>& bytes);

// Files that appear together or not at all, each as write_file does it.
class PendingFiles {
  public:
    // Without `replace` a name that is taken when the files get theirs is an error.
    explicit PendingFiles(bool replace = true);
    ~PendingFiles();  // takes back what was not committed
    PendingFiles(const PendingFiles&) = delete;
    PendingFiles& operator=(const PendingFiles&) = delete;

    // Writes the file beside its place; a device or pipe at once.
    void add(const std::string& path, const std::vector<std::uint8_t>& bytes);

    // Gives all files their names.
    void commit();

  private:
    struct File;
    std::vector<std::unique_ptr<File>> files_;
    const bool replace_;
};

// Throws what write_file would throw where it can be foreseen: a missing directory, no permission.
void check_writable(const std::string& path);

// Has the signals that end a program (not SIGKILL) remove first what PendingFiles have written
// beside its place. Signals that are ignored or handled already are left alone.
void remove_unfinished_files_on_signals();

// The file that a name stands for: symbolic links are followed, also to what does not exist yet. A
// circle of links comes back as a link.
std::string linked_file(const std::string& path);

// Writes all bytes to an open descriptor; `name` stands in the error's text.
void write_descriptor(int descriptor, const std::vector<std::uint8_t>& bytes,
                      const std::string& name);

}  // namespace tools
