package dscmatting;

/**
 * Brush tools of an interactive editor, for mattes and trimaps in either alpha convention.
 *
 * <p>All rasters of a call are bytes and have one size, 1 channel unless another count is given. A
 * dab edits a region: pass the same {@link Raster#part} of every map. Brush weights: 0 leaves a
 * pixel alone, 255 applies a tool almost fully. An applied-weight map (in-out, cleared by the caller
 * when a stroke begins) holds the strongest weight of the stroke so far, so that its dabs do not add
 * up: only where the brush exceeds it is a pixel changed, and it then becomes the brush.
 *
 * <p>Windows are size x size; an even size acts as the next odd one, a size below 1 as 1. They read
 * beyond the edges of a part. The methods keep nothing and may run on several threads at once, as
 * long as nobody writes what another call uses.
 *
 * <p>{@link IllegalArgumentException} for an argument that is null, has the wrong size, kind or
 * range, or cannot be written; {@link OutOfMemoryError} where native memory runs out.
 */
public final class Brushes {
    static {
        Native.load();
    }

    private Brushes() {}

    /**
     * One dab towards a value: dst = alpha moved towards it by brush / 256.
     *
     * @param alpha in
     * @param brush in
     * @param applied in-out
     * @param dst out, where the brush exceeds applied; may be alpha, or hold the stroke already
     * @param value 0 to 255
     */
    public static void set(Raster alpha, Raster brush, Raster applied, Raster dst, int value) {
        Check.bytes("alpha", alpha, 1);
        checkRead("brush", brush, alpha, 1);
        checkWritten("applied", applied, alpha, 1);
        checkWritten("dst", dst, alpha, 1);
        set(alpha.width, alpha.height, alpha.data, alpha.offset, alpha.stride, brush.data,
                brush.offset, brush.stride, applied.data, applied.offset, applied.stride, dst.data,
                dst.offset, dst.stride, Check.level("value", value));
    }

    /**
     * One dab back towards a saved copy, from what dst holds, all channels alike.
     *
     * @param saved in: 1, 3 or 4 channels
     * @param brush in
     * @param applied in-out with {@code record}, otherwise in
     * @param dst in-out: as many channels as saved
     * @param record whether applied is updated
     */
    public static void undo(Raster saved, Raster brush, Raster applied, Raster dst,
            boolean record) {
        checkAnyChannels("saved", saved);
        checkRead("brush", brush, saved, 1);
        checkRead("applied", applied, saved, 1);
        if (record) Check.writable("applied", applied);
        checkWritten("dst", dst, saved, saved.channels);
        undo(saved.width, saved.height, saved.channels, saved.data, saved.offset, saved.stride,
                brush.data, brush.offset, brush.stride, applied.data, applied.offset,
                applied.stride, dst.data, dst.offset, dst.stride, record);
    }

    /**
     * Records a dab without changing a map: applied becomes the larger of itself and the brush.
     *
     * @param brush in
     * @param applied in-out
     */
    public static void record(Raster brush, Raster applied) {
        Check.bytes("brush", brush, 1);
        checkWritten("applied", applied, brush, 1);
        undo(brush.width, brush.height, 0, null, 0, 0, brush.data, brush.offset, brush.stride,
                applied.data, applied.offset, applied.stride, null, 0, 0, true);
    }

    /**
     * Softly shrinks what is bright under the brush: dst becomes the smaller of itself and what the
     * window's mean and maximum give. Every call goes further.
     *
     * @param src in
     * @param brush in
     * @param dst in-out; may be src
     * @param size the window's side in pixels
     */
    public static void erode(Raster src, Raster brush, Raster dst, int size) {
        morph(false, src, brush, dst, size);
    }

    /**
     * Softly grows what is bright under the brush, the counterpart of {@link #erode}.
     *
     * @param src in
     * @param brush in
     * @param dst in-out; may be src
     * @param size the window's side in pixels
     */
    public static void dilate(Raster src, Raster brush, Raster dst, int size) {
        morph(true, src, brush, dst, size);
    }

    /**
     * The window mean of every channel, rounded half up.
     *
     * @param src in: 1, 3 or 4 channels
     * @param dst out: as many; may be src
     * @param size the window's side in pixels
     */
    public static void smooth(Raster src, Raster dst, int size) {
        checkAnyChannels("src", src);
        checkWritten("dst", dst, src, src.channels);
        smooth(src.width, src.height, src.channels, src.data, src.offset, src.stride, dst.data,
                dst.offset, dst.stride, size, src.border());
    }

    /**
     * Where the window's maximum is below low both destinations become 0, where its minimum is above
     * high 255; elsewhere they stay.
     *
     * @param src in
     * @param first in-out: usually the edited matte
     * @param second in-out: usually its trimap
     * @param size the window's side in pixels
     * @param low 0 to 255; 0 switches its rule off
     * @param high 0 to 255; 255 switches its rule off
     */
    public static void threshold(Raster src, Raster first, Raster second, int size, int low,
            int high) {
        Check.bytes("src", src, 1);
        checkWritten("first", first, src, 1);
        checkWritten("second", second, src, 1);
        threshold(src.width, src.height, src.data, src.offset, src.stride, first.data, first.offset,
                first.stride, second.data, second.offset, second.stride, size, src.border(),
                Check.level("low", low), Check.level("high", high));
    }

    /**
     * As {@link #threshold}, into one destination, with extrema over several windows in a row; they
     * do not read beyond the edges of a part.
     *
     * @param src in
     * @param dst in-out
     * @param size the window's side in pixels
     * @param iterations windows in a row; below 1: one
     * @param low 0 to 255
     * @param high 0 to 255
     */
    public static void shrinkUnknown(Raster src, Raster dst, int size, int iterations, int low,
            int high) {
        Check.bytes("src", src, 1);
        checkWritten("dst", dst, src, 1);
        shrinkUnknown(src.width, src.height, src.data, src.offset, src.stride, dst.data, dst.offset,
                dst.stride, size, iterations, Check.level("low", low), Check.level("high", high));
    }

    /**
     * The second alpha becomes 128 where the trimap is 128, neither alpha is, and the two differ by
     * less than the tolerance.
     *
     * @param trimap in
     * @param first in
     * @param second in-out
     * @param tolerance any value
     */
    public static void rectifyAlpha(Raster trimap, Raster first, Raster second, int tolerance) {
        Check.bytes("trimap", trimap, 1);
        checkRead("first", first, trimap, 1);
        checkWritten("second", second, trimap, 1);
        rectifyAlpha(trimap.width, trimap.height, trimap.data, trimap.offset, trimap.stride,
                first.data, first.offset, first.stride, second.data, second.offset, second.stride,
                tolerance);
    }

    /**
     * A brush: 255 in an inner ellipse (radius 1 - edge of the half sides), falling linearly with
     * the radius.
     *
     * @param dst out
     * @param edge width of the fall as a share of the half sides; any value
     */
    public static void makeRectWeight(Raster dst, float edge) {
        Check.bytes("dst", dst, 1);
        Check.writable("dst", dst);
        makeRectWeight(dst.width, dst.height, dst.data, dst.offset, dst.stride, edge);
    }

    /**
     * How well a grid of strips separates the unknown pixels (128): their bounding box is cut into
     * strips; the result is one minus the largest share of unknown pixels in any of them.
     *
     * @param trimap in
     * @param columnStrips any value; strips that come out without extent do not count
     * @param rowStrips the same
     * @return 0 to 1; 0 without unknown pixels
     */
    public static double estimateOptLevel(Raster trimap, int columnStrips, int rowStrips) {
        Check.bytes("trimap", trimap, 1);
        return estimateOptLevel(trimap.width, trimap.height, trimap.data, trimap.offset,
                trimap.stride, columnStrips, rowStrips);
    }

    /**
     * An S-shaped tone curve that rises from 0 to 255.
     *
     * @param steepness percent, limited to 0 to 100: from nearly straight to steep
     * @param balance percent, limited to 0 to 100: where the middle lies
     * @return 256 bytes, to be read unsigned
     */
    public static byte[] calcSTransform(int steepness, int balance) {
        byte[] table = new byte[256];
        calcSTransform(table, steepness, balance);
        return table;
    }

    private static void morph(boolean grow, Raster src, Raster brush, Raster dst, int size) {
        Check.bytes("src", src, 1);
        checkRead("brush", brush, src, 1);
        checkWritten("dst", dst, src, 1);
        morph(grow, src.width, src.height, src.data, src.offset, src.stride, brush.data,
                brush.offset, brush.stride, dst.data, dst.offset, dst.stride, size, src.border());
    }

    private static void checkAnyChannels(String name, Raster raster) {
        Check.that(raster != null, name + ": null");
        Check.bytes(name, raster, raster.channels);
    }

    private static void checkRead(String name, Raster raster, Raster as, int channels) {
        Check.bytes(name, raster, channels);
        Check.sameSize(name, raster, as);
    }

    private static void checkWritten(String name, Raster raster, Raster as, int channels) {
        checkRead(name, raster, as, channels);
        Check.writable(name, raster);
    }

    // Rasters are passed as data, offset and stride; nothing is checked again behind these.
    private static native void set(int w, int h, Object alpha, int alphaOffset, int alphaStride,
            Object brush, int brushOffset, int brushStride, Object applied, int appliedOffset,
            int appliedStride, Object dst, int dstOffset, int dstStride, byte value);

    private static native void undo(int w, int h, int channels, Object saved, int savedOffset,
            int savedStride, Object brush, int brushOffset, int brushStride, Object applied,
            int appliedOffset, int appliedStride, Object dst, int dstOffset, int dstStride,
            boolean record);

    private static native void morph(boolean grow, int w, int h, Object src, int srcOffset,
            int srcStride, Object brush, int brushOffset, int brushStride, Object dst,
            int dstOffset, int dstStride, int size, int[] border);

    private static native void smooth(int w, int h, int channels, Object src, int srcOffset,
            int srcStride, Object dst, int dstOffset, int dstStride, int size, int[] border);

    private static native void threshold(int w, int h, Object src, int srcOffset, int srcStride,
            Object first, int firstOffset, int firstStride, Object second, int secondOffset,
            int secondStride, int size, int[] border, byte low, byte high);

    private static native void shrinkUnknown(int w, int h, Object src, int srcOffset, int srcStride,
            Object dst, int dstOffset, int dstStride, int size, int iterations, byte low,
            byte high);

    private static native void rectifyAlpha(int w, int h, Object trimap, int trimapOffset,
            int trimapStride, Object first, int firstOffset, int firstStride, Object second,
            int secondOffset, int secondStride, int tolerance);

    private static native void makeRectWeight(int w, int h, Object dst, int dstOffset,
            int dstStride, float edge);

    private static native double estimateOptLevel(int w, int h, Object trimap, int trimapOffset,
            int trimapStride, int columnStrips, int rowStrips);

    private static native void calcSTransform(byte[] table, int steepness, int balance);
}
