package dscmatting;

/**
 * The two colours behind every mixed pixel of a matte, and brushes that clean the old background's
 * colour out of a cut-out.
 *
 * <p>All rasters of a call have one size; in what follows "image" is 3 channels, bytes or ARGB ints,
 * everything else bytes. Alphas are in the caller convention: 255 is opaque subject. Levels and
 * thresholds are 0 to 255. The methods keep nothing and may run on several threads at once, as long
 * as nobody writes what another call uses.
 *
 * <p>{@link IllegalArgumentException} for an argument that is null, has the wrong size, kind or
 * range, or cannot be written; {@link OutOfMemoryError} where native memory runs out. Nothing is
 * written in either case.
 */
public final class Colors {
    static {
        Native.load();
    }

    private Colors() {}

    /**
     * The colours of the side where alpha is low and of the side where it is high. A pixel is low
     * for alpha below lo, high for alpha above hi and mixed between; low and high pixels keep the
     * image's colour in both. The low side is soft (plain means), the high side is the colour that
     * explains the mix best: so the subject should be the high side.
     *
     * @param image in: an image
     * @param alpha in: 1 channel
     * @param lowOut out: an image, may be the input; null where it is not wanted
     * @param highOut out: the same for the high side
     * @param lo usually 1
     * @param hi usually 253; below lo nothing is mixed
     */
    public static void estimate(Raster image, Raster alpha, Raster lowOut, Raster highOut, int lo,
            int hi) {
        checkImageAndAlpha(image, alpha);
        Check.that(lowOut != null || highOut != null, "lowOut, highOut: both null");
        checkColourOut("lowOut", lowOut, image);
        checkColourOut("highOut", highOut, image);
        estimate(image.width, image.height, image.data, image.offset, image.stride, alpha.data,
                alpha.offset, alpha.stride, data(lowOut), offset(lowOut), stride(lowOut),
                data(highOut), offset(highOut), stride(highOut), Check.level("lo", lo),
                Check.level("hi", hi));
    }

    /**
     * The subject cut out, as {@code android.graphics.Bitmap.setPixels} takes it: its estimated
     * colour (the high side with lo 1 and hi 253) with the matte as alpha, not multiplied.
     *
     * @param image in: an image
     * @param alpha in: 1 channel
     * @param out out: an ARGB raster, may be the image
     */
    public static void cutOut(Raster image, Raster alpha, Raster out) {
        checkImageAndAlpha(image, alpha);
        Check.that(out != null && out.isArgb(), "out: an ARGB raster wanted");
        Check.sameSize("out", out, image);
        cutOut(image.width, image.height, image.data, image.offset, image.stride, alpha.data,
                alpha.offset, alpha.stride, out.data, out.offset, out.stride);
    }

    /**
     * One dab with one reference colour: where the brush exceeds {@code applied} and alpha is at
     * least the threshold, result moves towards the target colour by brush / 256 and its fourth
     * byte rises to the brush. The target is the source's colour pulled towards the reference, or
     * pushed away from it, the more the more transparent the pixel. Rasters must not overlap.
     *
     * @param src in: an image
     * @param alpha in: 1 channel
     * @param brush in: 1 channel, the weights as of {@link Brushes}
     * @param applied in-out: 1 channel, the strongest weights of the stroke so far
     * @param result in-out: 4 channels, colour and the strongest weight applied so far
     * @param reference 0xRRGGBB; the topmost byte is ignored
     * @param towards pulled towards the reference, otherwise pushed away
     * @param threshold the lowest alpha that is changed
     */
    public static void improveForeground(Raster src, Raster alpha, Raster brush, Raster applied,
            Raster result, int reference, boolean towards, int threshold) {
        checkImageAndAlpha(src, alpha);
        checkMap("brush", brush, src, 1, false);
        checkMap("applied", applied, src, 1, true);
        checkMap("result", result, src, 4, true);
        improveForeground(src.width, src.height, src.data, src.offset, src.stride, alpha.data,
                alpha.offset, alpha.stride, brush.data, brush.offset, brush.stride, applied.data,
                applied.offset, applied.stride, result.data, result.offset, result.stride,
                reference, towards, Check.level("threshold", threshold));
    }

    /**
     * The whole picture with painted references: where threshold &lt;= alpha &lt; 255 and the map's
     * packed byte is not 0, result moves by (packed byte) / 256. Rasters must not overlap.
     *
     * @param src in: an image
     * @param references in: 4 channels, as {@link #paintReference} paints them
     * @param alpha in: 1 channel
     * @param result in-out: 4 channels, as above
     * @param threshold the lowest alpha that is changed
     */
    public static void improveForeground(Raster src, Raster references, Raster alpha, Raster result,
            int threshold) {
        checkImageAndAlpha(src, alpha);
        checkMap("references", references, src, 4, false);
        checkMap("result", result, src, 4, true);
        improveWithMap(src.width, src.height, src.data, src.offset, src.stride, references.data,
                references.offset, references.stride, alpha.data, alpha.offset, alpha.stride,
                result.data, result.offset, result.stride, Check.level("threshold", threshold));
    }

    /**
     * Paints a reference colour into a map where the brush is stronger than what was painted there.
     * Rasters must not overlap.
     *
     * @param references in-out: 4 channels, all 0 at first; B,G,R and, packed into the fourth byte,
     *     weight (byte &amp; 254) and mode (lowest bit, 1 = towards)
     * @param reference 0xRRGGBB; the topmost byte is ignored
     * @param towards the mode
     * @param brush in: 1 channel
     */
    public static void paintReference(Raster references, int reference, boolean towards,
            Raster brush) {
        Check.bytes("references", references, 4);
        Check.writable("references", references);
        checkMap("brush", brush, references, 1, false);
        paintReference(references.width, references.height, references.data, references.offset,
                references.stride, reference, towards, brush.data, brush.offset, brush.stride);
    }

    /**
     * Blends result over src by its fourth byte, which stays: 0 gives src, 255 nearly result's
     * colour. Rasters must not overlap.
     *
     * @param src in: an image
     * @param result in-out: 4 channels
     */
    public static void merge(Raster src, Raster result) {
        Check.image("src", src, 3);
        checkMap("result", result, src, 4, true);
        merge(src.width, src.height, src.data, src.offset, src.stride, result.data, result.offset,
                result.stride);
    }

    private static void checkImageAndAlpha(Raster image, Raster alpha) {
        Check.image("image", image, 3);
        checkMap("alpha", alpha, image, 1, false);
    }

    private static void checkColourOut(String name, Raster out, Raster image) {
        if (out == null) return;
        Check.image(name, out, 3);
        Check.sameSize(name, out, image);
        Check.writable(name, out);
    }

    private static void checkMap(String name, Raster map, Raster image, int channels,
            boolean written) {
        Check.bytes(name, map, channels);
        Check.sameSize(name, map, image);
        if (written) Check.writable(name, map);
    }

    private static Object data(Raster raster) {
        return raster == null ? null : raster.data;
    }

    private static int offset(Raster raster) {
        return raster == null ? 0 : raster.offset;
    }

    private static int stride(Raster raster) {
        return raster == null ? 0 : raster.stride;
    }

    // Rasters are passed as data, offset and stride; nothing is checked again behind these.
    private static native void estimate(int w, int h, Object image, int imageOffset,
            int imageStride, Object alpha, int alphaOffset, int alphaStride, Object low,
            int lowOffset, int lowStride, Object high, int highOffset, int highStride, byte lo,
            byte hi);

    private static native void cutOut(int w, int h, Object image, int imageOffset, int imageStride,
            Object alpha, int alphaOffset, int alphaStride, Object out, int outOffset,
            int outStride);

    private static native void improveForeground(int w, int h, Object src, int srcOffset,
            int srcStride, Object alpha, int alphaOffset, int alphaStride, Object brush,
            int brushOffset, int brushStride, Object applied, int appliedOffset, int appliedStride,
            Object result, int resultOffset, int resultStride, int reference, boolean towards,
            byte threshold);

    private static native void improveWithMap(int w, int h, Object src, int srcOffset,
            int srcStride, Object references, int referencesOffset, int referencesStride,
            Object alpha, int alphaOffset, int alphaStride, Object result, int resultOffset,
            int resultStride, byte threshold);

    private static native void paintReference(int w, int h, Object references, int referencesOffset,
            int referencesStride, int reference, boolean towards, Object brush, int brushOffset,
            int brushStride);

    private static native void merge(int w, int h, Object src, int srcOffset, int srcStride,
            Object result, int resultOffset, int resultStride);
}
