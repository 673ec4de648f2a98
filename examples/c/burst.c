/* The best image of a burst: raw float frames from standard input, the image and its standard deviation to files.
 *
 *     cc -std=c99 burst.c $(pkg-config --cflags --libs oravo-superresolution) -o burst
 *     ./burst WIDTH HEIGHT IMAGE.raw DEVIATION.raw < FRAMES.raw
 */
#include <stdio.h>
#include <stdlib.h>

#include "capi/Burst.h"

static int save(const char* path, const float* values, size_t count) {
    FILE* file = fopen(path, "wb");
    const int whole = file != NULL && fwrite(values, sizeof *values, count, file) == count;
    if (file == NULL || fclose(file) != 0 || !whole) {
        perror(path);
        return 0;
    }
    return 1;
}

static int fail(oravo_burst burst) {
    const char* why = oravo_burst_error(burst);
    fprintf(stderr, "burst: %s\n", *why != '\0' ? why : "not enough memory");
    oravo_burst_destroy(burst);
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 5) {
        fprintf(stderr, "usage: burst WIDTH HEIGHT IMAGE.raw DEVIATION.raw < FRAMES.raw\n");
        return 2;
    }
    const int width = atoi(argv[1]), height = atoi(argv[2]);
    const oravo_burst burst = oravo_burst_create(width, height, NULL); /* defaults: nothing has to be tuned */
    if (burst == 0) return fail(0);

    const size_t values = (size_t)width * (size_t)height;
    float* frame = malloc(values * sizeof *frame);
    float* image = malloc(4 * values * sizeof *image); /* twice as wide, twice as high */
    int done = frame != NULL && image != NULL;
    while (done && fread(frame, sizeof *frame, values, stdin) == values)
        done = oravo_burst_add(burst, frame, 0) == ORAVO_BURST_OK;
    done = done && oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE) == ORAVO_BURST_OK;
    if (!done) return fail(burst);

    double gain = 0.0, doubts = 0.0;
    char text[512];
    oravo_burst_figure(burst, "gain_db", &gain);
    oravo_burst_figure(burst, "warnings", &doubts);
    printf("predicts pixels that it has not seen %.1f dB better than bicubic enlargement\n", gain);
    for (int i = 0; i < (int)doubts; ++i)
        if (oravo_burst_warning(burst, i, text, sizeof text) == ORAVO_BURST_OK) printf("doubt: %s\n", text);

    done = oravo_burst_image(burst, image, 0) == ORAVO_BURST_OK && save(argv[3], image, 4 * values) &&
           oravo_burst_deviation(burst, image, 0) == ORAVO_BURST_OK && save(argv[4], image, 4 * values);
    free(image);
    free(frame);
    oravo_burst_destroy(burst);
    return done ? 0 : 1;
}
