package dscmatting;

/** Loads the library of the native methods, once, with the first class that has any. */
final class Native {
    private Native() {}

    static {
        System.loadLibrary("dscmatting_jni");
    }

    /** Returns when the library is loaded; {@link UnsatisfiedLinkError} where it is not found. */
    static void load() {}
}
