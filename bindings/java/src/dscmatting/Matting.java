package dscmatting;

/**
 * An alpha matte for one photograph.
 *
 * <p>Photographs are rasters of 3 channels, B,G,R bytes or ARGB ints; alphas, trimaps and
 * segmentations are bytes, 1 channel, of the photograph's size. Two conventions meet here:
 *
 * <ul>
 *   <li><b>caller</b>: subject 255, surroundings 0. Segmentations, and the mattes of {@link
 *       #makeMatte} and {@link #makeMatteFromSegmentation}.
 *   <li><b>internal</b>: the inverse, subject 0, surroundings 255. Everything else.
 * </ul>
 *
 * In both, a trimap byte of exactly 128 is unknown. The translation inverts every byte but 128, so a
 * matte value of 127 or 128 comes back as 128.
 *
 * <p>{@link #init} copies what it takes; nothing that is passed is kept. A photograph needs about 16
 * bytes of native memory a pixel until {@link #close} or the next init, 3 more from the first {@link
 * #getFImage} on, and ARGB rasters 3 more during a call.
 *
 * <p>Everything runs on the calling thread; a solve takes long enough to keep it off a user
 * interface's thread. An object may be shared between threads: its calls, {@code close} too, wait
 * for one another. Distinct objects share nothing.
 *
 * <p>The native memory is freed by {@link #close} only, never by the garbage collector: use
 * try-with-resources.
 *
 * <p>Every method throws {@link IllegalArgumentException} for an argument that is null, has the
 * wrong size, kind or range, or cannot be written, and {@link IllegalStateException} after {@link
 * #close} and, except for {@code init}, before a photograph was taken; nothing is changed then.
 * {@link OutOfMemoryError} where native memory runs out: {@code init} then leaves the object without
 * a photograph, other methods leave the photograph, so that the call can be repeated, and the alpha
 * of the last step that was reached.
 */
public final class Matting implements AutoCloseable {
    static {
        Native.load();
    }

    private long handle; // 0: closed
    private int width; // 0: no photograph
    private int height;
    private boolean hasSegmentation;

    /** Without a photograph; {@code init} must follow. */
    public Matting() {
        handle = create();
    }

    /**
     * Takes a photograph without a segmentation; {@link #refine(Raster, Raster, int, int)} makes the
     * matte. The alpha is all 0.
     *
     * @param photo in: 3 channels, bytes or ARGB
     * @param maxSize when both sides exceed it, the solve runs on a copy that is reduced so that the
     *     longer side becomes maxSize; any value
     */
    public synchronized void init(Raster photo, int maxSize) {
        checkOpen();
        Check.image("photo", photo, 3);
        width = 0;
        init(handle, photo.width, photo.height, photo.data, photo.offset, photo.stride, maxSize);
        taken(photo, false);
    }

    /**
     * Takes a photograph and a segmentation. From it a trimap is made whose unknown band has the
     * half-width min(bandScale * largest distance from inside the region to its outside, maxBand),
     * narrowed where the colours on both sides of the boundary are alike.
     *
     * @param photo in: 3 channels, bytes or ARGB
     * @param segmentation in: caller convention; non-zero is subject, only 255 has a boundary, 128
     *     is unknown
     * @param maxSize as of the other init
     * @param maxBand in pixels; any value, as the next two
     * @param bandScale share of the region's thickness
     * @param step every step-th colour is compared
     * @param lowContrast 0 to 255: the band is minBand wide at differences up to this a channel
     * @param highContrast 0 to 255: and maxBand wide from this on
     * @param minBand in pixels; any value
     */
    public synchronized void init(Raster photo, Raster segmentation, int maxSize, int maxBand,
            double bandScale, int step, int lowContrast, int highContrast, int minBand) {
        checkOpen();
        Check.image("photo", photo, 3);
        Check.bytes("segmentation", segmentation, 1);
        Check.sameSize("segmentation", segmentation, photo);
        byte low = Check.level("lowContrast", lowContrast);
        byte high = Check.level("highContrast", highContrast);
        width = 0;
        initSegmented(handle, photo.width, photo.height, photo.data, photo.offset, photo.stride,
                segmentation.data, segmentation.offset, segmentation.stride, maxSize, maxBand,
                bandScale, step, low, high, minBand);
        taken(photo, true);
    }

    /**
     * Replaces the alpha.
     *
     * @param alpha in: internal convention
     */
    public synchronized void setAlpha(Raster alpha) {
        checkMap("alpha", alpha);
        setAlpha(handle, width, height, alpha.data, alpha.offset, alpha.stride);
    }

    /**
     * Solves with a trimap. Meant for an object whose photograph came without a segmentation:
     * otherwise unknown pixels where that segmentation said subject stay 128.
     *
     * @param trimap in: internal convention
     * @param out out: the alpha, internal convention
     * @param smooth width of the boundary smoothing in pixels; below 1: none
     * @param keepComponents how many of the largest components of the internal alpha, which is the
     *     surroundings, to keep; below 1: all
     */
    public synchronized void refine(Raster trimap, Raster out, int smooth, int keepComponents) {
        checkMap("trimap", trimap);
        checkOut("out", out);
        refine(handle, width, height, trimap.data, trimap.offset, trimap.stride, out.data,
                out.offset, out.stride, smooth, keepComponents);
    }

    /**
     * Solves with the trimap made by init from a segmentation; {@link IllegalStateException} when
     * there was none.
     *
     * @param out out: the alpha, internal convention
     * @param smooth as of the other refine
     * @param keepComponents as of the other refine
     */
    public synchronized void refine(Raster out, int smooth, int keepComponents) {
        checkOut("out", out);
        checkSegmentation();
        refineSegmented(handle, width, height, out.data, out.offset, out.stride, smooth,
                keepComponents);
    }

    /**
     * As {@link #refine(Raster, int, int)}, with the matte in the caller convention.
     *
     * @param out out: the matte, caller convention
     * @param smooth as of refine
     * @param keepComponents as of refine
     */
    public synchronized void makeMatte(Raster out, int smooth, int keepComponents) {
        checkOut("out", out);
        checkSegmentation();
        makeMatte(handle, width, height, out.data, out.offset, out.stride, smooth, keepComponents);
    }

    /**
     * Makes a trimap from another segmentation, without looking at the colours, and solves with it.
     * For an object whose photograph came without a segmentation, as refine with a trimap.
     *
     * @param segmentation in: caller convention
     * @param out out: the matte, caller convention
     * @param maxBand half-width of the unknown band as of init, in pixels; any value
     * @param bandScale as of init
     * @param smooth as of refine
     * @param keepComponents as of refine
     */
    public synchronized void makeMatteFromSegmentation(Raster segmentation, Raster out, int maxBand,
            double bandScale, int smooth, int keepComponents) {
        checkMap("segmentation", segmentation);
        checkOut("out", out);
        makeMatteFromSegmentation(handle, width, height, segmentation.data, segmentation.offset,
                segmentation.stride, out.data, out.offset, out.stride, maxBand, bandScale, smooth,
                keepComponents);
    }

    /**
     * Smooths the current alpha and keeps its largest components.
     *
     * @param smooth as of refine
     * @param keepComponents as of refine
     */
    public synchronized void smoothBoundary(int smooth, int keepComponents) {
        checkPhoto();
        smoothBoundary(handle, smooth, keepComponents);
    }

    /**
     * Copies the current alpha.
     *
     * @param out out: internal convention
     */
    public synchronized void getAlpha(Raster out) {
        checkOut("out", out);
        getAlpha(handle, out.data, out.offset, out.stride);
    }

    /**
     * The colour of the subject under the current alpha. It is quick and soft: a cut-out comes from
     * {@link Colors#cutOut} or {@link Colors#estimate}.
     *
     * @param out out: 3 channels, bytes or ARGB
     * @param mode below 0: computed anew when a solve or smoothBoundary changed the alpha (setAlpha
     *     does not count); 0: only when there is none yet; above 0: always
     */
    public synchronized void getFImage(Raster out, int mode) {
        checkPhoto();
        Check.image("out", out, 3);
        Check.sameSize("out", out, width, height);
        Check.writable("out", out);
        getFImage(handle, width, height, out.data, out.offset, out.stride, mode);
    }

    /** Frees the native object. A second call does nothing. */
    @Override
    public synchronized void close() {
        long open = handle;
        handle = 0;
        if (open != 0) destroy(open);
    }

    private void checkOpen() {
        if (handle == 0) throw new IllegalStateException("closed");
    }

    private void checkPhoto() {
        checkOpen();
        if (width == 0) throw new IllegalStateException("no photograph: init must come first");
    }

    private void checkSegmentation() {
        if (!hasSegmentation) throw new IllegalStateException("init had no segmentation");
    }

    private void checkMap(String name, Raster map) {
        checkPhoto();
        Check.bytes(name, map, 1);
        Check.sameSize(name, map, width, height);
    }

    private void checkOut(String name, Raster map) {
        checkMap(name, map);
        Check.writable(name, map);
    }

    private void taken(Raster photo, boolean segmented) {
        width = photo.width;
        height = photo.height;
        hasSegmentation = segmented;
    }

    // Rasters are passed as data, offset and stride; nothing is checked again behind these.
    private static native long create();

    private static native void destroy(long handle);

    private static native void init(long handle, int w, int h, Object photo, int photoOffset,
            int photoStride, int maxSize);

    private static native void initSegmented(long handle, int w, int h, Object photo,
            int photoOffset, int photoStride, Object seg, int segOffset, int segStride, int maxSize,
            int maxBand, double bandScale, int step, byte lowContrast, byte highContrast,
            int minBand);

    private static native void setAlpha(long handle, int w, int h, Object alpha, int alphaOffset,
            int alphaStride);

    private static native void refine(long handle, int w, int h, Object trimap, int trimapOffset,
            int trimapStride, Object out, int outOffset, int outStride, int smooth, int keep);

    private static native void refineSegmented(long handle, int w, int h, Object out, int outOffset,
            int outStride, int smooth, int keep);

    private static native void makeMatte(long handle, int w, int h, Object out, int outOffset,
            int outStride, int smooth, int keep);

    private static native void makeMatteFromSegmentation(long handle, int w, int h, Object seg,
            int segOffset, int segStride, Object out, int outOffset, int outStride, int maxBand,
            double bandScale, int smooth, int keep);

    private static native void smoothBoundary(long handle, int smooth, int keep);

    private static native void getAlpha(long handle, Object out, int outOffset, int outStride);

    private static native void getFImage(long handle, int w, int h, Object out, int outOffset,
            int outStride, int mode);
}
