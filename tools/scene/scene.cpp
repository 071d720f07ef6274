// Puts the scene together in bands of rows, so that the floating-point planes never exceed a band.
//
// Per pixel: subject colour F and alpha a come from the band, B from the background, all darkened
// towards the corners by the lens; the photo is a*F + (1-a)*B, plus noise that grows with the
// light, rounded once. Where alpha is 0 the subject's colour is continued from coarse cells that
// hold the mean colour around them.
#include "tools/scene/scene.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "tools/scene/parts.h"

namespace tools {
namespace {

using namespace parts;

std::uint8_t to_byte(float v) { return std::uint8_t(std::min(std::max(v, 0.f), 255.f) + 0.5f); }

void store(std::uint8_t* bgr, Colour c) {
    bgr[0] = to_byte(c.b);
    bgr[1] = to_byte(c.g);
    bgr[2] = to_byte(c.r);
}

View place(const SceneOptions& options) {
    View view;
    view.width = options.width;
    view.height = options.height;
    float w = float(options.width), h = float(options.height);
    bool close = options.framing == Framing::touching;
    view.scale = close ? 1.5f * w : std::min(h, 1.1f * w);
    view.centre_x = (close ? 0.38f : 0.47f) * w;
    view.centre_y = std::max(0.36f * h, h - (close ? 0.9f : 0.8f) * w);
    view.wind = close ? 1.6f : 1.f;
    return view;
}

// The subject's colour in cells of the picture, kept where there is some of it and spread to where
// there is none.
class Cells {
  public:
    Cells(int width, int height)
        : side_(1 + (std::max(width, height) - 1) / 64),
          columns_(1 + (width - 1) / side_),
          rows_(1 + (height - 1) / side_),
          sums_(std::size_t(columns_) * std::size_t(rows_) * 4) {}

    void add_row(int y, const float* bgra, int width) {
        for (int x = 0; x < width; ++x) {
            float* sum = at(x / side_, y / side_);
            for (int c = 0; c < 4; ++c) sum[c] += bgra[4 * x + c];
        }
    }

    // Normalised averages over ever wider neighbourhoods, each only as far as the narrower ones
    // left a cell without weight.
    void spread() {
        for (int reach = 1; reach < columns_ + rows_; reach *= 2) {
            std::vector<float> wider = blurred(blurred(sums_, reach, true), reach, false);
            for (std::size_t i = 0; i < sums_.size(); ++i) sums_[i] += 0.002f * wider[i];
        }
    }

    Colour colour(int px, int py) {
        float x = std::max((float(px) + 0.5f) / float(side_) - 0.5f, 0.f);
        float y = std::max((float(py) + 0.5f) / float(side_) - 0.5f, 0.f);
        int ix = std::min(int(x), columns_ - 1), iy = std::min(int(y), rows_ - 1);
        int jx = std::min(ix + 1, columns_ - 1), jy = std::min(iy + 1, rows_ - 1);
        return mix(mix(cell(ix, iy), cell(jx, iy), x - float(ix)),
                   mix(cell(ix, jy), cell(jx, jy), x - float(ix)), y - float(iy));
    }

  private:
    float* at(int ix, int iy) {
        return &sums_[(std::size_t(iy) * std::size_t(columns_) + std::size_t(ix)) * 4];
    }
    Colour cell(int ix, int iy) {
        const float* sum = at(ix, iy);
        float k = 1 / std::max(sum[3], 1e-30f);
        return {sum[0] * k, sum[1] * k, sum[2] * k};
    }

    std::vector<float> blurred(const std::vector<float>& from, int reach, bool along_x) const {
        std::vector<float> to(from.size());
        std::ptrdiff_t step = along_x ? 4 : std::ptrdiff_t(columns_) * 4;
        for (int iy = 0; iy < rows_; ++iy)
            for (int ix = 0; ix < columns_; ++ix) {
                int here = along_x ? ix : iy, end = (along_x ? columns_ : rows_) - 1;
                std::ptrdiff_t base = (std::ptrdiff_t(iy) * columns_ + ix) * 4;
                for (int d = std::max(-reach, -here); d <= std::min(reach, end - here); ++d)
                    for (int c = 0; c < 4; ++c)
                        to[std::size_t(base + c)] += from[std::size_t(base + d * step + c)];
            }
        float k = 1 / float(2 * reach + 1);
        for (float& v : to) v *= k;
        return to;
    }

    int side_, columns_, rows_;
    std::vector<float> sums_;  // B, G, R times alpha, and alpha
};

// Rounded sum of independent uniform bits: mean 0, standard deviation 1, within +-3.5.
float sensor_noise(std::uint32_t bits) {
    float sum = 0;
    for (int i = 0; i < 4; ++i) sum += float((bits >> (8 * i)) & 255u);
    return (sum - 510) * (1 / 147.8f);  // sqrt(4 * (256^2 - 1) / 12)
}

class Renderer {
  public:
    explicit Renderer(const SceneOptions& options)
        : options_(options),
          view_(place(options)),
          palette_(palette_of(options.seed)),
          background_(view_, palette_, options.seed),
          cells_(options.width, options.height),
          behind_(std::size_t(options.width) * 3),
          upright_(std::size_t(options.width) * 4),
          subject_(upright_.size()) {
        scene_.photo = Image(options.width, options.height, 3);
        scene_.alpha = Image(options.width, options.height, 1);
        scene_.foreground = Image(options.width, options.height, 3);
        if (options.keep_background) scene_.background = Image(options.width, options.height, 3);
    }

    Scene run() {
        Hair hair(view_, palette_, options_.seed);
        constexpr int band_rows = 64;
        for (int top = 0; top < options_.height; top += band_rows) {
            int bottom = std::min(top + band_rows, options_.height);
            // A row more on either side, for the lens.
            int first = std::max(top - 1, 0), last = std::min(bottom, options_.height - 1);
            Band band(options_.width, first, last - first + 1);
            draw_figure(band, view_, palette_, options_.seed);
            if (options_.hair) hair.draw(band);
            for (int y = top; y < bottom; ++y) {
                soften_row(band, y);
                finish_row(y, subject_.data());
            }
        }
        cells_.spread();
        for (int y = 0; y < options_.height; ++y) continue_foreground(y);
        scene_.mask = coarse_mask(scene_.alpha, options_.seed);
        int radius = int(std::min(view_.scale / 180, 60.f)) + 2;
        scene_.trimap = trimap_of(scene_.alpha, radius);
        return std::move(scene_);
    }

  private:
    // Lens and colour filter spread every point a little: 1 3 1 in both directions, on the colour
    // times alpha and on alpha alike, into subject_.
    void soften_row(Band& band, int y) {
        std::size_t count = subject_.size();
        const float* here = band.at(0, y);
        const float* above = y > band.top ? band.at(0, y - 1) : here;
        const float* below = y + 1 < band.top + band.rows ? band.at(0, y + 1) : here;
        for (std::size_t i = 0; i < count; ++i)
            upright_[i] = 0.2f * (above[i] + below[i]) + 0.6f * here[i];
        for (std::size_t i = 0; i < count; ++i) {
            float left = upright_[i >= 4 ? i - 4 : i];
            float right = upright_[i + 4 < count ? i + 4 : i];
            subject_[i] = 0.2f * (left + right) + 0.6f * upright_[i];
        }
    }

    // The lens passes less light towards the corners.
    float falloff(int x, int y) const {
        float w = float(options_.width), h = float(options_.height);
        float dx = float(x) + 0.5f - 0.5f * w, dy = float(y) + 0.5f - 0.5f * h;
        float far = (dx * dx + dy * dy) / (w * w + h * h) * 4;  // 1 in the corners
        return 1 - 0.26f * far - 0.06f * far * far;
    }

    void finish_row(int y, float* subject) {
        background_.draw_row(y, behind_.data());
        std::uint8_t* photo = scene_.photo.row(y);
        std::uint8_t* alpha = scene_.alpha.row(y);
        std::uint8_t* foreground = scene_.foreground.row(y);
        for (int x = 0; x < options_.width; ++x) {
            const std::ptrdiff_t i = 3 * std::ptrdiff_t(x);
            float* s = subject + i + x;
            const float* b = behind_.data() + i;
            float lens = falloff(x, y);
            for (int c = 0; c < 3; ++c) s[c] *= lens;
            Colour back =
                Colour{std::min(b[0], 255.f), std::min(b[1], 255.f), std::min(b[2], 255.f)} * lens;
            alpha[x] = to_byte(255 * s[3]);
            if (s[3] > 0) store(foreground + i, Colour{s[0], s[1], s[2]} * (1 / s[3]));
            store(photo + i, with_noise(Colour{s[0], s[1], s[2]} + back * (1 - s[3]), x, y));
            if (options_.keep_background) store(scene_.background.row(y) + i, back);
        }
        cells_.add_row(y, subject, options_.width);
    }

    // Photon noise over a floor, the same in all channels for the most part.
    Colour with_noise(Colour c, int x, int y) const {
        if (options_.noise <= 0) return c;
        std::uint32_t seed = options_.seed * 4 + 1;
        std::uint32_t at = hash(std::uint32_t(x), std::uint32_t(y), seed);
        float grey = clamp01((c.b + 2 * c.g + c.r) * (1.f / 1020));
        float sigma = options_.noise * std::sqrt(0.25f + 1.5f * grey);
        float common = 0.8f * sensor_noise(at);
        auto own = [&](std::uint32_t k) { return 0.6f * sensor_noise(hash(at, k, seed)); };
        return {c.b + sigma * (common + 1.3f * own(0)), c.g + sigma * (common + own(1)),
                c.r + sigma * (common + 1.2f * own(2))};
    }

    void continue_foreground(int y) {
        const std::uint8_t* alpha = scene_.alpha.row(y);
        for (int x = 0; x < options_.width; ++x)
            if (alpha[x] == 0)
                store(scene_.foreground.row(y) + 3 * std::ptrdiff_t(x), cells_.colour(x, y));
    }

    SceneOptions options_;
    View view_;
    Palette palette_;
    Background background_;
    Cells cells_;
    std::vector<float> behind_;             // one row of the background
    std::vector<float> upright_, subject_;  // one row of the subject, half softened and softened
    Scene scene_;
};

}  // namespace

Scene render_scene(const SceneOptions& options) {
    if (options.width < 1 || options.width > max_scene_side || options.height < 1 ||
        options.height > max_scene_side)
        throw std::invalid_argument("scene: a side must be 1 to " + std::to_string(max_scene_side) +
                                    " pixels");
    if (!(options.noise >= 0 && options.noise <= 255))
        throw std::invalid_argument("scene: the noise must be 0 to 255");
    return Renderer(options).run();
}

}  // namespace tools
