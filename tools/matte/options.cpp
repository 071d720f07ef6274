// The command line, by CLI11.

#include "tools/matte/options.h"

#include <CLI/CLI.hpp>
#include <climits>
#include <iostream>
#include <sstream>

#include "tools/image/colour.h"

namespace matte {

namespace {

constexpr const char* description =
    "Makes alpha mattes: for each photograph an 8-bit grey PNG of the same size, 255\n"
    "where the subject is, 0 where its surroundings are, and between them along hair\n"
    "and soft edges. A rough idea of the subject is needed for each photograph: a\n"
    "segmentation, a trimap or strokes. The subject can be cut out and put on another\n"
    "background on the way.";

constexpr const char* footer =
    "Photographs, masks and backgrounds are JPEG or PNG files; all are turned as their\n"
    "EXIF orientation says. Outputs are PNG files; existing ones are replaced with --force\n"
    "only, inputs never. Where an output is a symbolic link, what it points at is written;\n"
    "devices and pipes are written to. A photograph's outputs appear when all are done.\n"
    "\n"
    "Several photographs: give --segmentation (--trimap, --strokes) once for each, in\n"
    "the same order, or once with a directory, where the mask of DIR/NAME.jpg is\n"
    "NAME.png, NAME.jpg or NAME.jpeg; give --cutout and --composite a directory. A\n"
    "photograph that fails does not stop the others.\n"
    "\n"
    "Exit status: 0 all was made, 1 one or more photographs failed, 2 the command line\n"
    "is wrong.\n"
    "\n"
    "Examples:\n"
    "  matte portrait.jpg -s person.png -o portrait-matte.png\n"
    "  matte portrait.jpg -t trimap.png --smooth 0 -o - | display\n"
    "  matte portrait.jpg --strokes marked.png --cutout portrait-cutout.png\n"
    "  matte portrait.jpg -s person.png --background beach.jpg --composite beach.png\n"
    "  matte album/*.jpg -s masks/ --output-dir mattes/ --cutout cutouts/";

// Names with their defaults, and texts wrapped to a terminal's 80 columns; CLI11's own list of
// ranges and exclusions would bury them.
class HelpFormatter : public CLI::Formatter {
  public:
    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string type = option->get_type_name();  // with the range behind a colon
        std::string text;
        if (!type.empty()) text += " " + type.substr(0, type.find(':'));
        if (!option->get_default_str().empty()) text += " [" + option->get_default_str() + "]";
        return text;
    }

    std::string make_option_desc(const CLI::Option* option) const override {
        constexpr std::size_t text_width = 49;  // 80 less the column of names
        std::istringstream words(option->get_description());
        std::string text;
        std::size_t column = 0;
        for (std::string word; words >> word; column += word.size()) {
            const bool wrap = column + 1 + word.size() > text_width;
            if (column > 0) text += wrap ? '\n' : ' ';
            column = wrap || column == 0 ? 0 : column + 1;
            text += word;
        }
        return text;
    }
};

// Repeated for each photograph; a second value without the option's name is a photograph.
CLI::Option* add_masks(CLI::App& app, const char* name, std::vector<std::string>& masks,
                       const char* type, const char* text) {
    return app.add_option(name, masks, text)->type_name(type)->allow_extra_args(false);
}

void add_inputs(CLI::App& app, Options& options) {
    app.add_option("PHOTO", options.photos, "Photographs to make mattes of")
        ->type_name("")
        ->required();
    auto* segmentation =
        add_masks(app, "-s,--segmentation", options.segmentations, "MASK",
                  "Grey picture that is bright where the subject is, such as a phone's person "
                  "segmenter gives; the matte finds the fine outline by itself");
    auto* trimap = add_masks(app, "-t,--trimap", options.trimaps, "TRIMAP",
                             "Grey picture of exactly 255 (subject), 0 (surroundings) and 128 (to "
                             "be found out); other values are taken as known opacities")
                       ->excludes(segmentation);
    add_masks(app, "--strokes", options.strokes, "STROKES",
              "Picture of the photograph's size with strokes of pure green (0,255,0) through the "
              "subject and of pure red (255,0,0) around it; other colours mark nothing")
        ->excludes(segmentation)
        ->excludes(trimap);
}

void add_outputs(CLI::App& app, Options& options) {
    auto* output = app.add_option("-o,--output", options.output,
                                  "PNG file to write, - for standard output (one photograph)")
                       ->type_name("FILE");
    app.add_option("--output-dir", options.output_dir,
                   "Directory for the mattes, made where missing; the matte of DIR/NAME.jpg is "
                   "called NAME-matte.png. Without this option and -o: the current directory, or "
                   "no matte where --cutout or --composite ask for something else")
        ->type_name("DIR")
        ->excludes(output);
    app.add_flag("-f,--force", options.force, "Replace output files that are there already");
}

std::string check_background(const std::string& text) {
    if (text[0] != '#' || tools::is_colour(text)) return {};
    return "'" + text + "' is not a colour such as #3070b0";
}

void add_colour_outputs(CLI::App& app, Options& options) {
    const auto add = [&app](const char* name, std::string& value, const char* type,
                            const char* text) {
        return app.add_option(name, value, text)->type_name(type)->group("Subject's colour");
    };
    add("--cutout", options.cutout, "FILE|DIR",
        "Write the subject cut out: its colour without what shows through of the surroundings, "
        "and the matte as (straight) alpha. In a directory: NAME-cutout.png");
    auto* composed =
        add("--composite", options.composite, "FILE|DIR",
            "Write the subject on the --background. In a directory: NAME-composite.png");
    auto* background =
        add("--background", options.background, "IMAGE|#rrggbb",
            "Picture or colour for --composite. A picture of another size is resized so that its "
            "middle part covers the photograph");
    background->needs(composed)->check(check_background);
    composed->needs(background);
    app.add_flag("--fg-only", options.fg_only,
                 "Write the subject's colour alone, black where no subject is, in place of the "
                 "matte (NAME-fg.png)")
        ->group("Subject's colour");
}

// Adds a number, shown with its default.
template <class T>
CLI::Option* add_number(CLI::App& app, const char* group, const char* name, T& value,
                        const char* text) {
    return app.add_option(name, value, text)->capture_default_str()->type_name("N")->group(group);
}

void add_mask_settings(CLI::App& app, Settings& settings) {
    const auto add = [&app](const char* name, auto& value, const char* text) {
        return add_number(app, "From a segmentation or strokes", name, value, text)
            ->excludes("--trimap");
    };
    add("--threshold", settings.threshold, "Grey from which on a pixel of the mask is subject")
        ->check(CLI::Range(1, 255))
        ->excludes("--strokes");
    add("--max-band", settings.max_band,
        "Widest half-width in pixels of the band along the outline in which the matte is found "
        "out; 0.8 % of the photograph's longer side if not given")
        ->check(CLI::Range(0, INT_MAX));
    add("--min-band", settings.min_band,
        "Narrowest half-width in pixels of that band; 0.2 % if not given")
        ->check(CLI::Range(0, INT_MAX));
    add("--band-scale", settings.band_scale,
        "Half-width of the band as a multiple of the distance from the subject's outline to its "
        "core, up to --max-band")
        ->check(CLI::Range(0.0, 1000.0));
    add("--low-contrast", settings.low_contrast,
        "Colour difference a channel across the outline up to which the band is narrowest")
        ->check(CLI::Range(0, 255));
    add("--high-contrast", settings.high_contrast,
        "Colour difference a channel across the outline from which on the band is widest")
        ->check(CLI::Range(0, 255));
    add("--step", settings.step, "Compare every N-th colour across the outline")
        ->check(CLI::Range(1, INT_MAX));
}

void add_settings(CLI::App& app, Settings& settings) {
    const auto add = [&app](const char* name, auto& value, const char* text) {
        return add_number(app, "Matte", name, value, text);
    };
    add("--max-size", settings.max_size,
        "Longer side in pixels of the reduced picture on which the matte is computed before it is "
        "carried to full size; pictures with a side below it are not reduced")
        ->check(CLI::Range(1, INT_MAX));
    add("--smooth", settings.smooth, "Window in pixels of the boundary smoothing, 0 for none")
        ->check(CLI::Range(0, INT_MAX));
    add("--keep", settings.keep, "Keep the N largest parts of the subject, 0 for all")
        ->check(CLI::Range(0, INT_MAX));
    add("--max-pixels", settings.max_pixels, "Refuse pictures of more pixels")
        ->check(CLI::Range(1LL, 2'000'000'000LL));
    app.add_flag("--fit", settings.fit, "Resize a mask of another size to its photograph's")
        ->group("Matte");
}

// What CLI11 cannot express; empty where nothing is wrong.
std::string find_misuse(const Options& options) {
    if (options.masks().empty()) return "--segmentation, --trimap or --strokes is needed";
    if (!options.output.empty() && options.photos.size() > 1) {
        return "--output takes one photograph; use --output-dir for several";
    }
    return {};
}

int report_misuse(std::string text) {
    for (char& c : text) {
        if (c == '\n') c = ' ';
    }
    std::cerr << "matte: " << text << " (see matte --help)\n";
    return misuse;
}

}  // namespace

const std::vector<std::string>& Options::masks() const {
    const MaskKind kind = mask_kind();
    return kind == MaskKind::strokes ? strokes : kind == MaskKind::trimap ? trimaps : segmentations;
}

const char* Options::mask_option() const {
    const MaskKind kind = mask_kind();
    return kind == MaskKind::strokes  ? "--strokes"
           : kind == MaskKind::trimap ? "--trimap"
                                      : "--segmentation";
}

bool parse_command_line(int argc, const char* const* argv, Options& options, int& status) {
    CLI::App app(description, "matte");
    app.footer(footer);
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_version_flag("--version", std::string("matte ") + DSCM_VERSION);
    app.add_flag("-v,--verbose", options.verbose,
                 "Report sizes, unknowns and the time of each stage on standard error");
    add_inputs(app, options);
    add_outputs(app, options);
    add_colour_outputs(app, options);
    add_mask_settings(app, options.settings);
    add_settings(app, options.settings);
    status = success;
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& request) {
        app.exit(request);
        return false;
    } catch (const CLI::Error& error) {
        status = report_misuse(error.what());
        return false;
    }
    // Redirected to a file it would be taken for one that is there already.
    for (std::string* name : {&options.output, &options.cutout, &options.composite}) {
        if (*name == "/dev/stdout") *name = "-";
    }
    const std::string wrong = find_misuse(options);
    if (!wrong.empty()) status = report_misuse(wrong);
    return wrong.empty();
}

}  // namespace matte
