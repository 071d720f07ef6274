// The program `composite`: lays a photo over a flat colour through its matte.
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "tools/image/colour.h"
#include "tools/image/image.h"
#include "tools/scene/command_line.h"

namespace {

void lay_over(tools::Image& photo, const tools::Image& matte, const tools::Image& colour) {
    for (std::size_t i = 0; i < matte.pixels.size(); ++i)
        for (std::size_t c = 0; c < 3; ++c) {
            std::uint8_t& value = photo.pixels[3 * i + c];
            value = tools::lay_over(matte.pixels[i], value, colour.pixels[c]);
        }
}

}  // namespace

int main(int argc, char** argv) {
    std::string photo_path, matte_path, colour, out_path;
    CLI::App app("Lays a photo over a flat colour through its matte.", "composite");
    app.add_option("PHOTO", photo_path, "JPEG or PNG")->required();
    app.add_option("MATTE", matte_path, "Grey, 255 where the photo shows")->required();
    app.add_option("COLOUR", colour, "Such as '#3070b0'")
        ->required()
        ->check([](const std::string& text) {
            return tools::is_colour(text) ? "" : "'" + text + "' is not a colour such as #3070b0";
        });
    app.add_option("OUT", out_path, "PNG to write")->required();
    return tools::run_program(app, argc, argv, [&] {
        tools::Image photo = tools::read_colour(photo_path);
        tools::Image matte = tools::read_grey(matte_path);
        if (matte.width != photo.width || matte.height != photo.height)
            throw std::runtime_error(matte_path + ": is " + std::to_string(matte.width) + "x" +
                                     std::to_string(matte.height) + ", but " + photo_path + " is " +
                                     std::to_string(photo.width) + "x" +
                                     std::to_string(photo.height));
        lay_over(photo, matte, tools::colour_pixel(colour));
        tools::write_png(out_path, photo);
    });
}
