// The program matte, run as its users run it.

#include <sys/wait.h>

#include <cmath>
#include <cstdlib>

#include "tests/tools/scratch_dir.h"
#include "tools/image/image.h"

namespace {

using tools::Image;

constexpr int width = 170;
constexpr int height = 140;

// A disc; the distance to its edge is known everywhere.
double inside_disc(double x, double y) { return 55 - std::hypot(x - 70, y - 70); }

// An orange subject before a blue background, both with some texture.
Image draw_photo() {
    Image photo(width, height, 3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double alpha = std::clamp(inside_disc(x, y) / 2 + 0.5, 0.0, 1.0);
            const int grain = (x * 7 + y * 13) % 11;
            const int subject[3] = {30, 120, 230}, background[3] = {190, 90, 40};
            for (int c = 0; c < 3; ++c) {
                photo.row(y)[3 * x + c] =
                    std::uint8_t(alpha * subject[c] + (1 - alpha) * background[c] + grain);
            }
        }
    }
    return photo;
}

template <class F>
Image draw_map(int w, int h, F value) {
    Image map(w, h, 1);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) map.row(y)[x] = std::uint8_t(value(x, y));
    }
    return map;
}

struct Result {
    int status;
    std::string out;
    std::string err;
};

class MatteProgram : public ScratchDir {
  protected:
    MatteProgram() {
        const auto mask = [](int x, int y) { return inside_disc(x, y) > 0 ? 255 : 0; };
        const auto trimap = [](int x, int y) {
            return std::abs(inside_disc(x, y)) < 6 ? 128 : inside_disc(x, y) > 0 ? 255 : 0;
        };
        // The mask at half the size, with the same outer edges.
        const auto small = [](int x, int y) {
            return inside_disc(2 * x + 0.5, 2 * y + 0.5) > 0 ? 255 : 0;
        };
        tools::write_png(path("photo.png"), draw_photo());
        tools::write_png(path("mask.png"), draw_map(width, height, mask));
        tools::write_png(path("trimap.png"), draw_map(width, height, trimap));
        tools::write_png(path("small.png"), draw_map(width / 2, height / 2, small));
        Image strokes(width, height, 3);  // green in the disc, red along the left border
        for (int y = 10; y < 130; ++y) strokes.row(y)[3 * 5 + 2] = 255;
        for (int y = 50; y < 90; ++y) strokes.row(y)[3 * 70 + 1] = 255;
        tools::write_png(path("strokes.png"), strokes);
        put("text.png", {'h', 'e', 'l', 'l', 'o'});
        Bytes photo = get(path("photo.png"));
        photo.resize(photo.size() / 2);
        put("half.png", photo);
        put("empty.png", {});
    }

    // In the scratch directory, with plain words for arguments.
    Result run(const std::string& arguments, const std::string& before = "") const {
        const std::string command = "cd " + dir_.string() + " && " + before + " '" DSCM_MATTE "' " +
                                    arguments + " >.out 2>.err";
        const int status = std::system(command.c_str());
        const Bytes out = get(path(".out")), err = get(path(".err"));
        std::filesystem::remove(path(".out"));
        std::filesystem::remove(path(".err"));
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                {out.begin(), out.end()},
                {err.begin(), err.end()}};
    }

    // Exits with `status`, says one line that holds `words`, and leaves no file.
    void expect_refusal(const std::string& arguments, int status, const std::string& words,
                        const std::string& before = "") const {
        SCOPED_TRACE(before + " matte " + arguments);
        const auto names = listing();
        const Result result = run(arguments, before);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
        EXPECT_EQ(listing(), names);
    }

    // Largest deviation from the disc beyond `margin` pixels of its edge, where all is known.
    static int worst_away_from_edge(const Image& matte, double margin) {
        int worst = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const double distance = inside_disc(x, y);
                if (std::abs(distance) < margin) continue;
                worst = std::max(worst, std::abs(matte.row(y)[x] - (distance > 0 ? 255 : 0)));
            }
        }
        return worst;
    }
};

TEST_F(MatteProgram, mask_and_trimap_give_the_matte_of_the_disc) {
    for (const std::string source :
         {"-s mask.png", "-t trimap.png", "--strokes strokes.png", "--fit -s small.png"}) {
        SCOPED_TRACE(source);
        const Result result = run("photo.png -o matte.png " + source);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out + result.err, "");
        const Image matte = tools::read_grey(path("matte.png"));
        ASSERT_EQ(matte.width, width);
        ASSERT_EQ(matte.height, height);
        EXPECT_LE(worst_away_from_edge(matte, 4), 40);
    }
    const Bytes file = get(path("matte.png"));
    const Result piped = run("photo.png -o - --fit -s small.png");
    EXPECT_EQ(piped.err, "");
    EXPECT_EQ(Bytes(piped.out.begin(), piped.out.end()), file);
}

TEST_F(MatteProgram, a_composite_shows_nothing_of_the_old_background) {
    const Result result =
        run("photo.png -s mask.png --cutout cut.png --composite c.png --background '#00ff00'");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const Image composite = tools::read_colour(path("c.png"));
    const Image colour = tools::read_colour(path("cut.png"));
    int bluest = 0, dullest = 255;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            // Blue is 190 in the old background, about 30 in the subject and 0 in the new one.
            bluest = std::max<int>(bluest, composite.row(y)[3 * x]);
            if (inside_disc(x, y) > 4) dullest = std::min<int>(dullest, colour.row(y)[3 * x + 2]);
        }
    EXPECT_LT(bluest, 80);
    EXPECT_GT(dullest, 220);
}

TEST_F(MatteProgram, fit_leaves_the_subject_in_its_place) {
    // Without a band and smoothing the matte is the mask.
    ASSERT_EQ(
        run("photo.png -o m.png --fit -s small.png --max-band 0 --min-band 0 --smooth 0").status,
        0);
    const Image matte = tools::read_grey(path("m.png"));
    double sum_x = 0, sum_y = 0, count = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (matte.row(y)[x] != 255) continue;
            sum_x += x, sum_y += y, count += 1;
        }
    }
    EXPECT_NEAR(sum_x / count, 70, 0.1);
    EXPECT_NEAR(sum_y / count, 70, 0.1);
    EXPECT_NEAR(count, 3.14159 * 55 * 55, 100);
}

TEST_F(MatteProgram, known_trimap_pixels_keep_their_value) {
    ASSERT_EQ(run("photo.png -o matte.png -t trimap.png --smooth 0").status, 0);
    const Image trimap = tools::read_grey(path("trimap.png"));
    const Image matte = tools::read_grey(path("matte.png"));
    int soft = 0;
    for (std::size_t i = 0; i < trimap.pixels.size(); ++i) {
        if (trimap.pixels[i] != 128) {
            ASSERT_EQ(matte.pixels[i], trimap.pixels[i]);
        }
        soft += matte.pixels[i] > 20 && matte.pixels[i] < 235;
    }
    EXPECT_GT(soft, 50);
}

TEST_F(MatteProgram, bad_input_gets_one_line_status_1_and_no_file) {
    std::filesystem::create_directory(path("dir"));
    const struct {
        const char *photo, *mask, *output, *named;
    } table[] = {
        {"none.png", "mask.png", "out.png", "none.png: No such file"},
        {"photo.png", "none.png", "out.png", "none.png: No such file"},
        {"text.png", "mask.png", "out.png", "text.png: not a JPEG or PNG"},
        {"photo.png", "text.png", "out.png", "text.png: not a JPEG or PNG"},
        {"half.png", "mask.png", "out.png", "half.png: the PNG file ends"},
        {"empty.png", "mask.png", "out.png", "empty.png: the file is empty"},
        {"dir", "mask.png", "out.png", "dir: Is a directory"},
        {"photo.png", "dir", "out.png", "photo.png: no photo.png, .jpg or .jpeg in dir"},
        {"photo.png", "small.png", "out.png",
         "small.png: the mask is 85 x 70 but photo.png is 170 x 140"},
        {"photo.png", "mask.png", "none/out.png", "none/out.png: No such file"},
        {"photo.png", "mask.png", "dir", "dir: Is a directory"},
        {"photo.png", "mask.png", "/dev/full", "/dev/full: No space left"},
    };
    for (const auto& row : table) {
        expect_refusal(std::string(row.photo) + " -s " + row.mask + " -o " + row.output, 1,
                       row.named);
    }
    expect_refusal("photo.png -s mask.png --max-pixels 23000", 1, "photo.png: 170 x 140 pixels");
}

TEST_F(MatteProgram, misuse_gets_one_line_and_status_2) {
    for (const std::string arguments :
         {"", "photo.png", "-s mask.png", "photo.png -s mask.png -t trimap.png",
          "photo.png -s mask.png --step 0", "photo.png -s mask.png --threshold 256",
          "photo.png -s mask.png --smooth x", "photo.png -s mask.png --no-such-option",
          "photo.png -t trimap.png --max-band 9", "photo.png half.png -s mask.png",
          "photo.png half.png -s mask.png -s mask.png -o out.png",
          "photo.png ./photo.png -s mask.png -s mask.png", "photo.png -s mask.png -o ./mask.png",
          "photo.png -s mask.png -o out.jpg", "photo.png -s mask.png -o out.png --output-dir ."}) {
        expect_refusal(arguments, 2, "matte: ");
    }
}

TEST_F(MatteProgram, one_failure_does_not_stop_the_other_photographs) {
    const Bytes photo = get(path("photo.png")), mask = get(path("mask.png"));
    std::filesystem::create_directory(path("masks"));
    for (const char* name : {"a.png", "b.png", "c.png"}) {
        put(name, photo);
        put(std::string("masks/") + name, mask);
    }
    put("b.png", {'b', 'a', 'd'});
    for (const std::string masks : {"-s masks", "-s mask.png -s mask.png -s mask.png"}) {
        const Result result =
            run(masks + " --max-band 3 --output-dir out/mattes a.png b.png c.png");
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "matte: b.png: not a JPEG or PNG file\n");
        EXPECT_EQ(get(path("out/mattes/a-matte.png")), get(path("out/mattes/c-matte.png")));
        EXPECT_FALSE(get(path("out/mattes/a-matte.png")).empty());
        EXPECT_FALSE(std::filesystem::exists(path("out/mattes/b-matte.png")));
        std::filesystem::remove_all(path("out"));
    }
}

TEST_F(MatteProgram, threshold_cuts_soft_masks_and_keep_drops_the_smaller_part) {
    // 90 on the disc, 200 on a square far from it.
    tools::write_png(path("soft.png"), draw_map(width, height, [](int x, int y) {
                         return x >= 150 && y >= 120 && x < 165 && y < 135 ? 200
                                : inside_disc(x, y) > 0                    ? 90
                                                                           : 10;
                     }));
    const auto matte = [this](const std::string& options) {
        const Result result =
            run("photo.png -s soft.png --max-band 0 --min-band 0 -o m.png " + options);
        EXPECT_EQ(result.status, 0) << result.err;
        return tools::read_grey(path("m.png"));
    };
    const auto at = [](const Image& image, int x, int y) { return int(image.row(y)[x]); };
    const Image upper = matte("");
    EXPECT_EQ(at(upper, 70, 70), 0);
    EXPECT_EQ(at(upper, 158, 128), 255);
    const Image both = matte("--threshold 90");
    EXPECT_EQ(at(both, 70, 70), 255);
    EXPECT_EQ(at(both, 158, 128), 255);
    const Image largest = matte("--threshold 90 --keep 1");
    EXPECT_EQ(at(largest, 70, 70), 255);
    EXPECT_EQ(at(largest, 158, 128), 0);
}

TEST_F(MatteProgram, verbose_and_notes_go_to_standard_error) {
    const Result verbose = run("photo.png -v -s mask.png -o m.png");
    EXPECT_EQ(verbose.out, "");
    for (const char* word : {"170 x 140", "unknowns", "reading", "solving", "writing"}) {
        EXPECT_NE(verbose.err.find(word), std::string::npos) << verbose.err;
    }
    const Result note = run("photo.png -t mask.png -o m.png");
    EXPECT_EQ(note.status, 0);
    EXPECT_NE(note.err.find("mask.png: note: no pixel of the trimap is 128"), std::string::npos);
    const Result lost = run("photo.png -s mask.png --max-band 45 -o m.png");
    EXPECT_NE(lost.err.find("photo.png: note: no subject is left"), std::string::npos) << lost.err;
    EXPECT_EQ(run("--version").out.rfind("matte ", 0), 0u);
    EXPECT_NE(run("--help").out.find("--segmentation"), std::string::npos);
}

}  // namespace
