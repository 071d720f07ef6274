package dscmatting;

/** The checks that rasters and numbers pass before native code sees them. */
final class Check {
    private Check() {}

    static void that(boolean holds, String otherwise) {
        if (!holds) throw new IllegalArgumentException(otherwise);
    }

    /** A map or image in bytes. */
    static Raster bytes(String name, Raster raster, int channels) {
        image(name, raster, channels);
        that(!raster.isArgb(), name + ": ints, where bytes are wanted");
        return raster;
    }

    /** An image in bytes, or with 3 channels also in ARGB ints. */
    static Raster image(String name, Raster raster, int channels) {
        that(raster != null, name + ": null");
        that(raster.channels == channels,
                name + ": " + channels + " channels wanted, not " + raster.channels);
        return raster;
    }

    static void writable(String name, Raster raster) {
        that(raster.isWritable(), name + ": a read-only buffer");
    }

    static void sameSize(String name, Raster raster, int width, int height) {
        that(raster.width == width && raster.height == height, name + ": " + width + " x " + height
                + " wanted, not " + raster.width + " x " + raster.height);
    }

    static void sameSize(String name, Raster raster, Raster as) {
        sameSize(name, raster, as.width, as.height);
    }

    static byte level(String name, int value) {
        that(value >= 0 && value <= 255, name + ": 0 to 255 wanted, not " + value);
        return (byte) value;
    }
}
