// The program `scene`: writes a rendered portrait with its true matte into a directory.
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include "tools/image/image.h"
#include "tools/scene/command_line.h"
#include "tools/scene/scene.h"

namespace {

// "WxH" into the two sides; an error text for CLI11 otherwise.
std::string read_size(const std::string& text, tools::SceneOptions& options) {
    int w = 0, h = 0;
    char rest = 0;
    // Five digits fit in an int. NOLINTNEXTLINE(cert-err34-c)
    bool numbers = text.size() <= 11 && std::sscanf(text.c_str(), "%5dx%5d%c", &w, &h, &rest) == 2;
    if (!numbers || w < 1 || h < 1 || w > tools::max_scene_side || h > tools::max_scene_side)
        return "'" + text + "' is not a size such as 1200x1600 (sides 1 to " +
               std::to_string(tools::max_scene_side) + ")";
    if ((long long)w * h > tools::default_max_pixels)
        return "'" + text + "' has more than " +
               std::to_string(tools::default_max_pixels / 1000000) + " megapixels";
    options.width = w;
    options.height = h;
    return "";
}

void write_scene(const tools::Scene& scene, const std::filesystem::path& directory) {
    std::error_code failed;
    std::filesystem::create_directories(directory, failed);
    if (failed)
        throw std::runtime_error(directory.string() +
                                 ": cannot make this directory: " + failed.message());
    auto write = [&](const char* name, const tools::Image& image) {
        tools::write_png((directory / name).string(), image);
    };
    write("photo.png", scene.photo);
    write("alpha.png", scene.alpha);
    write("fg.png", scene.foreground);
    write("mask.png", scene.mask);
    write("trimap.png", scene.trimap);
}

}  // namespace

int main(int argc, char** argv) {
    tools::SceneOptions options;
    std::string directory, framing = "centred";
    bool no_hair = false;
    CLI::App app(
        "Renders a portrait whose true matte is known. Writes into OUTDIR: photo.png,\n"
        "alpha.png (true matte), fg.png (true subject colour), mask.png (a coarse\n"
        "segmentation) and trimap.png. The same options give the same bytes anywhere.",
        "scene");
    app.add_option("OUTDIR", directory, "Directory for the pictures; made where absent")
        ->required();
    app.add_option("--size", "Width and height in pixels (1200x1600)")
        ->check([&](const std::string& text) { return read_size(text, options); })
        ->option_text("WxH");
    app.add_option("--seed", options.seed, "Which person, light and place")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--framing", framing, "touching: the subject crosses the picture's borders")
        ->check(CLI::IsMember({"centred", "touching"}))
        ->option_text("centred|touching");
    app.add_option("--noise", options.noise, "Sensor noise at mid grey, in levels of 255 (2.5)")
        ->check(CLI::Range(0.0, 255.0))
        ->option_text("SIGMA");
    app.add_flag("--no-hair", no_hair, "Leave out all loose strands");
    return tools::run_program(app, argc, argv, [&] {
        if (framing == "touching") options.framing = tools::Framing::touching;
        options.hair = !no_hair;
        write_scene(tools::render_scene(options), directory);
    });
}
