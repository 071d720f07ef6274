// The two decoders behind read_colour and read_grey; not for use outside tools/image.
#pragma once

#include "tools/image/file_io.h"
#include "tools/image/image.h"

namespace tools {

// Both return the picture upright, as 1 channel where the file is grey and as B,G,R otherwise, and
// throw ImageError. The file stands behind its head, whose signature was recognised.
Image read_jpeg(InputFile& file, long long max_pixels);
Image read_png(InputFile& file, long long max_pixels);

// Throws ImageError unless 1 <= width * height <= max_pixels and a row of 4 channels has an int's
// worth of bytes.
void check_size(const std::string& path, long long width, long long height, long long max_pixels);

}  // namespace tools
