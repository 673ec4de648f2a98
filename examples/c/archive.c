/* An archive: each recording of raw float frames becomes an image. A recording that fails does not keep the others from
 * being done, and a second run goes on where the first was ended.
 *
 *     cc -std=c99 archive.c $(pkg-config --cflags --libs oravo-superresolution) -o archive
 *     ./archive WIDTH HEIGHT RECORDING.raw...
 *
 * The image of RECORDING.raw is RECORDING.raw.image.
 */
#include <stdio.h>
#include <stdlib.h>

#include "capi/Burst.h"

static int exists(const char* path) {
    FILE* file = fopen(path, "rb");
    if (file != NULL) fclose(file);
    return file != NULL;
}

/* A file gets its name once it is whole, so that what has a name is finished. */
static const char* save(const char* path, const float* values, size_t count) {
    char part[1100];
    snprintf(part, sizeof part, "%s.part", path);
    FILE* file = fopen(part, "wb");
    const int whole = file != NULL && fwrite(values, sizeof *values, count, file) == count;
    if (file == NULL || fclose(file) != 0 || !whole || rename(part, path) != 0)
        return "the image cannot be written";
    return NULL;
}

/* Why a recording has no image, or null. Of a long one the newest frames count, which the burst keeps. */
static const char* enlarge(oravo_burst burst, const char* recording, const char* result, float* values,
                           size_t pixels) {
    FILE* file = fopen(recording, "rb");
    if (file == NULL) return "cannot be read";
    int status = oravo_burst_clear(burst);
    while (status == ORAVO_BURST_OK && fread(values, sizeof *values, pixels, file) == pixels)
        status = oravo_burst_add(burst, values, 0);
    fclose(file);
    if (status != ORAVO_BURST_OK ||
        oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE) != ORAVO_BURST_OK ||
        oravo_burst_image(burst, values, 0) != ORAVO_BURST_OK)
        return oravo_burst_error(burst);
    return save(result, values, 4 * pixels);
}

int main(int argc, char** argv) {
    if (argc < 4) {
        fprintf(stderr, "usage: archive WIDTH HEIGHT RECORDING.raw...\n");
        return 2;
    }
    const int width = atoi(argv[1]), height = atoi(argv[2]);
    const oravo_burst burst = oravo_burst_create(width, height, NULL); /* one serves them all */
    const size_t pixels = (size_t)width * (size_t)height;
    float* values = burst == 0 ? NULL : malloc(4 * pixels * sizeof *values);
    if (values == NULL) {
        fprintf(stderr, "archive: %s\n", burst == 0 ? oravo_burst_error(0) : "not enough memory");
        return 1;
    }
    int failed = 0;
    for (int i = 3; i < argc; ++i) {
        const char* why = "its name is too long";
        char result[1024];
        const int fits = snprintf(result, sizeof result, "%s.image", argv[i]) < (int)sizeof result;
        if (fits && exists(result)) {
            printf("%s: finished before\n", argv[i]);
        } else if (fits && (why = enlarge(burst, argv[i], result, values, pixels)) == NULL) {
            double gain = 0.0;
            oravo_burst_figure(burst, "gain_db", &gain);
            printf("%s: %.1f dB better than bicubic enlargement\n", argv[i], gain);
        } else {
            printf("%s: failed: %s\n", argv[i], why);
            ++failed;
        }
    }
    free(values);
    oravo_burst_destroy(burst);
    return failed == 0 ? 0 : 1;
}
