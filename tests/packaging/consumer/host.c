/* A host of the C interface in strict C99, built against an installation: host WIDTH HEIGHT COUNT FRAMES ENLARGED */
#include <stdio.h>
#include <stdlib.h>

#include "capi/SuperResolution.h"

static int fail(const char* what) {
    char message[400] = "";
    SuperResolution_getErrorMessage(message, (int)sizeof message - 1);
    fprintf(stderr, "%s: %s\n", what, message);
    return EXIT_FAILURE;
}

int main(int argc, char** argv) {
    int width, height, count, session, outWidth, outHeight, i;
    float *frame, *enlarged;
    size_t pixels;
    FILE* file;

    if (argc != 6) return fail("usage");
    width = atoi(argv[1]);
    height = atoi(argv[2]);
    count = atoi(argv[3]);
    pixels = (size_t)width * (size_t)height;
    frame = malloc(pixels * sizeof *frame);
    enlarged = malloc(4 * pixels * sizeof *enlarged);
    file = fopen(argv[4], "rb");
    if (frame == NULL || enlarged == NULL || file == NULL) return fail("input");

    session = SuperResolution_init(width, height);
    if (session < 0) return fail("init");
    if (SuperResolution_setCameraAndLensType(session, "none that is known") != 0) return fail("camera");
    for (i = 0; i < count; ++i) {
        if (fread(frame, sizeof *frame, pixels, file) != pixels) return fail("frames");
        if (SuperResolution_addImage(session, frame) != 0) return fail("addImage");
    }
    fclose(file);
    if (SuperResolution_queryOutputImageSize(session, &outWidth, &outHeight) != 0) return fail("size");
    if (outWidth != 2 * width || outHeight != 2 * height) return fail("the size is not twice the frame's");
    if (SuperResolution_getSuperresolutionImage(session, enlarged) != 0)
        return fail("getSuperresolutionImage");
    if (SuperResolution_release(session) != 0) return fail("release");
    if (SuperResolution_release(session) != -999) return fail("a released session was released again");

    file = fopen(argv[5], "wb");
    if (file == NULL || fwrite(enlarged, sizeof *enlarged, 4 * pixels, file) != 4 * pixels)
        return fail("output");
    fclose(file);
    free(frame);
    free(enlarged);
    return EXIT_SUCCESS;
}
