// Image files: what is stored comes out, and what is damaged does not.

#include "tools/image/image.h"

#include <png.h>
#include <sys/stat.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
// After cstdio, which jpeglib.h needs.
#include <jpeglib.h>

#include "tests/tools/scratch_dir.h"

namespace {

using tools::Image;
using tools::ImageError;
using Sample = std::function<int(int x, int y, int c)>;  // 0 .. 2^depth - 1

// A TIFF block that holds nothing but an orientation, as it stands in an EXIF segment.
Bytes exif_tiff(int orientation, bool big_endian) {
    const auto o = std::uint8_t(orientation);
    if (big_endian)
        return {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0,
                3,   0,   0, 0,  1, 0, o, 0, 0, 0, 0, 0,    0};
    return {'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x12, 1, 3, 0, 1, 0, 0, 0, o, 0, 0, 0, 0, 0, 0, 0};
}

struct PngKind {
    int colour_type;
    int depth;
    int interlace = PNG_INTERLACE_NONE;
};

int channels_of(int colour_type) {
    switch (colour_type) {
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            return 2;
        case PNG_COLOR_TYPE_RGB:
            return 3;
        case PNG_COLOR_TYPE_RGB_ALPHA:
            return 4;
        default:
            return 1;
    }
}

Bytes pack_row(const PngKind& kind, int width, int y, const Sample& sample) {
    const int channels = channels_of(kind.colour_type);
    Bytes row(std::size_t(width * channels * kind.depth + 7) / 8);
    std::size_t bit = 0;
    for (int x = 0; x < width; ++x) {
        for (int c = 0; c < channels; ++c) {
            for (int b = kind.depth - 1; b >= 0; --b, ++bit) {
                if (sample(x, y, c) >> b & 1) row[bit / 8] |= std::uint8_t(0x80 >> bit % 8);
            }
        }
    }
    return row;
}

// Palette entry i: distinct values in R, G, B; every other entry half transparent.
png_color palette_entry(int i) { return {png_byte(i), png_byte(255 - i), png_byte(i * 7)}; }

Bytes make_png(const PngKind& kind, int width, int height, const Sample& sample, Bytes exif = {}) {
    Bytes file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &file,
        [](png_structp p, png_bytep bytes, png_size_t size) {
            Bytes& out = *static_cast<Bytes*>(png_get_io_ptr(p));
            out.insert(out.end(), bytes, bytes + size);
        },
        nullptr);
    png_set_IHDR(png, info, png_uint_32(width), png_uint_32(height), kind.depth, kind.colour_type,
                 kind.interlace, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_gAMA(png, info, 1.0);  // must change nothing
    if (kind.colour_type == PNG_COLOR_TYPE_PALETTE) {
        png_color palette[256];
        png_byte alpha[256];
        const int entries = 1 << kind.depth;
        for (int i = 0; i < entries; ++i) {
            palette[i] = palette_entry(i);
            alpha[i] = i % 2 ? 255 : 128;
        }
        png_set_PLTE(png, info, palette, entries);
        png_set_tRNS(png, info, alpha, entries, nullptr);
    }
    if (!exif.empty()) png_set_eXIf_1(png, info, png_uint_32(exif.size()), exif.data());
    std::vector<Bytes> rows;
    std::vector<png_bytep> pointers;
    for (int y = 0; y < height; ++y) rows.push_back(pack_row(kind, width, y, sample));
    for (Bytes& row : rows) pointers.push_back(row.data());
    png_write_info(png, info);
    png_write_image(png, pointers.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file;
}

struct JpegKind {
    J_COLOR_SPACE space = JCS_RGB;
    bool progressive = false;
};

Bytes make_jpeg(const JpegKind& kind, int width, int height, const Sample& sample,
                const Bytes& exif = {}) {
    jpeg_compress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &memory, &size);
    jpeg.image_width = JDIMENSION(width);
    jpeg.image_height = JDIMENSION(height);
    jpeg.input_components = kind.space == JCS_GRAYSCALE ? 1 : kind.space == JCS_CMYK ? 4 : 3;
    jpeg.in_color_space = kind.space;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, 100, TRUE);
    jpeg.comp_info[0].h_samp_factor = jpeg.comp_info[0].v_samp_factor = 1;  // full chroma
    if (kind.progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    if (!exif.empty()) {
        Bytes block = {'E', 'x', 'i', 'f', 0, 0};
        block.insert(block.end(), exif.begin(), exif.end());
        jpeg_write_marker(&jpeg, JPEG_APP0 + 1, block.data(), unsigned(block.size()));
    }
    for (int y = 0; y < height; ++y) {
        Bytes row;
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < jpeg.input_components; ++c) row.push_back(JSAMPLE(sample(x, y, c)));
        }
        JSAMPROW pointer = row.data();
        jpeg_write_scanlines(&jpeg, &pointer, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    const Bytes file(memory, memory + size);
    std::free(memory);
    return file;
}

int wave(int x, int y, int c) { return (x * 9 + y * 5 + c * 40) % 256; }

using ImageFile = ScratchDir;

TEST_F(ImageFile, png_of_every_kind_comes_out_as_stored) {
    const PngKind kinds[] = {{PNG_COLOR_TYPE_GRAY, 1},        {PNG_COLOR_TYPE_GRAY, 2},
                             {PNG_COLOR_TYPE_GRAY, 4},        {PNG_COLOR_TYPE_GRAY, 8},
                             {PNG_COLOR_TYPE_GRAY, 16},       {PNG_COLOR_TYPE_GRAY_ALPHA, 8},
                             {PNG_COLOR_TYPE_GRAY_ALPHA, 16}, {PNG_COLOR_TYPE_PALETTE, 1},
                             {PNG_COLOR_TYPE_PALETTE, 4},     {PNG_COLOR_TYPE_PALETTE, 8},
                             {PNG_COLOR_TYPE_RGB, 8},         {PNG_COLOR_TYPE_RGB, 16},
                             {PNG_COLOR_TYPE_RGB_ALPHA, 8},   {PNG_COLOR_TYPE_RGB_ALPHA, 16}};
    for (PngKind kind : kinds) {
        for (const int interlace : {PNG_INTERLACE_NONE, PNG_INTERLACE_ADAM7}) {
            SCOPED_TRACE(testing::Message() << "colour type " << kind.colour_type << ", depth "
                                            << kind.depth << ", interlace " << interlace);
            kind.interlace = interlace;
            const int largest = (1 << kind.depth) - 1;
            const auto stored = [&](int x, int y, int c) {
                return (x * 2621 + y * 7919 + c * 12345) & largest;
            };
            const std::string file = put("k.png", make_png(kind, 13, 9, stored));
            const Image colour = tools::read_colour(file);
            const Image grey = tools::read_grey(file);
            ASSERT_EQ(colour.pixels.size(), std::size_t(13 * 9 * 3));
            ASSERT_EQ(grey.pixels.size(), std::size_t(13 * 9));
            for (int i = 0; i < 13 * 9; ++i) {
                const int x = i % 13, y = i / 13;
                const bool is_rgb = channels_of(kind.colour_type) >= 3;
                int rgb[3];
                for (int c = 0; c < 3; ++c) {
                    rgb[c] = int(stored(x, y, is_rgb ? c : 0) * 255.0 / largest + 0.5);
                }
                if (kind.colour_type == PNG_COLOR_TYPE_PALETTE) {
                    const png_color entry = palette_entry(stored(x, y, 0));
                    rgb[0] = entry.red, rgb[1] = entry.green, rgb[2] = entry.blue;
                }
                for (int c = 0; c < 3; ++c) ASSERT_EQ(colour.row(y)[3 * x + 2 - c], rgb[c]);
                const double luma = 0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2];
                ASSERT_NEAR(grey.row(y)[x], luma, 0.5001);
            }
        }
    }
}

TEST_F(ImageFile, jpeg_is_read_in_blue_green_red_and_cmyk_is_refused) {
    const auto flat = [](int, int, int c) { return 40 + 80 * c; };  // R 40, G 120, B 200
    for (const bool progressive : {false, true}) {
        const Image image =
            tools::read_colour(put("c.jpg", make_jpeg({JCS_RGB, progressive}, 19, 11, flat)));
        ASSERT_EQ(image.width, 19);
        ASSERT_EQ(image.height, 11);
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(image.row(10)[3 * 18 + c], 200 - 80 * c, 2);
        const std::string grey = put("g.jpg", make_jpeg({JCS_GRAYSCALE, progressive}, 8, 8, flat));
        EXPECT_EQ(tools::read_grey(grey).pixels, Bytes(64, 40));
        EXPECT_EQ(tools::read_colour(grey).pixels, Bytes(64 * 3, 40));
    }
    const std::string cmyk = put("cmyk.jpg", make_jpeg({JCS_CMYK}, 8, 8, flat));
    EXPECT_THROW(tools::read_colour(cmyk), ImageError);
}

TEST_F(ImageFile, every_orientation_is_turned_upright) {
    // Blocks of 8 x 8, so that JPEG keeps them flat; w x h blocks, each of its own grey.
    constexpr int w = 3, h = 2;
    const auto blocks = [](int x, int y, int) { return 20 + 40 * (y / 8 * w + x / 8); };
    for (int orientation = 0; orientation <= 9; ++orientation) {
        SCOPED_TRACE(testing::Message() << "orientation " << orientation);
        const Bytes exif = exif_tiff(orientation, orientation % 2 == 1);
        const std::string files[] = {
            put("o.jpg", make_jpeg({JCS_GRAYSCALE}, 8 * w, 8 * h, blocks, exif)),
            put("o.png", make_png({PNG_COLOR_TYPE_RGB, 8}, 8 * w, 8 * h, blocks, exif))};
        for (const std::string& file : files) {
            const Image image = tools::read_colour(file);
            const bool turned = orientation >= 5 && orientation <= 8;
            ASSERT_EQ(image.width, 8 * (turned ? h : w));
            ASSERT_EQ(image.height, 8 * (turned ? w : h));
            for (int y = 0; y < h; ++y) {
                for (int x = 0; x < w; ++x) {
                    const int right = w - 1 - x, below = h - 1 - y;
                    // Where the stored block (x, y) stands upright.
                    const int target[10][2] = {{x, y},     {x, y}, {right, y}, {right, below},
                                               {x, below}, {y, x}, {below, x}, {below, right},
                                               {y, right}, {x, y}};
                    const int* t = target[orientation];
                    EXPECT_NEAR(image.row(8 * t[1] + 4)[3 * (8 * t[0] + 4)],
                                blocks(8 * x, 8 * y, 0), 1)
                        << file << " block " << x << "," << y;
                }
            }
        }
    }
}

TEST_F(ImageFile, a_file_that_ends_early_is_an_error_that_names_it) {
    const std::pair<const char*, Bytes> files[] = {
        {"baseline", make_jpeg({}, 40, 40, wave, exif_tiff(6, true))},
        {"progressive", make_jpeg({JCS_RGB, true}, 40, 40, wave)},
        {"png", make_png({PNG_COLOR_TYPE_RGB, 8}, 40, 40, wave)},
        {"interlaced", make_png({PNG_COLOR_TYPE_PALETTE, 8, PNG_INTERLACE_ADAM7}, 40, 40, wave)}};
    for (const auto& [name, whole] : files) {
        EXPECT_NO_THROW(tools::read_colour(put(name, whole)));
        for (std::size_t length = 0; length < whole.size(); length += 1 + length / 50) {
            const std::string file = put(name, Bytes(whole.begin(), whole.begin() + long(length)));
            try {
                tools::read_colour(file);
                ADD_FAILURE() << name << " read with " << length << " of " << whole.size();
            } catch (const ImageError& error) {
                const std::string text = error.what();
                EXPECT_EQ(text.rfind(file + ": ", 0), 0u) << text;
                EXPECT_EQ(text.find('\n'), std::string::npos) << text;
            }
        }
        // The last bytes are where a reader that stops at the last row would see nothing.
        EXPECT_THROW(tools::read_colour(put(name, Bytes(whole.begin(), whole.end() - 1))),
                     ImageError);
    }
}

TEST_F(ImageFile, damaged_bytes_give_a_picture_or_an_error_and_no_chatter) {
    testing::internal::CaptureStderr();
    for (const Bytes& whole :
         {make_jpeg({}, 24, 24, wave, exif_tiff(3, false)),
          make_jpeg({JCS_RGB, true}, 24, 24, wave),
          make_png({PNG_COLOR_TYPE_RGB, 16}, 24, 24, wave, exif_tiff(8, true))}) {
        for (std::size_t i = 0; i < whole.size(); ++i) {
            Bytes damaged = whole;
            damaged[i] = std::uint8_t(damaged[i] ^ (i % 2 ? 0xFF : 1 << i % 8));
            try {
                tools::read_colour(put("damaged", damaged), 100'000);
            } catch (const ImageError&) {
            }
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ImageFile, too_many_pixels_are_refused_from_the_header) {
    Bytes jpeg = make_jpeg({JCS_GRAYSCALE}, 20, 10, wave);
    EXPECT_NO_THROW(tools::read_grey(put("small.jpg", jpeg), 200));
    EXPECT_THROW(tools::read_grey(path("small.jpg"), 199), ImageError);
    const Bytes png = make_png({PNG_COLOR_TYPE_GRAY, 1}, 20, 10, [](int, int, int) { return 0; });
    EXPECT_NO_THROW(tools::read_grey(put("small.png", png), 200));
    EXPECT_THROW(tools::read_grey(path("small.png"), 199), ImageError);

    // 65500 x 65500, of which there is not a row.
    const std::uint8_t frame[] = {0xFF, 0xC0, 0, 11, 8};
    const auto sides = std::search(jpeg.begin(), jpeg.end(), frame, frame + 5) + 5;
    ASSERT_LT(sides, jpeg.end());
    for (int i = 0; i < 4; ++i) sides[i] = i % 2 ? 0xDC : 0xFF;
    try {
        tools::read_grey(put("huge.jpg", jpeg));
        ADD_FAILURE();
    } catch (const ImageError& error) {
        EXPECT_NE(std::string(error.what()).find("65500 x 65500"), std::string::npos)
            << error.what();
    }
}

TEST_F(ImageFile, what_is_written_is_read_back) {
    for (const int channels : {1, 3, 4}) {
        Image image(37, 5, channels);
        for (std::size_t i = 0; i < image.pixels.size(); ++i) {
            image.pixels[i] = std::uint8_t(i * 37 + i / 7);
        }
        tools::write_png(path("w.png"), image);
        const Image back =
            channels == 1 ? tools::read_grey(path("w.png")) : tools::read_colour(path("w.png"));
        for (int i = 0; i < 37 * 5; ++i) {
            for (int c = 0; c < back.channels; ++c) {
                ASSERT_EQ(back.pixels[std::size_t(i * back.channels + c)],
                          image.pixels[std::size_t(i * channels + c)]);
            }
        }
    }
}

TEST_F(ImageFile, an_output_appears_whole_or_not_at_all) {
    namespace fs = std::filesystem;
    const Image image(4, 4, 1);
    put("old.png", {1, 2, 3});
    fs::create_directory(path("directory"));
    fs::create_symlink("old.png", path("link.png"));
    const auto names = listing();
    EXPECT_THROW(tools::write_png(path("missing/out.png"), image), ImageError);
    EXPECT_THROW(tools::write_png(path("directory"), image), ImageError);
    EXPECT_THROW(tools::write_png("/dev/full", image), ImageError);
    EXPECT_THROW(tools::write_png(path("odd.png"), Image(4, 4, 2)), ImageError);
    EXPECT_EQ(listing(), names);
    EXPECT_EQ(get(path("old.png")), Bytes({1, 2, 3}));

    tools::write_png(path("link.png"), image);
    EXPECT_TRUE(fs::is_symlink(path("link.png")));
    EXPECT_EQ(tools::read_grey(path("old.png")).pixels, image.pixels);
    EXPECT_EQ(listing(), names);

    const mode_t before = ::umask(027);
    tools::write_png(path("new.png"), image);
    ::umask(before);
    struct stat status;
    ASSERT_EQ(::stat(path("new.png").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
}

}  // namespace
