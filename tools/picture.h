// A picture in memory: what the programs, the rendered scenes and the tests pass around.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tools {

// Rows top to bottom without padding, interleaved 8-bit channels: 1 grey, 3 B,G,R, 4 B,G,R,A with
// straight alpha.
struct Image {
    int width = 0;
    int height = 0;
    int channels = 0;
    std::vector<std::uint8_t> pixels;

    Image() = default;
    Image(int w, int h, int c)
        : width(w),
          height(h),
          channels(c),
          pixels(std::size_t(w) * std::size_t(h) * std::size_t(c)) {}

    int stride() const { return width * channels; }  // bytes
    std::uint8_t* row(int y) { return pixels.data() + std::size_t(y) * std::size_t(stride()); }
    const std::uint8_t* row(int y) const {
        return pixels.data() + std::size_t(y) * std::size_t(stride());
    }
};

}  // namespace tools
