/* Counts of a raw sensor become temperatures by two recordings of an even surface, then an image.
 *
 *     cc -std=c99 calibrated.c $(pkg-config --cflags --libs oravo-superresolution) -o calibrated
 *     ./calibrated WIDTH HEIGHT COLD.raw COLD_CELSIUS HOT.raw HOT_CELSIUS IMAGE.raw < COUNTS.raw
 *
 * Counts are unsigned, of 16 bits. Between the two, temperature is taken to be linear in the count, pixel
 * by pixel, which takes off the sensor's fixed pattern as well.
 */
#include <stdio.h>
#include <stdlib.h>

#include "capi/Burst.h"

static void fail(const char* what, const char* why) {
    fprintf(stderr, "calibrated: %s: %s\n", what, why);
    exit(1);
}

static void* room(size_t count, size_t size) {
    void* memory = malloc(count * size);
    if (memory == NULL) fail("memory", "there is not enough");
    return memory;
}

/* The mean of a recording of an even surface, which has less noise than any of its frames. */
static double* evenSurface(const char* path, uint16_t* counts, size_t pixels) {
    double* mean = room(pixels, sizeof *mean);
    int frames = 0;
    FILE* file = fopen(path, "rb");
    for (size_t i = 0; i < pixels; ++i) mean[i] = 0.0;
    for (; file != NULL && fread(counts, sizeof *counts, pixels, file) == pixels; ++frames)
        for (size_t i = 0; i < pixels; ++i) mean[i] += counts[i];
    if (frames == 0) fail(path, "holds no frame of this size");
    fclose(file);
    for (size_t i = 0; i < pixels; ++i) mean[i] /= frames;
    return mean;
}

int main(int argc, char** argv) {
    if (argc != 8) {
        fprintf(stderr, "usage: calibrated WIDTH HEIGHT COLD COLD_CELSIUS HOT HOT_CELSIUS IMAGE < COUNTS\n");
        return 2;
    }
    const int width = atoi(argv[1]), height = atoi(argv[2]);
    const double cold = atof(argv[4]), hot = atof(argv[6]);
    const oravo_burst burst = oravo_burst_create(width, height, NULL);
    if (burst == 0) fail("no burst", oravo_burst_error(0));

    const size_t pixels = (size_t)width * (size_t)height;
    uint16_t* counts = room(pixels, sizeof *counts);
    float* celsius = room(
        4 * pixels, sizeof *celsius); /* of a frame, then of the image, which is twice as wide and high */
    unsigned char* dead = room(pixels, 1);
    const double* low = evenSurface(argv[3], counts, pixels);
    const double* high = evenSurface(argv[5], counts, pixels);
    int deadPixels = 0;
    for (size_t i = 0; i < pixels; ++i) /* a pixel that does not tell hot from cold shows nothing */
        deadPixels += dead[i] = high[i] <= low[i];
    printf("%d of %zu pixels do not react\n", deadPixels, pixels);

    int status = oravo_burst_set_bad_pixels(burst, dead, 0);
    while (status == ORAVO_BURST_OK && fread(counts, sizeof *counts, pixels, stdin) == pixels) {
        for (size_t i = 0; i < pixels; ++i) {
            const double gain = (hot - cold) / (dead[i] ? 1.0 : high[i] - low[i]);
            celsius[i] = (float)(cold + gain * (counts[i] - low[i]));
        }
        status = oravo_burst_add(burst, celsius, 0);
    }
    if (status != ORAVO_BURST_OK ||
        oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE) != ORAVO_BURST_OK ||
        oravo_burst_image(burst, celsius, 0) != ORAVO_BURST_OK)
        fail("no image", oravo_burst_error(burst));
    oravo_burst_destroy(burst);

    FILE* out = fopen(argv[7], "wb");
    if (out == NULL || fwrite(celsius, sizeof *celsius, 4 * pixels, out) != 4 * pixels || fclose(out) != 0)
        fail(argv[7], "cannot be written");
    return 0;
}
