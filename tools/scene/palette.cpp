// Three kinds of place and person, in display values.
#include "tools/scene/parts.h"

namespace tools::parts {
namespace {

Palette autumn() {
    Palette p;
    p.hair_dark = rgb(30, 17, 15);
    p.hair_mid = rgb(78, 44, 32);
    p.hair_light = rgb(142, 86, 56);
    p.gloss = rgb(226, 178, 140);
    p.skin = rgb(226, 176, 148);
    p.cloth = rgb(222, 204, 178);
    p.stripe = rgb(44, 52, 78);
    p.sky = rgb(250, 226, 178);
    p.horizon = rgb(226, 158, 74);
    p.ground = rgb(146, 122, 104);
    p.leaf_dark = rgb(70, 38, 16);
    p.leaf_mid = rgb(192, 98, 22);
    p.leaf_light = rgb(246, 178, 58);
    p.lamp_warm = rgb(255, 206, 120);
    p.lamp_cool = rgb(255, 244, 214);
    p.stripes = 1;
    p.glow = 0.75f;
    return p;
}

Palette evening_street() {
    Palette p;
    p.hair_dark = rgb(70, 48, 30);
    p.hair_mid = rgb(150, 112, 70);
    p.hair_light = rgb(206, 168, 114);
    p.gloss = rgb(246, 228, 192);
    p.skin = rgb(218, 172, 152);
    p.cloth = rgb(120, 56, 60);
    p.stripe = rgb(80, 40, 46);
    p.sky = rgb(62, 74, 112);
    p.horizon = rgb(96, 82, 96);
    p.ground = rgb(60, 56, 66);
    p.leaf_dark = rgb(22, 24, 38);
    p.leaf_mid = rgb(62, 58, 76);
    p.leaf_light = rgb(178, 128, 92);
    p.lamp_warm = rgb(255, 140, 40);
    p.lamp_cool = rgb(200, 220, 255);
    p.stripes = 0;
    p.glow = 0.12f;
    p.lamps = 2;
    return p;
}

Palette park() {
    Palette p;
    p.hair_dark = rgb(38, 18, 12);
    p.hair_mid = rgb(112, 52, 28);
    p.hair_light = rgb(182, 98, 52);
    p.gloss = rgb(244, 196, 146);
    p.skin = rgb(232, 186, 164);
    p.cloth = rgb(84, 112, 150);
    p.stripe = rgb(70, 96, 132);
    p.sky = rgb(216, 228, 208);
    p.horizon = rgb(140, 164, 92);
    p.ground = rgb(104, 126, 62);
    p.leaf_dark = rgb(24, 42, 20);
    p.leaf_mid = rgb(74, 108, 40);
    p.leaf_light = rgb(176, 196, 92);
    p.lamp_warm = rgb(240, 244, 170);
    p.lamp_cool = rgb(236, 250, 236);
    p.stripes = 0.25f;
    p.glow = 0.5f;
    return p;
}

}  // namespace

const Palette& palette_of(unsigned seed) {
    static const Palette palettes[] = {park(), autumn(), evening_street()};
    return palettes[seed % 3];
}

}  // namespace tools::parts
