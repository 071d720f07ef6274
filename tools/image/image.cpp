// The reader's front: tells JPEG from PNG by signature, and brings what the decoders deliver (grey
// or B,G,R) to the channels that are asked for.

#include "tools/image/image.h"

#include <climits>
#include <cstring>

#include "tools/image/decoders.h"
#include "tools/image/file_io.h"

namespace tools {

void check_size(const std::string& path, long long width, long long height, long long max_pixels) {
    if (width < 1 || height < 1) fail(path, "the picture has no pixels");
    // Both are below 2^31, so the product fits.
    if (width * height <= max_pixels && width <= INT_MAX / 4) return;
    fail(path, std::to_string(width) + " x " + std::to_string(height) +
                   " pixels are more than the limit of " + std::to_string(max_pixels));
}

namespace {

Image decode(const std::string& path, long long max_pixels) {
    static const std::uint8_t jpeg_signature[3] = {0xFF, 0xD8, 0xFF};
    static const std::uint8_t png_signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    InputFile file(path);
    const auto starts_with = [&file](const std::uint8_t* signature, std::size_t size) {
        return file.head_length() >= size && std::memcmp(file.head(), signature, size) == 0;
    };
    if (starts_with(jpeg_signature, sizeof jpeg_signature)) return read_jpeg(file, max_pixels);
    if (starts_with(png_signature, sizeof png_signature)) return read_png(file, max_pixels);
    fail(path, "not a JPEG or PNG file");
}

}  // namespace

Image read_colour(const std::string& path, long long max_pixels) {
    Image image = decode(path, max_pixels);
    if (image.channels == 3) return image;
    Image colour(image.width, image.height, 3);
    std::uint8_t* dst = colour.pixels.data();
    for (const std::uint8_t grey : image.pixels) {
        for (int c = 0; c < 3; ++c) *dst++ = grey;
    }
    return colour;
}

Image read_grey(const std::string& path, long long max_pixels) {
    Image image = decode(path, max_pixels);
    if (image.channels == 1) return image;
    Image grey(image.width, image.height, 1);
    const std::uint8_t* bgr = image.pixels.data();
    for (std::uint8_t& luma : grey.pixels) {
        luma = std::uint8_t((114 * bgr[0] + 587 * bgr[1] + 299 * bgr[2] + 500) / 1000);
        bgr += 3;
    }
    return grey;
}

void write_png(const std::string& path, const Image& image) {
    write_file(path, encode_png(image, path));
}

}  // namespace tools
