// JPEG by libjpeg(-turbo). Its errors leave by longjmp, so the two functions that call it under a
// setjmp hold no object with a destructor; what must be freed lives in Decoder, outside of them.
//
// libjpeg takes damage for a warning and fills what is missing with grey. A photograph with a grey
// bottom half is no photograph: warnings that mean lost picture data are errors here, and the end
// of the file is reported by our own data source. The others (a strange JFIF version, stray bytes
// between segments as some cameras leave them) say nothing about the picture and are ignored.
//
// A progressive file of few bytes can ask for any number of passes over all of its picture, so the
// number of its scans is limited as the number of pixels is.

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>
// After cstdio, which jpeglib.h needs and does not include.
#include <jpeglib.h>
// After jpeglib.h, whose types it uses.
#include <jerror.h>

#include "tools/image/decoders.h"
#include "tools/image/orientation.h"

namespace tools {

namespace {

// Encoders write about ten.
constexpr int most_scans = 100;

// Error manager and data source share one object; libjpeg hands back the address of the part.
struct Decoder {
    jpeg_decompress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg_progress_mgr progress = {};
    jpeg_source_mgr source = {};
    std::jmp_buf on_error = {};
    char message[JMSG_LENGTH_MAX] = {};
    InputFile& file;
    JOCTET buffer[1 << 14] = {};

    explicit Decoder(InputFile& input) : file(input) {}
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() { jpeg_destroy_decompress(&jpeg); }
};

Decoder& decoder_of(j_common_ptr jpeg) { return *static_cast<Decoder*>(jpeg->client_data); }

[[noreturn]] void give_up(Decoder& decoder) { std::longjmp(decoder.on_error, 1); }

void on_fatal(j_common_ptr jpeg) {
    Decoder& decoder = decoder_of(jpeg);
    decoder.errors.format_message(jpeg, decoder.message);
    give_up(decoder);
}

void on_message(j_common_ptr jpeg, int level) {
    if (level >= 0) return;
    switch (jpeg->err->msg_code) {
        case JWRN_HIT_MARKER:
        case JWRN_HUFF_BAD_CODE:
        case JWRN_ARITH_BAD_CODE:
        case JWRN_JPEG_EOF:
        case JWRN_MUST_RESYNC:
        case JWRN_BOGUS_PROGRESSION:
            on_fatal(jpeg);
            break;
        default:
            break;
    }
}

void no_output(j_common_ptr) {}

void on_progress(j_common_ptr jpeg) {
    Decoder& decoder = decoder_of(jpeg);
    if (decoder.jpeg.input_scan_number <= most_scans) return;
    std::snprintf(decoder.message, sizeof decoder.message, "the JPEG has more than %d scans",
                  most_scans);
    give_up(decoder);
}

void start_source(j_decompress_ptr) {}

boolean fill_buffer(j_decompress_ptr jpeg) {
    Decoder& decoder = decoder_of(reinterpret_cast<j_common_ptr>(jpeg));
    const std::size_t count = decoder.file.read(decoder.buffer, sizeof decoder.buffer);
    if (count == 0) {
        std::snprintf(decoder.message, sizeof decoder.message,
                      "the JPEG file ends before its picture is complete");
        give_up(decoder);
    }
    decoder.source.next_input_byte = decoder.buffer;
    decoder.source.bytes_in_buffer = count;
    return TRUE;
}

void skip_input(j_decompress_ptr jpeg, long count) {
    while (count > long(jpeg->src->bytes_in_buffer)) {
        count -= long(jpeg->src->bytes_in_buffer);
        fill_buffer(jpeg);
    }
    if (count <= 0) return;
    jpeg->src->next_input_byte += count;
    jpeg->src->bytes_in_buffer -= std::size_t(count);
}

void end_source(j_decompress_ptr) {}

void set_up_callbacks(Decoder& decoder) {
    decoder.jpeg.err = jpeg_std_error(&decoder.errors);
    decoder.jpeg.client_data = &decoder;
    decoder.errors.error_exit = on_fatal;
    decoder.errors.emit_message = on_message;
    decoder.errors.output_message = no_output;
    decoder.progress.progress_monitor = on_progress;

    decoder.source.init_source = start_source;
    decoder.source.fill_input_buffer = fill_buffer;
    decoder.source.skip_input_data = skip_input;
    decoder.source.resync_to_restart = jpeg_resync_to_restart;
    decoder.source.term_source = end_source;
    // What was read for the signature comes first.
    std::memcpy(decoder.buffer, decoder.file.head(), decoder.file.head_length());
    decoder.source.next_input_byte = decoder.buffer;
    decoder.source.bytes_in_buffer = decoder.file.head_length();
}

bool read_header(Decoder& decoder) {
    if (setjmp(decoder.on_error)) return false;
    jpeg_create_decompress(&decoder.jpeg);
    decoder.jpeg.src = &decoder.source;
    decoder.jpeg.progress = &decoder.progress;
    jpeg_save_markers(&decoder.jpeg, JPEG_APP0 + 1, 0xFFFF);
    jpeg_read_header(&decoder.jpeg, TRUE);
    return true;
}

bool read_rows(Decoder& decoder, Image& image) {
    if (setjmp(decoder.on_error)) return false;
    jpeg_start_decompress(&decoder.jpeg);
    while (decoder.jpeg.output_scanline < decoder.jpeg.output_height) {
        JSAMPROW row = image.row(int(decoder.jpeg.output_scanline));
        jpeg_read_scanlines(&decoder.jpeg, &row, 1);
    }
    jpeg_finish_decompress(&decoder.jpeg);
    return true;
}

int stored_orientation(const Decoder& decoder) {
    for (auto marker = decoder.jpeg.marker_list; marker; marker = marker->next) {
        if (marker->data_length >= 6 && std::memcmp(marker->data, "Exif\0\0", 6) == 0) {
            return exif_orientation(marker->data, marker->data_length);
        }
    }
    return 1;
}

[[noreturn]] void fail_decoding(const Decoder& decoder) {
    if (decoder.file.read_error() != 0) fail_errno(decoder.file.path(), decoder.file.read_error());
    if (decoder.errors.msg_code == JERR_OUT_OF_MEMORY) throw std::bad_alloc();
    fail(decoder.file.path(), decoder.message);
}

}  // namespace

Image read_jpeg(InputFile& file, long long max_pixels) {
    Decoder decoder(file);
    set_up_callbacks(decoder);
    if (!read_header(decoder)) fail_decoding(decoder);

    jpeg_decompress_struct& jpeg = decoder.jpeg;
    check_size(file.path(), jpeg.image_width, jpeg.image_height, max_pixels);
    const bool grey = jpeg.jpeg_color_space == JCS_GRAYSCALE;
    if (!grey && jpeg.jpeg_color_space != JCS_YCbCr && jpeg.jpeg_color_space != JCS_RGB) {
        fail(file.path(), "the JPEG's colours are neither grey nor RGB (CMYK?); convert it first");
    }
    jpeg.out_color_space = grey ? JCS_GRAYSCALE : JCS_EXT_BGR;
    Image image(int(jpeg.image_width), int(jpeg.image_height), grey ? 1 : 3);
    const int orientation = stored_orientation(decoder);  // read_rows() drops the markers
    if (!read_rows(decoder, image)) fail_decoding(decoder);
    return turn_upright(std::move(image), orientation);
}

}  // namespace tools
