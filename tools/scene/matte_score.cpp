// The program `matte_score`: how far a matte is from the true one.
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "tools/image/image.h"
#include "tools/scene/command_line.h"

namespace {

tools::Image read_of_size(const std::string& path, const tools::Image& as,
                          const std::string& as_path) {
    tools::Image image = tools::read_grey(path);
    if (image.width != as.width || image.height != as.height)
        throw std::runtime_error(path + ": is " + std::to_string(image.width) + "x" +
                                 std::to_string(image.height) + ", but " + as_path + " is " +
                                 std::to_string(as.width) + "x" + std::to_string(as.height));
    return image;
}

// `trimap` may be null.
void print_score(const tools::Image& truth, const tools::Image& matte, const tools::Image* trimap) {
    long long count = 0, absolute = 0, squared = 0;
    for (std::size_t i = 0; i < truth.pixels.size(); ++i) {
        if (trimap && trimap->pixels[i] != 128) continue;
        const long long d = int(truth.pixels[i]) - int(matte.pixels[i]);
        ++count;
        absolute += d < 0 ? -d : d;
        squared += d * d;
    }
    double mean = count ? double(squared) / (255.0 * 255.0) / double(count) : 0;
    std::printf("SAD %.2f  MSE %.2f  pixels %lld\n", double(absolute) / 255 / 1000, mean * 1000,
                count);
}

}  // namespace

int main(int argc, char** argv) {
    std::string truth_path, matte_path, trimap_path;
    CLI::App app(
        "Compares a matte with the true one: SAD, the sum of |difference| / 255 / 1000,\n"
        "and MSE, the mean of (difference / 255)^2, times 1000.",
        "matte_score");
    app.add_option("TRUTH", truth_path, "The true matte")->required();
    app.add_option("MATTE", matte_path, "The matte to judge")->required();
    app.add_option("--trimap", trimap_path, "Count only where this picture is 128");
    return tools::run_program(app, argc, argv, [&] {
        tools::Image truth = tools::read_grey(truth_path);
        tools::Image matte = read_of_size(matte_path, truth, truth_path), trimap;
        if (!trimap_path.empty()) trimap = read_of_size(trimap_path, truth, truth_path);
        print_score(truth, matte, trimap_path.empty() ? nullptr : &trimap);
    });
}
