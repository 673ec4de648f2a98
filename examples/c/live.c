/* A live camera of 16-bit counts, hundredths of a kelvin: an image of twice the size in the same unit for each frame, from
 * the fifth on.
 *
 *     cc -std=c99 live.c $(pkg-config --cflags --libs oravo-superresolution) -lm -o live
 *     camera | ./live WIDTH HEIGHT | display
 */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "capi/Burst.h"

enum { kWindow = 5 };
static const double kScale = 0.01, kOffset = -273.15; /* from counts to degrees Celsius */

static uint16_t countOf(float celsius) {
    return (uint16_t)fmin(fmax(rint((celsius - kOffset) / kScale), 0.0), 65535.0);
}

/* One frame in, one image out, once the window is full. What cannot be used is reported, and the stream goes on. */
static int step(oravo_burst burst, const uint16_t* counts, float* image, uint16_t* out, size_t pixels) {
    if (oravo_burst_add_u16(burst, counts, 0, kScale, kOffset) != ORAVO_BURST_OK ||
        (oravo_burst_frames(burst) == kWindow &&
         (oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE) != ORAVO_BURST_OK ||
          oravo_burst_image(burst, image, 0) != ORAVO_BURST_OK))) {
        fprintf(stderr, "live: %s\n", oravo_burst_error(burst));
        return 1;
    }
    if (oravo_burst_frames(burst) < kWindow) return 1;
    for (size_t i = 0; i < pixels; ++i) out[i] = countOf(image[i]);
    return fwrite(out, sizeof *out, pixels, stdout) == pixels && fflush(stdout) == 0;
}

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: live WIDTH HEIGHT < COUNTS > IMAGES\n");
        return 2;
    }
    const int width = atoi(argv[1]), height = atoi(argv[2]);
    oravo_burst_options options;
    oravo_burst_options_init(&options, sizeof options);
    options.pipeline = ORAVO_BURST_FLOAT; /* real time */
    const oravo_burst burst = oravo_burst_create(width, height, &options);
    if (burst == 0) {
        fprintf(stderr, "live: %s\n", oravo_burst_error(0));
        return 1;
    }
    const size_t values = (size_t)width * (size_t)height;
    uint16_t* counts = malloc(values * sizeof *counts);
    uint16_t* out = malloc(4 * values * sizeof *out);
    float* image = malloc(4 * values * sizeof *image);
    const int enough = counts != NULL && out != NULL && image != NULL;
    if (!enough) fprintf(stderr, "live: not enough memory\n");
    while (enough && fread(counts, sizeof *counts, values, stdin) == values &&
           step(burst, counts, image, out, 4 * values)) {
    }
    free(image);
    free(out);
    free(counts);
    oravo_burst_destroy(burst);
    return enough && !ferror(stdout) ? 0 : 1;
}
