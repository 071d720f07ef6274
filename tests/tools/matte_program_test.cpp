// The program matte, run as its users run it.

#include <sys/wait.h>

#include <cmath>
#include <csignal>
#include <cstdlib>

#include "tests/tools/scratch_dir.h"
#include "tools/image/image.h"

namespace {

using tools::Image;
using tools::read_colour;

constexpr int width = 170, height = 140;

// A disc; the distance to its edge is known everywhere.
double inside_disc(double x, double y) { return 55 - std::hypot(x - 70, y - 70); }
int mask_at(double x, double y, int) { return inside_disc(x, y) > 0 ? 255 : 0; }

// An orange subject before a blue background, both with some texture.
int subject_at(int x, int y, int c) { return 30 + 100 * c + (x * 7 + y * 13) % 11; }
int photo_at(int x, int y, int c) {
    const double alpha = std::clamp(inside_disc(x, y) / 2 + 0.5, 0.0, 1.0);
    return int(subject_at(x, y, c) + (1 - alpha) * (160 - 175 * c));
}

struct Result {
    int status;
    std::string out, err;
};

class MatteProgram : public ScratchDir {
  protected:
    template <class F>
    void draw(const std::string& name, int w, int h, int channels, F value) const {
        Image image(w, h, channels);
        for (int i = 0; i < w * h * channels; ++i)
            image.pixels[std::size_t(i)] =
                std::uint8_t(value(i / channels % w, i / channels / w, i % channels));
        tools::write_png(path(name), image);
    }

    MatteProgram() {
        draw("photo.png", width, height, 3, photo_at);
        draw("mask.png", width, height, 1, mask_at);
        draw("trimap.png", width, height, 1, [](int x, int y, int) {
            return std::abs(inside_disc(x, y)) < 6 ? 128 : mask_at(x, y, 0);
        });
        // The mask at half the size, with the same outer edges.
        draw("small.png", width / 2, height / 2, 1,
             [](int x, int y, int c) { return mask_at(2 * x + 0.5, 2 * y + 0.5, c); });
        // Green in the disc, red along the left border.
        draw("strokes.png", width, height, 3, [](int x, int y, int c) {
            return std::abs(y - 70) < (x == 5 && c == 2    ? 60
                                       : x == 70 && c == 1 ? 20
                                                           : 0)
                       ? 255
                       : 0;
        });
        put("text.png", {'h', 'e', 'l', 'l', 'o'});
        Bytes photo = get(path("photo.png"));
        photo.resize(photo.size() / 2);
        put("half.png", photo);
        put("empty.png", {});
    }

    // In the scratch directory, with plain words for arguments, behind what `before` sets.
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

    // The matte that these arguments give without a word.
    Image matte(const std::string& arguments, const std::string& photo = "photo.png") const {
        const Result result = run(photo + " -f -o m.png " + arguments);
        EXPECT_EQ(result.status, 0) << arguments;
        EXPECT_EQ(result.out + result.err, "") << arguments;
        return tools::read_grey(path("m.png"));
    }

    // Exits with `status`, says one line that holds `words`, and leaves no file.
    void expect_refusal(const std::string& arguments, int status, const std::string& words) const {
        SCOPED_TRACE("matte " + arguments);
        const auto names = listing();
        const Result result = run(arguments);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
        EXPECT_EQ(listing(), names);
    }
};

TEST_F(MatteProgram, every_source_gives_the_matte_of_the_disc) {
    const Image trimap = tools::read_grey(path("trimap.png"));
    for (const std::string source : {"-s mask.png", "-t trimap.png", "-t trimap.png --smooth 0",
                                     "--strokes strokes.png", "--fit -s small.png"}) {
        const Image made = matte(source);
        ASSERT_TRUE(made.width == width && made.height == height) << source;
        int soft = 0;
        for (int i = 0; i < width * height; ++i) {
            const int x = i % width, y = i / width, alpha = made.row(y)[x];
            soft += alpha > 20 && alpha < 235;
            if (std::abs(inside_disc(x, y)) < 4) continue;
            ASSERT_NEAR(alpha, mask_at(x, y, 0), 40) << source;
            ASSERT_TRUE(source.find("--smooth") == std::string::npos || trimap.row(y)[x] == 128 ||
                        trimap.row(y)[x] == alpha);
        }
        EXPECT_GT(soft, 50) << source;
    }
    const Bytes file = get(path("m.png"));
    const Result piped = run("photo.png -o - --fit -s small.png");
    EXPECT_EQ(piped.err, "");
    EXPECT_EQ(Bytes(piped.out.begin(), piped.out.end()), file);
}

TEST_F(MatteProgram, cut_out_and_composite_show_nothing_of_the_old_background) {
    const std::string composite = "-s mask.png --composite c.png --background ";
    const Image alphas = matte(composite + "'#10c820' --cutout cut.png");
    const Image cut = read_colour(path("cut.png")), flat = read_colour(path("c.png"));
    const int flat_colour[] = {0x20, 0xc8, 0x10};
    double photo_error = 0, cut_error = 0;
    for (int i = 0; i < 3 * width * height; ++i) {
        const int x = i / 3 % width, y = i / 3 / width, c = i % 3;
        const int alpha = alphas.row(y)[x], colour = cut.row(y)[3 * x + c];
        ASSERT_EQ(flat.row(y)[3 * x + c],
                  (alpha * colour + (255 - alpha) * flat_colour[c] + 127) / 255);
        ASSERT_TRUE(alpha > 0 || colour == 0) << "hidden, but still there";
        photo_error += alpha * std::abs(photo_at(x, y, c) - subject_at(x, y, c));
        cut_error += alpha * std::abs(colour - subject_at(x, y, c));
    }
    EXPECT_LT(cut_error, 0.5 * photo_error);
    EXPECT_EQ(run("photo.png -s mask.png --fg-only -o fg.png").err, "");
    EXPECT_EQ(read_colour(path("fg.png")).pixels, cut.pixels);

    // Of a wide background in three times the size only the middle shows, whose fine stripes become
    // their mean.
    draw("wide.png", 4 * 3 * width, 3 * height, 3,
         [](int x, int, int c) { return c == 2 && x / (4 * width) == 1 && x % 2 ? 255 : 0; });
    EXPECT_EQ(run("photo.png -f " + composite + "wide.png").err, "");
    EXPECT_FALSE(std::filesystem::exists(path("photo-matte.png"))) << "not asked for";
    const Image covered = read_colour(path("c.png"));
    for (const int y : {0, height - 1})
        for (const int x : {0, width - 1}) EXPECT_NEAR(covered.row(y)[3 * x + 2], 128, 30);
}

TEST_F(MatteProgram, strokes_of_one_pixel_survive_on_a_large_photograph) {
    draw("large.png", 13 * width, 13 * height, 3,
         [](int x, int y, int c) { return photo_at(x / 13, y / 13, c); });
    draw("large-strokes.png", 13 * width, 13 * height, 3, [](int x, int y, int c) {
        return std::abs(y - 900) < 300 && (c == 1 ? x == 911 : c == 2 && x == 41) ? 255 : 0;
    });
    const Image made = matte("--strokes large-strokes.png", "large.png");
    // Within 7 pixels of the disc's borders, on either side.
    for (const int x : {25, 120}) EXPECT_GT(made.row(13 * 70)[13 * x], 200);
    for (const int x : {8, 132}) EXPECT_LT(made.row(13 * 70)[13 * x], 55);
}

TEST_F(MatteProgram, fit_leaves_the_subject_in_its_place) {
    // Without a band and smoothing the matte is the mask.
    const Image made = matte("--fit -s small.png --max-band 0 --min-band 0 --smooth 0");
    double sum_x = 0, sum_y = 0, count = 0;
    for (int i = 0; i < width * height; ++i) {
        if (made.pixels[std::size_t(i)] != 255) continue;
        sum_x += i % width, sum_y += i / width, count += 1;
    }
    EXPECT_NEAR(sum_x / count, 70, 0.1);
    EXPECT_NEAR(sum_y / count, 70, 0.1);
    EXPECT_NEAR(count, 3.14159 * 55 * 55, 100);
}

TEST_F(MatteProgram, bad_input_gets_one_line_status_1_and_no_file) {
    std::filesystem::create_directory(path("dir"));
    const std::pair<const char*, const char*> table[] = {
        {"none.png -s mask.png", "none.png: No such file"},
        {"photo.png -s none.png", "none.png: No such file"},
        {"text.png -s mask.png", "text.png: not a JPEG or PNG"},
        {"photo.png -s text.png", "text.png: not a JPEG or PNG"},
        {"half.png -s mask.png", "half.png: the PNG file ends"},
        {"empty.png -s mask.png", "empty.png: the file is empty"},
        {"dir -s mask.png", "dir: Is a directory"},
        {"photo.png -s dir", "photo.png: no photo.png, .jpg or .jpeg in dir"},
        {"photo.png -s small.png", "small.png: the mask is 85 x 70 but photo.png is 170 x 140"},
        {"photo.png --strokes mask.png", "mask.png: no pure green"},
        {"photo.png -s mask.png --max-pixels 23000", "photo.png: 170 x 140 pixels"},
        {"photo.png -s mask.png -o none/out.png", "none/out.png: No such file"},
        {"photo.png -s mask.png -o dir", "dir: Is a directory"},
        {"photo.png -s mask.png -o /dev/full", "/dev/full: No space left"},
        {"photo.png -s mask.png -o m.png --cutout /dev/full", "/dev/full: No space left"},
        {"photo.png -s mask.png -o m.png --cutout none/c.png", "none/c.png: No such file"},
        {"photo.png -s mask.png --composite c.png --background text.png", "text.png: not a JPEG"}};
    for (const auto& [arguments, words] : table) expect_refusal(arguments, 1, words);
}

TEST_F(MatteProgram, misuse_gets_one_line_and_status_2) {
    for (const std::string arguments :
         {"",
          "photo.png",
          "-s mask.png",
          "photo.png -s mask.png -t trimap.png",
          "photo.png -s mask.png --step 0",
          "photo.png -s mask.png --threshold 256",
          "photo.png -s mask.png --smooth x",
          "photo.png -s mask.png --no-such-option",
          "photo.png -t trimap.png --max-band 9",
          "photo.png half.png -s mask.png",
          "photo.png half.png -s mask.png -s mask.png -o out.png",
          "photo.png ./photo.png -s mask.png -s mask.png",
          "photo.png -s mask.png -o ./mask.png",
          "photo.png -s mask.png -o out.jpg",
          "photo.png -s mask.png -o out.png --output-dir .",
          "photo.png -s mask.png --strokes strokes.png",
          "photo.png --strokes strokes.png --threshold 9",
          "photo.png -s mask.png --composite c.png",
          "photo.png -s mask.png --background '#fff' --composite c.png",
          "photo.png -s mask.png --background small.png --composite ./small.png",
          "photo.png -s mask.png --cutout out.jpg",
          "photo.png -s mask.png --cutout ./photo.png",
          "photo.png -s . --cutout mask.png -o ./mask.png",
          "photo.png -s mask.png --cutout - -o -",
          "photo.png half.png -s mask.png -s mask.png --cutout out.png"}) {
        expect_refusal(arguments, 2, "matte: ");
    }
}

TEST_F(MatteProgram, one_failure_does_not_stop_the_other_photographs) {
    const Bytes photo = get(path("photo.png")), mask = get(path("mask.png"));
    std::filesystem::create_directory(path("masks"));
    for (const std::string name : {"a.png", "b.png", "c.png"}) {
        put(name, photo);
        put("masks/" + name, mask);
    }
    put("b.png", {'b', 'a', 'd'});
    expect_refusal("a.png -s masks --cutout masks/a.png", 2, "would replace an input");
    for (const std::string masks : {"-s masks", "-s mask.png -s mask.png -s mask.png"}) {
        const Result result =
            run(masks + " --max-band 3 --output-dir out/m --cutout out/cuts a.png b.png c.png");
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "matte: b.png: not a JPEG or PNG file\n");
        for (const std::string start : {"out/m/", "out/cuts/"}) {
            const std::string end = start == "out/m/" ? "-matte.png" : "-cutout.png";
            const Bytes made = get(path(start + "a" + end));
            EXPECT_TRUE(!made.empty() && made == get(path(start + "c" + end))) << end;
            EXPECT_FALSE(std::filesystem::exists(path(start + "b" + end)));
        }
        std::filesystem::remove_all(path("out"));
    }
}

TEST_F(MatteProgram, force_replaces_what_is_there_but_never_an_input) {
    namespace fs = std::filesystem;
    const auto refused = [this](const std::string& output, int status, const std::string& words) {
        expect_refusal("photo.png -s mask.png " + output, status, words);
    };
    put("old.png", {1});
    fs::create_symlink("old.png", path("link.png"));
    fs::create_symlink("new.png", path("dangling.png"));
    fs::create_symlink("circle.png", path("circle.png"));
    fs::create_symlink("mask.png", path("input.png"));
    fs::create_hard_link(path("photo.png"), path("twin.png"));
    const Bytes photo = get(path("photo.png")), mask = get(path("mask.png"));
    refused("-o old.png", 1, "old.png: exists already; --force replaces it");
    refused("--cutout new-too.png -o link.png", 1, "link.png: exists already");
    refused("-f -o circle.png", 1, "circle.png: Too many levels");
    refused("-f -o dangling.png --cutout new.png", 2, "named for two outputs");
    for (const std::string input : {"./mask.png", "input.png", "twin.png"})
        refused("-f -o " + input, 2, input + ": the output would replace an input");
    EXPECT_EQ(get(path("old.png")), Bytes({1}));

    const std::string matte = run("photo.png -s mask.png -o -").out;
    for (const std::string output : {"-f -o link.png", "-o dangling.png", "-o /dev/stdout"}) {
        const Result result = run("photo.png -s mask.png " + output);
        EXPECT_EQ(result.status, 0) << output << ": " << result.err;
        const bool piped = output == "-o /dev/stdout";
        const Bytes file = get(path(output == "-o dangling.png" ? "new.png" : "old.png"));
        EXPECT_EQ(piped ? result.out : std::string(file.begin(), file.end()), matte) << output;
    }
    EXPECT_TRUE(fs::is_symlink(path("link.png")) && fs::is_symlink(path("dangling.png")));
    EXPECT_EQ(run("photo.png -s mask.png -o /dev/null --cutout /dev/null", "").status, 2);
    EXPECT_EQ(run("photo.png -s mask.png -o /dev/null").status, 0);

    put("photo-matte.png", {1});
    const Result batch = run("photo.png mask.png -s mask.png -s mask.png --output-dir .");
    EXPECT_EQ(batch.status, 1);
    EXPECT_EQ(batch.err.find("matte: ./photo-matte.png: exists already"), 0u) << batch.err;
    EXPECT_EQ(get(path("photo-matte.png")), Bytes({1}));
    EXPECT_TRUE(fs::exists(path("mask-matte.png")));
    EXPECT_TRUE(get(path("photo.png")) == photo && get(path("mask.png")) == mask);
}

TEST_F(MatteProgram, a_signal_leaves_nothing_half_written) {
    std::signal(SIGHUP, SIG_DFL);  // under nohup it is ignored, and stays so in the program
    // A pipe that nobody reads holds the program up while the other output is under way.
    const std::string script =
        "mkfifo pipe; \"$@\" & while kill -0 $! && ! ls .part-*; do sleep 0.01; done >.ls 2>&1\n"
        "rm .ls; kill -$SIGNAL $!; wait $!; status=$?; rm pipe; exit $status";
    put("script", {script.begin(), script.end()});
    const auto names = listing();
    for (const auto& [signal, number] : {std::pair("TERM", 15), std::pair("HUP", 1)}) {
        const Result result = run("photo.png -s mask.png -o m.png --cutout pipe",
                                  std::string("SIGNAL=") + signal + " sh script");
        EXPECT_EQ(result.status, 128 + number) << result.err;
        EXPECT_EQ(listing(), names);
    }
    run("photo.png -s mask.png -o - --cutout cut.png | true");
    EXPECT_EQ(listing(), names) << "standard output was closed";
}

TEST_F(MatteProgram, threshold_cuts_soft_masks_and_keep_drops_the_smaller_part) {
    draw("soft.png", width, height, 1, [](int x, int y, int) {
        const bool square = x >= 150 && y >= 120 && x < 165 && y < 135;
        return square ? 200 : inside_disc(x, y) > 0 ? 90 : 10;
    });
    const std::tuple<const char*, int, int> table[] = {
        {"", 0, 255}, {"--threshold 90", 255, 255}, {"--threshold 90 --keep 1", 255, 0}};
    for (const auto& [options, disc, square] : table) {
        const Image made = matte("-s soft.png --max-band 0 --min-band 0 " + std::string(options));
        EXPECT_EQ(made.row(70)[70], disc) << options;
        EXPECT_EQ(made.row(128)[158], square) << options;
    }
}

TEST_F(MatteProgram, verbose_and_notes_go_to_standard_error) {
    const std::pair<const char*, std::vector<const char*>> table[] = {
        {"-v -s mask.png", {"170 x 140", "unknowns", "reading", "solving", "writing"}},
        {"-t mask.png", {"mask.png: note: no pixel of the trimap is 128"}},
        {"-s mask.png --max-band 45", {"photo.png: note: no subject is left"}}};
    for (const auto& [options, words] : table) {
        const Result result = run("photo.png -f -o m.png " + std::string(options));
        EXPECT_TRUE(result.status == 0 && result.out.empty()) << options;
        for (const char* word : words)
            EXPECT_NE(result.err.find(word), std::string::npos) << result.err;
    }
    EXPECT_EQ(run("--version").out.rfind("matte ", 0), 0u);
    EXPECT_NE(run("--help").out.find("--segmentation"), std::string::npos);
}

// Under ever wider limits of the address space. Below the first line of ours the loader gives up.
TEST_F(MatteProgram, memory_that_runs_out_is_one_line_and_no_file) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the address sanitizer reserves more address space than any limit";
#endif
    const auto names = listing();
    const Image expected = matte("-s mask.png");
    int refused = 0, done = 0;
    for (int kilobytes = 30000; done < 3; kilobytes += 7000) {
        std::filesystem::remove(path("m.png"));
        const Result result = run("photo.png -o m.png -s mask.png",
                                  "ulimit -v " + std::to_string(kilobytes) + " && timeout 60");
        SCOPED_TRACE(std::to_string(kilobytes) + ' ' + result.err);
        if (result.status == 0) {
            ++done;
            ASSERT_EQ(tools::read_grey(path("m.png")).pixels, expected.pixels);
            continue;
        }
        ASSERT_EQ(listing(), names);
        if (result.status == 127) continue;
        ++refused;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
        EXPECT_NE(result.err.find("memory", result.err.find("photo.png: ")), std::string::npos);
    }
    EXPECT_GT(refused, 10);
}

}  // namespace
