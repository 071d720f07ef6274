// The readers of matte on JPEG and PNG files of any content. PNG checksums are set right first:
// else nearly every mutation would end at them.
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <string>

#include "fuzz/input.h"
#include "tools/image/image.h"

namespace {

using Bytes = std::vector<u8>;
constexpr long long max_pixels = 1 << 16;

void mend_checksums(Bytes& file) {
    for (std::size_t at = 8, length; at + 12 <= file.size(); at += 12 + length) {
        length = std::size_t(file[at + 2] << 8 | file[at + 3]);
        if (file[at] != 0 || file[at + 1] != 0 || length > file.size() - at - 12) return;
        const uLong sum = crc32(0, &file[at + 4], uInt(length + 4));
        for (std::size_t i = 0; i < 4; ++i) file[at + 8 + length + i] = u8(sum >> (24 - 8 * i));
    }
}

// No pixels where the file is refused.
template <class Read>
tools::Image read(Read reader, const std::string& path) {
    try {
        tools::Image image = reader(path, max_pixels);
        const long long pixels = 1LL * image.width * image.height;
        require(pixels >= 1 && pixels <= max_pixels);
        require(image.pixels.size() == std::size_t(pixels * image.channels));
        return image;
    } catch (const tools::ImageError& error) {
        const std::string text = error.what();
        require(text.rfind(path + ": ", 0) == 0 && text.find('\n') == std::string::npos);
        return {};
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    static const int file = ::memfd_create("picture", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    Bytes bytes(data, data + size);
    if (size > 0 && data[0] == 0x89) mend_checksums(bytes);
    require(::ftruncate(file, 0) == 0 && ::pwrite(file, bytes.data(), size, 0) == ssize_t(size));
    const tools::Image colour = read(tools::read_colour, path), grey = read(tools::read_grey, path);
    require(colour.width == grey.width && colour.height == grey.height);
    return 0;
}
