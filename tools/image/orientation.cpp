// EXIF orientation, read by libexif. The eight values name the corner where the stored picture's
// first pixel stands and the direction of its rows; each is a transposition (5..8) after a flip of
// either axis, so one loop with two signed steps through the stored pixels serves them all.

#include "tools/image/orientation.h"

#include <libexif/exif-data.h>

#include <climits>
#include <memory>

namespace tools {

int exif_orientation(const std::uint8_t* exif, std::size_t size) {
    struct Unref {
        void operator()(ExifData* data) const { exif_data_unref(data); }
    };
    const std::unique_ptr<ExifData, Unref> data(exif_data_new());
    if (!data || size > UINT_MAX) return 1;
    // Otherwise libexif adds and removes entries until the block is as the standard wants it.
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
    exif_data_load_data(data.get(), exif, unsigned(size));
    const ExifEntry* entry = exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
    if (!entry || !entry->data || entry->size < 2 || entry->format != EXIF_FORMAT_SHORT) return 1;
    const int value = exif_get_short(entry->data, exif_data_get_byte_order(data.get()));
    return value >= 1 && value <= 8 ? value : 1;
}

Image turn_upright(Image image, int orientation) {
    if (orientation <= 1 || orientation > 8) return image;
    const bool transpose = orientation >= 5;
    const bool from_right =
        orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool from_bottom =
        orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;

    const int channels = image.channels;
    const std::ptrdiff_t step = from_right ? -channels : channels;
    const std::ptrdiff_t stride = from_bottom ? -image.stride() : image.stride();
    const std::uint8_t* first = image.row(from_bottom ? image.height - 1 : 0) +
                                (from_right ? image.stride() - channels : 0);

    Image upright(transpose ? image.height : image.width, transpose ? image.width : image.height,
                  channels);
    const std::ptrdiff_t along_row = transpose ? stride : step;
    const std::ptrdiff_t along_column = transpose ? step : stride;
    for (int y = 0; y < upright.height; ++y) {
        const std::uint8_t* src = first + y * along_column;
        std::uint8_t* dst = upright.row(y);
        for (int x = 0; x < upright.width; ++x, src += along_row) {
            for (int c = 0; c < channels; ++c) *dst++ = src[c];
        }
    }
    return upright;
}

}  // namespace tools
