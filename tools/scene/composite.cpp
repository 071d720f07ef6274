// The program `composite`: lays a photo over a flat colour through its matte.
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "tools/image/image.h"
#include "tools/scene/command_line.h"

namespace {

bool is_colour(const std::string& text) {
    return text.size() == 7 && text[0] == '#' &&
           text.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos;
}

// photo = alpha * photo + (1 - alpha) * colour, rounded; `rgb` is 0xrrggbb.
void lay_over(tools::Image& photo, const tools::Image& matte, unsigned rgb) {
    for (std::size_t i = 0; i < matte.pixels.size(); ++i)
        for (unsigned c = 0; c < 3; ++c) {
            std::uint8_t& value = photo.pixels[3 * i + c];
            unsigned a = matte.pixels[i], flat = (rgb >> (8 * c)) & 255u;
            value = std::uint8_t((a * value + (255 - a) * flat + 127) / 255);
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
            return is_colour(text) ? "" : "'" + text + "' is not a colour such as #3070b0";
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
        lay_over(photo, matte, unsigned(std::stoul(colour.substr(1), nullptr, 16)));
        tools::write_png(out_path, photo);
    });
}
