package dscmatting;

import java.nio.ByteBuffer;

/**
 * Where the pixels of an image or map lie: a view, which copies nothing.
 *
 * <p>All sizes are checked when a raster is made, in 64 bit, and again against each other by the
 * methods that take rasters; whatever does not fit throws {@link IllegalArgumentException} with the
 * argument's name, before anything is read or written. A raster never changes, and may be used from
 * several threads; its pixels are the caller's, who must not write them during a call that uses
 * them.
 */
public final class Raster {
    /** Keeps every count of bytes in a row within an int. */
    private static final int LARGEST_SIDE = Integer.MAX_VALUE / 4;

    final Object data; // a direct ByteBuffer or an int[]
    final int offset; // of the first pixel, in elements of data: bytes or ints
    final int stride; // the same
    final int width;
    final int height;
    final int channels;
    private final boolean readOnly;
    private final int[] around; // pixels beyond the left, top, right and bottom edge

    private Raster(Object data, int offset, int stride, int width, int height, int channels,
            boolean readOnly, int[] around) {
        this.data = data;
        this.offset = offset;
        this.stride = stride;
        this.width = width;
        this.height = height;
        this.channels = channels;
        this.readOnly = readOnly;
        this.around = around;
    }

    /**
     * Interleaved 8-bit pixels in a direct buffer, from its position on and not beyond its limit.
     * Later changes of position and limit do not matter.
     *
     * @param bytes a direct buffer; read-only where it is only read
     * @param width pixels a row, at least 1
     * @param height rows, at least 1
     * @param channels bytes a pixel: 1 for alphas, trimaps and other maps, 3 for B,G,R, 4 for B,G,R
     *     and a weight
     * @param stride bytes between the first bytes of successive rows, at least width * channels;
     *     the last row needs only its pixels
     * @return the view
     */
    public static Raster bytes(ByteBuffer bytes, int width, int height, int channels, int stride) {
        Check.that(bytes != null, "bytes: null");
        Check.that(bytes.isDirect(), "bytes: not a direct buffer");
        Check.that(channels == 1 || channels == 3 || channels == 4,
                "channels: 1, 3 or 4 wanted, not " + channels);
        checkLayout("bytes", bytes.remaining(), 0, width, height, channels, stride);
        return new Raster(bytes.slice(), 0, stride, width, height, channels, bytes.isReadOnly(),
                new int[4]);
    }

    /**
     * Pixels 0xAARRGGBB as {@code android.graphics.Bitmap.getPixels} gives them, with its arguments
     * and in their order: colours are not multiplied with the alpha. Only methods that say so take
     * such a raster, as an image of 3 channels. As an input its alphas are ignored; where it is
     * written they become 255, unless the method says otherwise.
     *
     * @param pixels the array; it is kept, not copied
     * @param offset index of the first pixel
     * @param stride ints between the first pixels of successive rows, at least width
     * @param width pixels a row, at least 1
     * @param height rows, at least 1
     * @return the view
     */
    public static Raster argb(int[] pixels, int offset, int stride, int width, int height) {
        Check.that(pixels != null, "pixels: null");
        checkLayout("pixels", pixels.length, offset, width, height, 1, stride);
        return new Raster(pixels, offset, stride, width, height, 3, false, new int[4]);
    }

    /**
     * A part of this raster, which sees the same pixels. Brushes that look at windows read beyond
     * its edges, as far as the raster reaches from which it was cut.
     *
     * @param x column of the part's first pixel
     * @param y row of the part's first pixel
     * @param partWidth pixels a row, at least 1
     * @param partHeight rows, at least 1
     * @return the view
     */
    public Raster part(int x, int y, int partWidth, int partHeight) {
        Check.that(x >= 0 && partWidth >= 1 && partWidth <= width - (long) x,
                "x, partWidth: " + x + ", " + partWidth + " in a raster " + width + " wide");
        Check.that(y >= 0 && partHeight >= 1 && partHeight <= height - (long) y,
                "y, partHeight: " + y + ", " + partHeight + " in a raster " + height + " high");
        int first = offset + y * stride + x * (isArgb() ? 1 : channels);
        int[] more = {around[0] + x, around[1] + y, around[2] + (width - x - partWidth),
            around[3] + (height - y - partHeight)};
        return new Raster(data, first, stride, partWidth, partHeight, channels, readOnly, more);
    }

    boolean isArgb() {
        return data instanceof int[];
    }

    boolean isWritable() {
        return !readOnly;
    }

    /** Pixels beyond the left, top, right and bottom edge that may be read. */
    int[] border() {
        return around.clone();
    }

    private static void checkLayout(String name, int have, int offset, int width, int height,
            int channels, int stride) {
        Check.that(width >= 1 && width <= LARGEST_SIDE, "width: " + width);
        Check.that(height >= 1, "height: " + height);
        Check.that(offset >= 0, "offset: " + offset);
        long row = (long) width * channels;
        Check.that(stride >= row, "stride: " + stride + " below the " + row + " of a row");
        long need = offset + (height - 1L) * stride + row;
        Check.that(need <= have, name + ": " + need + " needed, " + have + " there");
    }
}
