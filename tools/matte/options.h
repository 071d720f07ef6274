// The command line of matte.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/image/image.h"

namespace matte {

enum ExitStatus { success = 0, failure = 1, misuse = 2 };

// Half-widths of the band that are not given, as parts of the photograph's longer side.
constexpr double default_max_band = 0.008;
constexpr double default_min_band = 0.002;

// What the matte is made with, and the defaults, which stand nowhere else; docs/defaults.md has the
// measurements behind them.
struct Settings {
    int max_size = 256;           // pixels, longer side of the working picture
    std::optional<int> max_band;  // pixels, widest half-width of the unknown band
    double band_scale = 1.0;      // half-width per distance from the subject's outline to its core
    int step = 3;                 // every step-th colour is compared across the outline
    unsigned low_contrast = 5;    // 0..255 a channel, where the band is narrowest
    unsigned high_contrast = 50;  // 0..255 a channel, where it is widest
    std::optional<int> min_band;  // pixels, narrowest half-width
    int smooth = 3;               // pixels, window of the boundary smoothing, 0 none
    int keep = 0;                 // largest parts of the subject that stay, 0 all
    unsigned threshold = 128;     // grey from which a segmentation's pixel is subject
    bool fit = false;             // resize masks of another size
    long long max_pixels = tools::default_max_pixels;
};

enum class MaskKind { segmentation, trimap, strokes };

struct Options {
    std::vector<std::string> photos;
    std::vector<std::string> segmentations;  // one of these three is filled
    std::vector<std::string> trimaps;
    std::vector<std::string> strokes;
    std::string output;      // a file, "-" for standard output, or empty: names are made
    std::string output_dir;  // for names that are made
    std::string cutout;      // a file, "-", a directory for names that are made, or empty: none
    std::string composite;   // likewise
    std::string background;  // a file or #rrggbb, with composite
    bool fg_only = false;    // the subject's colour in place of the matte
    bool force = false;      // replace outputs that are there already
    bool verbose = false;
    Settings settings;

    MaskKind mask_kind() const {
        if (!strokes.empty()) return MaskKind::strokes;
        return trimaps.empty() ? MaskKind::segmentation : MaskKind::trimap;
    }
    const std::vector<std::string>& masks() const;
    const char* mask_option() const;
    bool wants_colours() const { return fg_only || !cutout.empty() || !composite.empty(); }
};

// Fills `options` and returns true, or, after --help, --version or misuse, which it reports,
// returns false and sets `status` to what the program is to exit with.
bool parse_command_line(int argc, const char* const* argv, Options& options, int& status);

}  // namespace matte
