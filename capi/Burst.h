#ifndef ORAVO_CAPI_BURST_H
#define ORAVO_CAPI_BURST_H

/** @file
 * The best image of a burst: the C interface of the precise pipeline (vision/superresolution/SrPrecise.h).
 *
 *     oravo_burst_options options;
 *     oravo_burst_options_init(&options, sizeof options);
 *     oravo_burst burst = oravo_burst_create(640, 480, &options);
 *     for (int i = 0; i < 12; ++i) oravo_burst_add(burst, frames[i], 0);
 *     if (oravo_burst_reconstruct(burst, 8) == ORAVO_BURST_OK) oravo_burst_image(burst, image);
 *     else fprintf(stderr, "no image: %s\n", oravo_burst_error(burst));
 *     oravo_burst_destroy(burst);
 *
 * Every function may be called with any argument: an invalid one yields a status and a text. Nothing is printed.
 *
 * Threads: different bursts may be used from different threads at once, without a lock around the calls; one burst by
 * one thread at a time. The library starts no threads here.
 *
 * Images are dense, row-major, 32-bit float.
 */

#include <stddef.h>
#include <stdint.h>

#include "support/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A burst: never 0 and never reused, so that one which was destroyed is refused. */
typedef uint64_t oravo_burst;

/** What functions return: ORAVO_BURST_OK, ORAVO_BURST_STALE for a burst that does not exist, and the others as stated. */
enum oravo_burst_status {
    ORAVO_BURST_OK = 0,        /**< done */
    ORAVO_BURST_STALE = -1,    /**< no such burst, or one that was destroyed: create another */
    ORAVO_BURST_ARGUMENT = -2, /**< an invalid argument; oravo_burst_error() names it */
    ORAVO_BURST_NO_RESULT =
        -3, /**< nothing was reconstructed since the last frame: call oravo_burst_reconstruct() */
    ORAVO_BURST_MEMORY = -4,    /**< out of memory: free some, or take smaller frames or fewer of them */
    ORAVO_BURST_CANCELLED = -5, /**< the progress callback ended the run; it may be started again */
    ORAVO_BURST_FAILED = -6     /**< an error inside the library, which oravo_burst_error() describes */
};

/** Options; see SrPreciseOptions for what each means. Fill the structure by oravo_burst_options_init() and change what should differ from the defaults. */
typedef struct oravo_burst_options {
    size_t size;          /**< of the structure in the caller's header */
    int factor;           /**< enlargement, 1 to 4; 2 */
    float psf_sigma;      /**< blur of the camera in pixels of the image at factor 2, 0.3 to 2; 0.683 */
    float lowest;         /**< values below are defects; -274 */
    float highest;        /**< values above are defects; 5000 */
    double smoothness;    /**< weight of the prior; 0 chooses it; 0 */
    int find_dead_pixels; /**< leave out pixels that do not follow the scene; 1 */
    int find_pattern;     /**< estimate and subtract the sensor's fixed pattern; 1 */
    int deviation;        /**< estimate standard deviations; 1 */
    /** Called by oravo_burst_reconstruct() with the share that is done, 0 to 1; returning 0 cancels. May be null; null. */
    int (*progress)(double share, void* user);
    void* user; /**< handed to progress; null */
} oravo_burst_options;

/** What is known about a frame; see SrPreciseFrame. */
typedef struct oravo_burst_frame {
    int used; /**< 1 when the frame takes part */
    double
        dx; /**< displacement in pixels, to the right: frame(p + d) = reference(p), at the frame's centre */
    double dy;        /**< the same, downwards */
    double dx_error;  /**< standard error of dx */
    double dy_error;  /**< standard error of dy */
    double linear[4]; /**< linear part of the motion about the centre, row by row; 0 for a translation */
    double gain;      /**< value - m = gain (reference - m) + offset, with m the reference's mean value */
    double offset;    /**< see gain; in the frames' unit */
    double misfit;    /**< standard deviation of what the image leaves unexplained */
    double weight;    /**< mean weight of the frame's pixels, 0 to 1 */
} oravo_burst_frame;

/** Sets all options to their defaults.
 * @param size  sizeof(oravo_burst_options); only so many bytes are written
 * @return ORAVO_BURST_OK, or ORAVO_BURST_ARGUMENT for a null pointer or a size too small to be one */
ORAVO_EXPORT int oravo_burst_options_init(oravo_burst_options* options, size_t size);

/** Makes a burst for frames of width x height pixels, 8 at least each way.
 * @param options  null for the defaults; copied
 * @return the burst, or 0: oravo_burst_error(0) then says why */
ORAVO_EXPORT oravo_burst oravo_burst_create(int width, int height, const oravo_burst_options* options);

/** Takes in a copy of the next frame, up to 64. A result from before is dropped.
 * @param pixels  height rows of width values; NaN, infinities, status codes and values beyond the limits are defects
 * @param pitch   bytes from one row to the next; 0 for dense rows */
ORAVO_EXPORT int oravo_burst_add(oravo_burst burst, const float* pixels, ptrdiff_t pitch);

/** Drops all frames and the result. */
ORAVO_EXPORT int oravo_burst_clear(oravo_burst burst);

/** Reconstructs one image of all frames.
 * @param reference  the frame on whose grid the image lies, 0 for the first */
ORAVO_EXPORT int oravo_burst_reconstruct(oravo_burst burst, int reference);

/** Copies the image: factor height rows of factor width values in the frames' unit. Pixels that no frame has a value for
 * carry a status code (SuperResolutionBadPixelHandling.h). */
ORAVO_EXPORT int oravo_burst_image(oravo_burst burst, float* out);

/** Copies the standard deviation of each pixel of the image; ORAVO_BURST_NO_RESULT when it was not requested. */
ORAVO_EXPORT int oravo_burst_deviation(oravo_burst burst, float* out);

/** Copies how many frames' worth of trusted values each pixel of the image rests on. */
ORAVO_EXPORT int oravo_burst_weight(oravo_burst burst, float* out);

/** Copies the sensor's fixed pattern, height x width; zeros where none was found. */
ORAVO_EXPORT int oravo_burst_pattern(oravo_burst burst, float* out);

/** Copies a 1 for each sensor pixel that was found not to follow the scene, a 0 for all others; height x width. */
ORAVO_EXPORT int oravo_burst_dead_pixels(oravo_burst burst, unsigned char* out);

/** Copies what is known about frame `index`. */
ORAVO_EXPORT int oravo_burst_frame_info(oravo_burst burst, int index, oravo_burst_frame* out);

/** Copies the figure with this name: "frames", "used_frames", "contrast", "noise", "smoothness", "withheld_error",
 * "bicubic_error", "withheld_pixels", "gain_db", "trusted" (1 or 0), "leaning", "share_on_reference", "dead_pixels"; see
 * SrPreciseResult. */
ORAVO_EXPORT int oravo_burst_figure(oravo_burst burst, const char* name, double* out);

/** The text of the latest failure of this burst, "" without one; valid until its next call. For 0: of the calling
 * thread's latest oravo_burst_create(), or call with a burst that does not exist. */
ORAVO_EXPORT const char* oravo_burst_error(oravo_burst burst);

/** Frees a burst. */
ORAVO_EXPORT int oravo_burst_destroy(oravo_burst burst);

#ifdef __cplusplus
}
#endif

#endif
