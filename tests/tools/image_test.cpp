// Image files: what is stored comes out, and what is damaged does not.

#include "tools/image/image.h"

#include <png.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
// After cstdio, which jpeglib.h needs.
#include <jpeglib.h>

#include "tests/tools/scratch_dir.h"

namespace {

using u8 = std::uint8_t;
using tools::encode_png;
using tools::Image;
using tools::ImageError;
using tools::read_colour;
using tools::read_grey;

constexpr int width = 25, height = 17;  // of every file made here

struct Kind {
    int type;  // PNG_COLOR_TYPE_... or J_COLOR_SPACE
    Bytes exif = {};
    bool in_passes = false;  // interlaced or progressive
    int depth = 8;
    int scans = 0;  // of the progressive grey JPEG; 0: what is usual
};

// An EXIF block that holds nothing but an orientation.
Bytes exif(int orientation, bool big_endian) {
    const auto o = std::uint8_t(orientation);
    if (big_endian)
        return {'E', 'x',  'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1,
                1,   0x12, 0,   3,   0, 0, 0,   1,   0, o,  0, 0, 0, 0, 0, 0};
    return {'E',  'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0,
            0x12, 1,   3,   0,   1, 0, 0,   0,   o,  0, 0, 0, 0, 0, 0, 0};
}

// As libpng and libjpeg take them: a byte for each sample, two for depth 16.
std::vector<std::uint8_t*> rows_of(Bytes& samples, int channels, int depth) {
    std::vector<std::uint8_t*> rows;
    const int stride = width * channels * (depth == 16 ? 2 : 1);
    for (int y = 0; y < height; ++y) rows.push_back(&samples.at(std::size_t(y * stride)));
    return rows;
}

// Samples for any kind of file.
Bytes noise(int largest = 255) {
    Bytes samples(width * height * 4 * 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = std::uint8_t(i * i * 37 / 64 & std::size_t(largest));
    }
    return samples;
}

// R, G and B differ in every entry of the palette, which is half transparent throughout.
png_byte palette_entry(int i, int c) { return png_byte(i * (5 * c + 1) + 80 * c); }

std::string make_png(const std::string& path, Kind kind, Bytes samples) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, kind.depth, kind.type, kind.in_passes, 0, 0);
    png_set_gAMA(png, info, 1.0);  // must change nothing
    if (kind.type == PNG_COLOR_TYPE_PALETTE) {
        std::vector<png_color> palette;
        for (int i = 0; i < 1 << kind.depth; ++i) {
            palette.push_back({palette_entry(i, 0), palette_entry(i, 1), palette_entry(i, 2)});
        }
        png_set_PLTE(png, info, palette.data(), int(palette.size()));
        png_set_tRNS(png, info, Bytes(palette.size(), 128).data(), int(palette.size()), nullptr);
    }
    const auto exif_size = png_uint_32(kind.exif.size());
    if (exif_size > 0) png_set_eXIf_1(png, info, exif_size - 6, kind.exif.data() + 6);
    auto rows = rows_of(samples, png_get_channels(png, info), kind.depth);
    png_set_rows(png, info, rows.data());
    png_write_png(png, info, PNG_TRANSFORM_PACKING, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
    return path;
}

std::string make_jpeg(const std::string& path, const Kind& kind, Bytes samples) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    jpeg_compress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    jpeg_stdio_dest(&jpeg, file);
    jpeg.image_width = width;
    jpeg.image_height = height;
    jpeg.in_color_space = J_COLOR_SPACE(kind.type);
    jpeg.input_components = kind.type == JCS_GRAYSCALE ? 1 : kind.type == JCS_CMYK ? 4 : 3;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, 100, TRUE);
    if (kind.in_passes) jpeg_simple_progression(&jpeg);
    // The mean, then every other coefficient by itself, then the last bits of these.
    std::vector<jpeg_scan_info> scans(1, {1, {0}, 0, 0, 0, 0});
    for (int i = 0; i + 1 < kind.scans; ++i)
        scans.push_back({1, {0}, 1 + i % 63, 1 + i % 63, i / 63, i < 63});
    if (kind.scans > 0) jpeg.scan_info = scans.data(), jpeg.num_scans = kind.scans;
    jpeg_start_compress(&jpeg, TRUE);
    const auto exif_size = unsigned(kind.exif.size());
    if (exif_size > 0) jpeg_write_marker(&jpeg, JPEG_APP0 + 1, kind.exif.data(), exif_size);
    jpeg_write_scanlines(&jpeg, rows_of(samples, jpeg.input_components, 8).data(), height);
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    std::fclose(file);
    return path;
}

// The text of the ImageError, empty for a file that can be read.
std::string error_of(const std::string& file, long long max_pixels = tools::default_max_pixels) {
    try {
        read_colour(file, max_pixels);
        return "";
    } catch (const ImageError& error) {
        return error.what();
    }
}

Bytes big_endian(std::size_t v) { return {u8(v >> 24), u8(v >> 16), u8(v >> 8), u8(v)}; }

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes png_chunk(const Bytes& type, const Bytes& content) {
    const Bytes body = type + content;
    return big_endian(content.size()) + body + big_endian(crc32(0, body.data(), uInt(body.size())));
}

// A PNG file that ends where its picture begins.
Bytes png_header(std::size_t w, std::size_t h, u8 depth, u8 colour_type, u8 interlaced) {
    return Bytes{0x89, 'P', 'N', 'G', 13, 10, 26, 10} +
           png_chunk({'I', 'H', 'D', 'R'},
                     big_endian(w) + big_endian(h) + Bytes{depth, colour_type, 0, 0, interlaced}) +
           Bytes{0, 0, 0, 9, 'I', 'D', 'A', 'T'};
}

long peak_kilobytes() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

using ImageFile = ScratchDir;

TEST_F(ImageFile, png_of_every_kind_comes_out_as_stored_and_as_written_again) {
    for (int n = 0; n < 50; ++n) {
        const int type =
            std::array{PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_PALETTE,
                       PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA}[std::size_t(n / 10)];
        const int channels = std::array{1, 2, 1, 3, 4}[std::size_t(n / 10)], depth = 1 << n / 2 % 5;
        const bool palette = type == PNG_COLOR_TYPE_PALETTE;
        if (depth < 8 ? channels > 1 : depth == 16 && palette) continue;
        SCOPED_TRACE(testing::Message() << "colour type " << type << ", depth " << depth);
        const int largest = (1 << depth) - 1;
        const Bytes stored = noise(largest);
        const Image colour =
            read_colour(make_png(path("k.png"), {type, {}, n % 2 == 1, depth}, stored));
        const Image grey = read_grey(path("k.png"));
        ASSERT_EQ(colour.pixels.size(), std::size_t(width * height * 3));
        ASSERT_EQ(grey.pixels.size(), std::size_t(width * height));
        for (int i = 0; i < width * height; ++i) {
            double weighted = 0;
            for (int c = 0; c < 3; ++c) {
                const std::size_t at = std::size_t(i * channels + (channels >= 3 ? c : 0));
                const int value =
                    depth < 16 ? stored[at] : stored[2 * at] * 256 + stored[2 * at + 1];
                const int rgb =
                    palette ? palette_entry(value, c) : int(value * 255.0 / largest + 0.5);
                ASSERT_EQ(colour.pixels[std::size_t(3 * i + 2 - c)], rgb);
                weighted += std::array{0.299, 0.587, 0.114}[std::size_t(c)] * rgb;
            }
            ASSERT_NEAR(grey.pixels[std::size_t(i)], weighted, 0.5001);
        }
        EXPECT_EQ(read_colour(put("w.png", encode_png(colour, ""))).pixels, colour.pixels);
        EXPECT_EQ(read_grey(put("w.png", encode_png(grey, ""))).pixels, grey.pixels);
    }
    Image with_alpha(2, 1, 4);
    with_alpha.pixels = {10, 20, 30, 0, 50, 60, 70, 128};
    EXPECT_EQ(read_colour(put("a.png", encode_png(with_alpha, ""))).pixels,
              Bytes({10, 20, 30, 50, 60, 70}));
    EXPECT_THROW(encode_png(Image(4, 4, 2), ""), ImageError);
    EXPECT_THROW(tools::write_png(path("missing/out.png"), with_alpha), ImageError);
}

TEST_F(ImageFile, jpeg_in_grey_keeps_it_and_cmyk_is_refused) {
    const Bytes flat(width * height * 4, 40);
    for (const bool progressive : {false, true}) {
        make_jpeg(path("g.jpg"), {JCS_GRAYSCALE, {}, progressive}, flat);
        EXPECT_EQ(read_grey(path("g.jpg")).pixels, Bytes(width * height, 40));
        EXPECT_EQ(read_colour(path("g.jpg")).pixels, Bytes(width * height * 3, 40));
    }
    EXPECT_NE(error_of(make_jpeg(path("cmyk.jpg"), {JCS_CMYK}, flat)), "");
}

TEST_F(ImageFile, every_orientation_is_turned_upright_in_blue_green_red) {
    // Stored are 3 x 2 blocks of 8 x 8 pixels, which JPEG keeps flat, the last ones a pixel wider.
    // How they stand upright, row by row; 0 and 9 are no orientations.
    const char* const upright[] = {"012345", "012345", "210543", "543210", "345012",
                                   "031425", "304152", "524130", "251403", "012345"};
    const auto red = [](int block) { return std::uint8_t(20 + 40 * block); };
    Bytes blocks;
    for (int i = 0; i < width * height; ++i) {
        const int block = std::min(i / width / 8, 1) * 3 + std::min(i % width / 8, 2);
        blocks.insert(blocks.end(), {red(block), 70, 190});
    }
    for (int o = 0; o <= 9; ++o) {
        const bool turned = o >= 5 && o <= 8, odd = o % 2 == 1;
        for (const std::string& file :
             {make_jpeg(path("o.jpg"), {JCS_RGB, exif(o, odd), o % 4 < 2}, blocks),
              make_png(path("o.png"), {PNG_COLOR_TYPE_RGB, exif(o, !odd)}, blocks)}) {
            SCOPED_TRACE(testing::Message() << file << " orientation " << o);
            const Image image = read_colour(file);
            ASSERT_EQ(image.width, turned ? height : width);
            ASSERT_EQ(image.height, turned ? width : height);
            for (int i = 0; i < 6; ++i) {
                const int columns = turned ? 2 : 3, x = i % columns * 8 + 4;
                const std::uint8_t* const bgr = image.row(i / columns * 8 + 4) + 3 * x;
                EXPECT_NEAR(bgr[2], red(upright[o][i] - '0'), 2);
                EXPECT_TRUE(std::abs(bgr[1] - 70) <= 2 && std::abs(bgr[0] - 190) <= 2);
            }
        }
    }
}

TEST_F(ImageFile, an_early_end_is_an_error_that_names_the_file_and_damage_makes_no_chatter) {
    testing::internal::CaptureStderr();
    for (const std::string& file :
         {make_jpeg(path("baseline"), {JCS_RGB, exif(6, true)}, noise()),
          make_jpeg(path("progressive"), {JCS_RGB, {}, true}, noise()),
          make_png(path("png"), {PNG_COLOR_TYPE_RGB, exif(8, true), false, 16}, noise()),
          make_png(path("interlaced"), {PNG_COLOR_TYPE_PALETTE, {}, true}, noise())}) {
        EXPECT_EQ(error_of(file), "");
        const Bytes whole = get(file);
        for (std::size_t i = 0; i < whole.size(); ++i) {
            const std::string cut = put("cut", Bytes(whole.begin(), whole.begin() + long(i)));
            const std::string text = error_of(cut);
            EXPECT_EQ(text.rfind(cut + ": ", 0), 0u) << file << " to byte " << i << ": " << text;
            EXPECT_EQ(text.find('\n'), std::string::npos) << text;

            // Damage may give a picture or an ImageError, but nothing worse.
            Bytes damaged = whole;
            damaged[i] = std::uint8_t(damaged[i] ^ (i % 2 ? 0xFF : 1 << i % 8));
            error_of(put("damaged", damaged), 100'000);
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ImageFile, too_many_pixels_are_refused_from_the_header) {
    for (const std::string& file :
         {make_jpeg(path("small.jpg"), {JCS_GRAYSCALE}, noise()),
          put("small.png", encode_png(Image(width, height, 1), "small.png"))}) {
        EXPECT_EQ(error_of(file, width * height), "");
        EXPECT_NE(error_of(file, width * height - 1), "");
    }
    // The headers of 65500 x 65500 pixels, of which there is not a row.
    const Bytes huge = {0xFF, 0xD8, 0xFF, 0xC0, 0, 11, 8, 0xFF, 0xDC, 0xFF, 0xDC, 1, 1,
                        0x11, 0,    0xFF, 0xDA, 0, 8,  1, 1,    0,    0,    63,   0};
    const long before = peak_kilobytes();
    const std::pair<Bytes, const char*> table[] = {
        {huge, "65500 x 65500 pixels"},
        {png_header(65500, 65500, 8, 2, 0), "65500 x 65500 pixels"},
        {png_header(20000, 10001, 16, 6, 1), "20000 x 10001 pixels are more than the limit"},
        {png_header(0x7FFFFFFF, 1, 1, 0, 1), "2147483647 x 1 pixels"},
        {png_header(0x7FFFFFFF, 0x7FFFFFFF, 16, 6, 0), "2147483647 x 2147483647 pixels"},
        {png_header(0x80000000, 1, 8, 0, 0), "cannot be decoded"}};
    for (const auto& [bytes, words] : table) {
        const std::string text = error_of(put("huge", bytes));
        EXPECT_NE(text.find(words), std::string::npos) << text;
    }
    EXPECT_LT(peak_kilobytes() - before, 10'000);
}

TEST_F(ImageFile, neither_texts_nor_scans_make_a_bomb) {
    const auto of_scans = [&](int scans) {
        return error_of(make_jpeg(path("s.jpg"), {JCS_GRAYSCALE, {}, true, 8, scans}, noise()));
    };
    EXPECT_EQ(of_scans(100), "");
    EXPECT_NE(of_scans(101).find("more than 100 scans"), std::string::npos);

    // Twenty texts of 7 MB each in 140 kB, behind the header.
    Bytes packed(10'000), file = get(make_png(path("t.png"), {PNG_COLOR_TYPE_GRAY}, noise()));
    uLongf size = packed.size();
    compress(packed.data(), &size, Bytes(7'000'000, 'x').data(), 7'000'000);
    packed.resize(size);
    const Bytes text = png_chunk({'z', 'T', 'X', 't'}, Bytes{'k', 0, 0} + packed);
    for (int i = 0; i < 20; ++i) file.insert(file.begin() + 33, text.begin(), text.end());
    const long before = peak_kilobytes();
    EXPECT_EQ(error_of(put("t.png", file)), "");
    EXPECT_LT(peak_kilobytes() - before, 50'000);
}

}  // namespace
