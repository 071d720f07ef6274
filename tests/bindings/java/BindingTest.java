package dscmatting;

import static org.junit.Assert.*;

import java.nio.ByteBuffer;
import java.nio.file.*;
import java.util.Random;
import org.junit.Test;
import org.junit.function.ThrowingRunnable;

// The binding's own work: both kinds of pixels, refusals, the life of the native object.
public class BindingTest {
    static final int W = 60, H = 46;
    static final Bytes PHOTO = new Bytes(3).disc(170, 40, 70), SEG = new Bytes(1).disc(255, 0, 1);

    // Pixels from position 7 on, 5 bytes between the rows, not a byte after the last; 77 at first.
    static class Bytes {
        final ByteBuffer buffer;
        final Raster raster;
        final int channels;

        Bytes(int channels) {
            this.channels = channels;
            buffer = ByteBuffer.allocateDirect(at(W - 1, H - 1, channels));
            while (buffer.hasRemaining()) buffer.put((byte) 77);
            buffer.position(7);
            raster = Raster.bytes(buffer, W, H, channels, W * channels + 5);
            buffer.position(0);
        }
        int at(int x, int y, int c) { return 7 + y * (W * channels + 5) + x * channels + c; }
        int get(int x, int y, int c) { return buffer.get(at(x, y, c)) & 255; }
        String show() { return get(0, 0, 0) + " " + get(W / 2, H / 2, 0) + " "; }
        Bytes fill(int value) { return disc(value, value, 1); }
        Bytes disc(int inside, int outside, int noise) {
            Random random = new Random(3);
            for (int i = 0, x = 0, y = 0; i < W * H; x = ++i % W, y = i / W)
                for (int c = 0; c < channels; c++)
                    buffer.put(at(x, y, c), (byte) (random.nextInt(noise)
                            + (Math.hypot(x - W / 2, y - H / 2) < H / 3 ? inside : outside)));
            return this;
        }
        // As Bitmap.getPixels gives them, from index 3 on and with 2 ints between the rows.
        int[] argb(Bytes alpha) {
            int[] pixels = new int[3 + (H - 1) * (W + 2) + W];
            for (int i = 0, x = 0, y = 0; i < W * H; x = ++i % W, y = i / W)
                pixels[3 + y * (W + 2) + x] = alpha.get(x, y, 0) << 24 | get(x, y, 2) << 16
                        | get(x, y, 1) << 8 | get(x, y, 0);
            return pixels;
        }
    }

    static Raster argb(int[] pixels) { return Raster.argb(pixels, 3, W + 2, W, H); }
    static Bytes map() { return new Bytes(1).fill(0); }

    @Test public void bytesAndArgbGiveTheSame() {
        int[] ints = PHOTO.argb(SEG), colours = new int[ints.length];
        Raster[] photos = {PHOTO.raster, argb(ints)};
        Bytes[] mattes = {map(), map()}, spill = {new Bytes(4).fill(9), new Bytes(4).fill(9)};
        Bytes image = new Bytes(3), brush = map().fill(200), alpha = map().fill(100);
        for (int i = 0; i < 2; i++) {
            Raster to = mattes[i].raster, result = spill[i].raster;
            Bytes internal = map(), references = new Bytes(4).fill(0);
            try (Matting matting = new Matting()) {
                matting.init(photos[i], SEG.raster, 40, 6, 0.5, 3, 5, 50, 1);
                matting.makeMatte(to, 3, 1);
                matting.getAlpha(internal.raster);
                matting.getFImage(i == 0 ? image.raster : argb(colours), -1);
                assertEquals("0 255 255 0 ", mattes[i].show() + internal.show());
                matting.refine(to, 3, 1);
                matting.getAlpha(internal.raster);
                assertEquals(internal.buffer, mattes[i].buffer);
                matting.init(photos[i], 1000);
                matting.refine(internal.fill(7).raster, to, 0, 0);
                assertEquals("all known", internal.buffer, mattes[i].buffer);
                matting.setAlpha(internal.disc(255, 0, 1).raster);
                matting.smoothBoundary(5, 0);
                matting.getAlpha(internal.raster);
                assertNotEquals(SEG.buffer, internal.buffer);
                matting.makeMatteFromSegmentation(SEG.raster, to, 4, 0.5, 0, 0);
            }
            Colors.improveForeground(photos[i], alpha.raster, brush.raster, map().raster, result,
                    0x0000fa, true, 50);
            assertTrue(spill[i].get(2, 2, 0) > spill[i].get(2, 2, 2));
            Colors.paintReference(references.raster, 0x010203, false, brush.raster);
            assertEquals("3 3 ", references.show());
            Colors.improveForeground(photos[i], references.raster, alpha.raster, result, 9);
            Colors.merge(photos[i], result);
        }
        assertEquals(mattes[0].buffer, mattes[1].buffer);
        assertEquals(spill[0].buffer, spill[1].buffer);
        assertArrayEquals(image.argb(map().fill(255)), colours);
        Colors.estimate(PHOTO.raster, mattes[0].raster, null, image.raster, 1, 253);
        Colors.cutOut(photos[1], mattes[0].raster, photos[1]);
        assertArrayEquals(image.argb(mattes[0]), ints);
    }

    @Test public void brushesEditPartsAndReadBeyondThem() {
        Bytes src = map().disc(200, 20, 30), out = map(), cut = map(), brush = map();
        Brushes.smooth(src.raster, out.raster, 7);
        Brushes.smooth(src.raster.part(9, 8, 30, 20), cut.raster.part(9, 8, 30, 20), 7);
        assertEquals(out.get(9, 8, 0) + " " + out.get(38, 27, 0) + " 0",
                cut.get(9, 8, 0) + " " + cut.get(38, 27, 0) + " " + cut.get(39, 27, 0));
        Brushes.makeRectWeight(brush.raster, 0.5f);
        Bytes applied = map(), saved = map().fill(9);
        Brushes.set(saved.raster, brush.raster, applied.raster, out.raster, 200);
        String done = out.show() + applied.show();
        Brushes.undo(saved.raster, brush.raster, applied.fill(0).raster, out.raster, false);
        Brushes.record(brush.raster, applied.raster);
        assertEquals("10 199 2 255 10 10 2 255 ", done + out.show() + applied.show());
        Brushes.dilate(src.raster, brush.fill(255).raster, out.fill(0).raster, 5);
        Brushes.erode(src.raster, brush.raster, cut.fill(255).raster, 5);
        assertTrue(out.get(W / 2, H / 2 + H / 3, 0) > cut.get(W / 2, H / 2 + H / 3, 0));
        Brushes.threshold(src.raster, out.raster, cut.raster, 3, 60, 199);
        Brushes.shrinkUnknown(src.raster, saved.raster, 3, 2, 60, 199);
        assertEquals("0 255 0 255 0 255 ", out.show() + cut.show() + saved.show());
        Brushes.rectifyAlpha(src.fill(128).raster, brush.fill(9).raster, out.fill(12).raster, 4);
        assertEquals("128 128 ", out.show());
        double outside = Brushes.estimateOptLevel(out.disc(128, 0, 1).raster, 1, 1);
        assertEquals("one minus the disc in its box", 0.17, outside, 0.01);
        assertEquals(-1, Brushes.calcSTransform(70, 50)[255]);
    }

    static void refused(String message, ThrowingRunnable call) {
        String said = assertThrows(message, IllegalArgumentException.class, call).getMessage();
        assertTrue(said, said.startsWith(message));
    }

    @Test public void whatDoesNotFitIsRefusedByName() {
        ByteBuffer ten = ByteBuffer.allocateDirect(10), array = ByteBuffer.allocate(10);
        Raster photo = PHOTO.raster, map = SEG.raster, small = map.part(0, 0, W, H - 1);
        Raster locked = Raster.bytes(SEG.buffer.asReadOnlyBuffer(), W, H, 1, W);
        refused("bytes: null", () -> Raster.bytes(null, 1, 1, 1, 1));
        refused("bytes: not a direct", () -> Raster.bytes(array, 1, 1, 1, 1));
        refused("bytes: 11 needed, 10", () -> Raster.bytes(ten, 3, 3, 1, 4));
        refused("bytes: 4294967298", () -> Raster.bytes(ten, 2, 65537, 1, 65536));
        refused("width: 0", () -> Raster.bytes(ten, 0, 1, 1, 1));
        refused("width: 20", () -> Raster.bytes(ten, 2000000000, 1, 3, 2000000000));
        refused("height: -1", () -> Raster.bytes(ten, 1, -1, 1, 1));
        refused("channels", () -> Raster.bytes(ten, 1, 1, 2, 2));
        refused("stride: 8", () -> Raster.bytes(ten, 3, 1, 3, 8));
        refused("pixels: null", () -> Raster.argb(null, 0, 1, 1, 1));
        refused("pixels: 9 needed, 8", () -> Raster.argb(new int[8], 1, 5, 3, 2));
        refused("offset: -1", () -> Raster.argb(new int[8], -1, 2, 2, 2));
        refused("x, partWidth", () -> map.part(W - 1, 0, 2, 1));
        refused("y, partHeight", () -> map.part(0, 1, 1, Integer.MAX_VALUE));
        refused("lowOut, highOut", () -> Colors.estimate(photo, map, null, null, 1, 253));
        refused("hi: ", () -> Colors.estimate(photo, map, photo, null, 1, -1));
        refused("out: an ARGB", () -> Colors.cutOut(photo, map, photo));
        refused("src: ints", () -> Brushes.smooth(argb(PHOTO.argb(SEG)), photo, 3));
        refused("dst: 60 x 46", () -> Brushes.smooth(map, small, 3));
        Matting matting = new Matting();
        assertThrows(IllegalStateException.class, () -> matting.smoothBoundary(1, 1));
        matting.init(photo, 9);
        assertThrows(IllegalStateException.class, () -> matting.makeMatte(map, 1, 1));
        refused("photo: null", () -> matting.init(null, 9));
        refused("photo: 3 channels", () -> matting.init(map, 9));
        refused("segmentation: 60 x 46", () -> matting.init(photo, small, 9, 9, 1, 1, 1, 1, 1));
        refused("lowContrast", () -> matting.init(photo, map, 9, 9, 1, 1, 256, 0, 0));
        refused("out: a read-only", () -> matting.getAlpha(locked));
        refused("out: 60 x 46", () -> matting.makeMatte(small, 0, 0));
        matting.close();
        matting.close();
        assertThrows(IllegalStateException.class, () -> matting.init(photo, 9));
    }

    static int residentPages() throws Exception {
        byte[] counts = Files.readAllBytes(Paths.get("/proc/self/statm"));
        return Integer.parseInt(new String(counts).split(" ")[1]);
    }

    // Garbage, and another thread that closes while this one works. 900 leaked objects of 45 KB
    // each would be five times the growth that is allowed.
    @Test public void aThousandRoundsDoNotGrow() throws Exception {
        Bytes photo = new Bytes(3).disc(0, 0, 256), seg = map().disc(255, 0, 129), out = map();
        int before = 0;
        for (int i = 1; i <= 1000; i++) {
            Matting matting = new Matting();
            matting.init(photo.raster, seg.raster, 30, i % 9 - 1, 0.5, i % 3 - 1, i % 256, 50, -i);
            matting.makeMatte(out.raster, i % 7 - 1, i % 3);
            Thread closer = new Thread(matting::close);
            closer.start();
            assertThrows(IllegalStateException.class, () -> {
                while (true) matting.getAlpha(out.raster);
            });
            closer.join();
            if (i == 100) before = residentPages();
        }
        assertEquals(before, residentPages(), 2000);
    }
}
