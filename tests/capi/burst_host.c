/* A host of the interface of bursts in strict C99: every function once, as a program would. Fails with the line. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "capi/Burst.h"

#define REQUIRE(condition)                                                                                \
    do {                                                                                                  \
        if (!(condition)) {                                                                               \
            fprintf(stderr, "burst_host.c:%d: %s: %s\n", __LINE__, #condition, oravo_burst_error(burst)); \
            return EXIT_FAILURE;                                                                          \
        }                                                                                                 \
    } while (0)

enum { kWidth = 48, kHeight = 36, kFrames = 6, kPixels = kWidth * kHeight };

/* Counts of a scene of straight edges and a ramp, displaced by a whole pixel or none. */
static void render(uint16_t* counts, int frame) {
    int x, y;
    for (y = 0; y < kHeight; ++y) {
        for (x = 0; x < kWidth; ++x) {
            const int u = x + frame % 2, v = y + frame / 2 % 2;
            counts[y * kWidth + x] = (uint16_t)(2000 + 4 * u + 150 * (u / 5 % 2) + 110 * (v / 4 % 2));
        }
    }
}

static int watch(double share, void* user) {
    *(double*)user = share;
    return 1;
}

static void count(int level, const char* text, void* user) {
    (void)user;
    if (level != ORAVO_BURST_WARNING && level != ORAVO_BURST_INFO) abort();
    if (strchr(text, '\n') != NULL) abort();
}

/* Makes a burst of one bad pixel and the frames of the scene. */
static int fill(oravo_burst* made, int pipeline, double* share) {
    static uint16_t counts[kPixels];
    static unsigned char mask[kPixels];
    oravo_burst burst = 0;
    oravo_burst_options options;
    int i;

    REQUIRE(oravo_burst_options_init(&options, sizeof options) == ORAVO_BURST_OK);
    REQUIRE(oravo_burst_camera_blur("108 FOV 12") == 0.34f);
    options.pipeline = pipeline;
    options.frames = 5;
    options.progress = watch;
    options.log = count;
    options.user = share;
    REQUIRE(oravo_burst_memory(kWidth, kHeight, &options) > 0);
    *made = burst = oravo_burst_create(kWidth, kHeight, &options);
    REQUIRE(burst != 0);
    if (pipeline != ORAVO_BURST_VECTOR) {
        memset(mask, 0, sizeof mask);
        mask[100] = 1;
        REQUIRE(oravo_burst_set_bad_pixels(burst, mask, 0) == ORAVO_BURST_OK);
    }
    for (i = 0; i < kFrames; ++i) {
        render(counts, i);
        REQUIRE(oravo_burst_add_u16(burst, counts, 2 * kWidth, 0.01, 0.0) == ORAVO_BURST_OK);
    }
    REQUIRE(oravo_burst_frames(burst) == 5);
    return EXIT_SUCCESS;
}

static int readImages(oravo_burst burst, int pipeline) {
    static float image[4 * kPixels], map[4 * kPixels];
    static unsigned char mask[kPixels];
    const int precise = pipeline == ORAVO_BURST_PRECISE;
    const int unavailable = precise ? ORAVO_BURST_OK : ORAVO_BURST_UNAVAILABLE;
    int i, width = 0, height = 0;

    REQUIRE(oravo_burst_image_size(burst, &width, &height) == ORAVO_BURST_OK);
    REQUIRE(width == 2 * kWidth && height == 2 * kHeight);
    REQUIRE(oravo_burst_image(burst, image, 0) == ORAVO_BURST_OK);
    for (i = 0; i < 4 * kPixels; ++i) REQUIRE(image[i] > 15.0f && image[i] < 30.0f);
    REQUIRE(oravo_burst_deviation(burst, map, 0) == unavailable);
    REQUIRE(oravo_burst_pattern(burst, map, 0) == unavailable);
    REQUIRE(oravo_burst_dead_pixels(burst, mask, 0) == unavailable);
    REQUIRE(oravo_burst_weight(burst, map, 0) ==
            (pipeline == ORAVO_BURST_VECTOR ? ORAVO_BURST_UNAVAILABLE : ORAVO_BURST_OK));
    REQUIRE(oravo_burst_mask(burst, 0, mask, 0) ==
            (precise || pipeline == ORAVO_BURST_VECTOR ? ORAVO_BURST_UNAVAILABLE : ORAVO_BURST_OK));
    return EXIT_SUCCESS;
}

static int readFacts(oravo_burst burst) {
    oravo_burst_frame info;
    double value = 0.0;
    char text[512];
    int i;

    REQUIRE(oravo_burst_frame_info(burst, 0, &info, sizeof info) == ORAVO_BURST_OK);
    REQUIRE(oravo_burst_figure(burst, oravo_burst_figure_name(0), &value) == ORAVO_BURST_OK && value == 5.0);
    REQUIRE(oravo_burst_figure(burst, "warnings", &value) == ORAVO_BURST_OK);
    for (i = 0; i < (int)value; ++i)
        REQUIRE(oravo_burst_warning(burst, i, text, sizeof text) == ORAVO_BURST_OK && text[0] != '\0');
    return EXIT_SUCCESS;
}

static int reconstruct(int pipeline) {
    static float image[4 * kPixels];
    oravo_burst burst = 0;
    double share = -1.0;

    if (fill(&burst, pipeline, &share) != EXIT_SUCCESS) return EXIT_FAILURE;
    REQUIRE(oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE) == ORAVO_BURST_OK);
    REQUIRE(share == 1.0);
    if (readImages(burst, pipeline) != EXIT_SUCCESS) return EXIT_FAILURE;
    if (readFacts(burst) != EXIT_SUCCESS) return EXIT_FAILURE;
    REQUIRE(oravo_burst_cancel(burst) == ORAVO_BURST_OK);
    REQUIRE(oravo_burst_clear(burst) == ORAVO_BURST_OK);
    REQUIRE(oravo_burst_image(burst, image, 0) == ORAVO_BURST_NO_RESULT);
    REQUIRE(oravo_burst_error_code(burst) == ORAVO_BURST_NO_RESULT);
    REQUIRE(oravo_burst_destroy(burst) == ORAVO_BURST_OK);
    REQUIRE(oravo_burst_destroy(burst) == ORAVO_BURST_STALE);
    return EXIT_SUCCESS;
}

static oravo_burst left;

/* Bursts may be closed to the very end of the process. */
static void closeLast(void) {
    if (oravo_burst_reconstruct(left, 0) != ORAVO_BURST_ARGUMENT || oravo_burst_error(left)[0] == '\0' ||
        oravo_burst_destroy(left) != ORAVO_BURST_OK || oravo_burst_frames(left) != ORAVO_BURST_STALE)
        abort();
}

int main(void) {
    int pipeline;
    if (strncmp(oravo_version(), "0.1", 3) != 0 || ORAVO_VERSION_MAJOR != 0) return EXIT_FAILURE;
    for (pipeline = ORAVO_BURST_PRECISE; pipeline <= ORAVO_BURST_REFERENCE; ++pipeline)
        if (reconstruct(pipeline) != EXIT_SUCCESS) return EXIT_FAILURE;
    left = oravo_burst_create(16, 16, NULL);
    return left != 0 && atexit(closeLast) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
