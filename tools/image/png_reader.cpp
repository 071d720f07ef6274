// PNG by libpng, every kind brought to 8-bit grey or B,G,R. Samples are taken as stored: no gamma
// chunk changes them, because a trimap's 128 must stay 128. libpng's errors leave by longjmp, so
// the functions that call it under a setjmp hold no object with a destructor; what must be freed
// lives in Decoder, outside of them.

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "tools/image/decoders.h"
#include "tools/image/orientation.h"

namespace tools {

namespace {

constexpr char exif_chunk[] = "eXIf";

struct Decoder {
    png_structp png = nullptr;
    png_infop info = nullptr;
    char message[160] = {};
    bool ended_early = false;
    InputFile& file;
    std::vector<png_bytep> rows;

    explicit Decoder(InputFile& input) : file(input) {}
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() { png_destroy_read_struct(&png, &info, nullptr); }
};

void on_error(png_structp png, png_const_charp text) {
    Decoder& decoder = *static_cast<Decoder*>(png_get_error_ptr(png));
    std::snprintf(decoder.message, sizeof decoder.message, "%s", text);
    png_longjmp(png, 1);
}

void on_warning(png_structp, png_const_charp) {}

void read_bytes(png_structp png, png_bytep bytes, std::size_t size) {
    Decoder& decoder = *static_cast<Decoder*>(png_get_io_ptr(png));
    if (decoder.file.read(bytes, size) == size) return;
    decoder.ended_early = true;
    png_error(png, "end of file");
}

// Of the chunks that a picture can do without only the orientation's is read, and only as bytes:
// libpng would take the memory that a chunk says it needs, or that its text expands to.
void skip_chunks(png_structp png) {
    constexpr int all_optional = -1;
    constexpr png_alloc_size_t largest = 8'000'000;  // bytes
    const auto* exif = reinterpret_cast<png_const_bytep>(exif_chunk);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, all_optional);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_ALWAYS, exif, 1);
    png_set_chunk_malloc_max(png, largest);
}

bool read_header(Decoder& decoder) {
    if (setjmp(png_jmpbuf(decoder.png))) return false;
    png_set_read_fn(decoder.png, &decoder, read_bytes);
    png_set_sig_bytes(decoder.png, int(decoder.file.head_length()));
    // The pixel limit is ours; libpng's own would stop panoramas at a million a side.
    png_set_user_limits(decoder.png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    skip_chunks(decoder.png);
    png_read_info(decoder.png, decoder.info);
    return true;
}

// Asks libpng for 8-bit grey or B,G,R, whatever is stored.
bool set_transforms(Decoder& decoder) {
    if (setjmp(png_jmpbuf(decoder.png))) return false;
    png_set_expand(decoder.png);
    png_set_scale_16(decoder.png);
    png_set_strip_alpha(decoder.png);
    png_set_bgr(decoder.png);
    png_set_interlace_handling(decoder.png);
    png_read_update_info(decoder.png, decoder.info);
    return true;
}

bool read_rows(Decoder& decoder) {
    if (setjmp(png_jmpbuf(decoder.png))) return false;
    png_read_image(decoder.png, decoder.rows.data());
    png_read_end(decoder.png, decoder.info);
    return true;
}

int stored_orientation(const Decoder& decoder) {
    png_unknown_chunkp chunks = nullptr;
    const int count = png_get_unknown_chunks(decoder.png, decoder.info, &chunks);
    const auto is_exif = [](const png_unknown_chunk& chunk) {
        return std::memcmp(chunk.name, exif_chunk, sizeof exif_chunk) == 0;
    };
    const auto* chunk = std::find_if(chunks, chunks + count, is_exif);
    if (chunk == chunks + count) return 1;
    std::vector<std::uint8_t> exif = {'E', 'x', 'i', 'f', 0, 0};
    exif.insert(exif.end(), chunk->data, chunk->data + chunk->size);
    return exif_orientation(exif.data(), exif.size());
}

[[noreturn]] void fail_decoding(const Decoder& decoder) {
    const std::string& path = decoder.file.path();
    if (decoder.file.read_error() != 0) fail_errno(path, decoder.file.read_error());
    if (decoder.ended_early) fail(path, "the PNG file ends before its picture is complete");
    fail(path, std::string("cannot be decoded as PNG: ") + decoder.message);
}

}  // namespace

Image read_png(InputFile& file, long long max_pixels) {
    Decoder decoder(file);
    decoder.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &decoder, on_error, on_warning);
    if (decoder.png) decoder.info = png_create_info_struct(decoder.png);
    if (!decoder.info) throw std::bad_alloc();
    if (!read_header(decoder)) fail_decoding(decoder);

    const png_uint_32 width = png_get_image_width(decoder.png, decoder.info);
    const png_uint_32 height = png_get_image_height(decoder.png, decoder.info);
    check_size(file.path(), width, height, max_pixels);
    if (!set_transforms(decoder)) fail_decoding(decoder);
    Image image(int(width), int(height), png_get_channels(decoder.png, decoder.info));
    decoder.rows.resize(height);
    for (int y = 0; y < image.height; ++y) decoder.rows[std::size_t(y)] = image.row(y);
    if (!read_rows(decoder)) fail_decoding(decoder);
    return turn_upright(std::move(image), stored_orientation(decoder));
}

}  // namespace tools
