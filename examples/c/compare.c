/* The pipelines beside each other, on a burst whose truth is known: raw floats all.
 *
 *     cc -std=c99 compare.c $(pkg-config --cflags --libs oravo-superresolution) -lm -o compare
 *     ./compare WIDTH HEIGHT REFERENCE TRUTH.raw < FRAMES.raw
 *
 * REFERENCE is the index of the frame on whose grid the truth lies. Prints the peak signal-to-noise ratio of each result,
 * eight pixels along the borders left out, and of an enlargement of the reference frame by linear interpolation.
 */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "capi/Burst.h"

enum { kMostFrames = 64, kBorder = 8 };

static double psnr(const float* image, const float* truth, int width, int height) {
    double squares = 0.0, low = truth[0], high = truth[0];
    for (int i = 0; i < width * height; ++i) {
        low = fmin(low, truth[i]);
        high = fmax(high, truth[i]);
    }
    for (int y = kBorder; y < height - kBorder; ++y)
        for (int x = kBorder; x < width - kBorder; ++x) {
            const double error = image[y * width + x] - truth[y * width + x];
            squares += error * error;
        }
    return 10.0 *
           log10((high - low) * (high - low) * (width - 2 * kBorder) * (height - 2 * kBorder) / squares);
}

/* Frame pixel i lies at 2 i + 0.5 of the enlarged grid. */
static void twice(const float* frame, int width, int height, float* image) {
    for (int y = 0; y < 2 * height; ++y)
        for (int x = 0; x < 2 * width; ++x) {
            const double u = fmin(fmax((x - 0.5) / 2, 0.0), width - 1.0),
                         v = fmin(fmax((y - 0.5) / 2, 0.0), height - 1.0);
            const int left = (int)fmin(u, width - 2.0), top = (int)fmin(v, height - 2.0);
            const float* at = frame + top * width + left;
            const double upper = at[0] + (u - left) * (at[1] - at[0]);
            const double lower = at[width] + (u - left) * (at[width + 1] - at[width]);
            image[y * 2 * width + x] = (float)(upper + (v - top) * (lower - upper));
        }
}

/* Makes the image of the newest frames, as many as the pipeline takes by itself. What it refuses is said. */
static int enlarge(int pipeline, const float* frames, int count, int reference, int width, int height,
                   float* image) {
    oravo_burst_options options;
    oravo_burst_options_init(&options, sizeof options);
    options.pipeline = pipeline;
    const oravo_burst burst = oravo_burst_create(width, height, &options);
    int done = burst != 0;
    for (int i = 0; done && i < count; ++i)
        done =
            oravo_burst_add(burst, frames + (size_t)i * (size_t)width * (size_t)height, 0) == ORAVO_BURST_OK;
    done = done &&
           oravo_burst_reconstruct(burst, count - 1 - reference) ==
               ORAVO_BURST_OK && /* counted from the newest */
           oravo_burst_image(burst, image, 0) == ORAVO_BURST_OK;
    if (!done) fprintf(stderr, "compare: %s\n", oravo_burst_error(burst));
    oravo_burst_destroy(burst);
    return done;
}

int main(int argc, char** argv) {
    static const char* const kNames[] = {"precise", "float"}; /* by oravo_burst_pipeline */
    const int width = argc == 5 ? atoi(argv[1]) : 0, height = argc == 5 ? atoi(argv[2]) : 0;
    if (width < kBorder || height < kBorder) {
        fprintf(stderr, "usage: compare WIDTH HEIGHT REFERENCE TRUTH.raw < FRAMES.raw\n");
        return 2;
    }
    const size_t pixels = (size_t)width * (size_t)height;
    const int reference = atoi(argv[3]);
    float* frames = malloc(kMostFrames * pixels * sizeof *frames);
    float* truth = malloc(4 * pixels * sizeof *truth);
    float* image = malloc(4 * pixels * sizeof *image);
    FILE* file = fopen(argv[4], "rb");
    if (frames == NULL || truth == NULL || image == NULL || file == NULL ||
        fread(truth, sizeof *truth, 4 * pixels, file) != 4 * pixels) {
        fprintf(stderr, "compare: %s: cannot be read\n", argv[4]);
        return 1;
    }
    fclose(file);
    const int count = (int)fread(frames, pixels * sizeof *frames, kMostFrames, stdin);
    if (reference < 0 || reference >= count) {
        fprintf(stderr, "compare: %s: there are %d frames\n", argv[3], count);
        return 1;
    }
    twice(frames + (size_t)reference * pixels, width, height, image);
    printf("%-10s %5.1f dB\n", "linear", psnr(image, truth, 2 * width, 2 * height));
    int failed = 0;
    for (int pipeline = ORAVO_BURST_FLOAT; pipeline >= ORAVO_BURST_PRECISE; --pipeline)
        if (enlarge(pipeline, frames, count, reference, width, height, image))
            printf("%-10s %5.1f dB\n", kNames[pipeline], psnr(image, truth, 2 * width, 2 * height));
        else
            failed = 1;
    free(image);
    free(truth);
    free(frames);
    return failed;
}
