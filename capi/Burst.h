#ifndef ORAVO_CAPI_BURST_H
#define ORAVO_CAPI_BURST_H

/** @file
 * Images from bursts, by any pipeline and any parameter of it: the C interface for hosts with threads of their own.
 *
 *     oravo_burst_options options;
 *     oravo_burst_options_init(&options, sizeof options);
 *     options.frames = 8;
 *     oravo_burst burst = oravo_burst_create(640, 480, &options);
 *     for (int i = 0; i < 8; ++i) oravo_burst_add(burst, frames[i], 0);
 *     if (oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE) == ORAVO_BURST_OK)
 *         oravo_burst_image(burst, image, 0);
 *     else
 *         fprintf(stderr, "no image: %s\n", oravo_burst_error(burst));
 *     oravo_burst_destroy(burst);
 *
 * A burst holds the latest frames of one size: once it holds as many as the options say, the next frame displaces the
 * oldest. So a live camera adds each frame and reconstructs, again and again, and memory stays as it is.
 *
 * Calls: every function may be called with any argument: an invalid one yields a status and a text, and changes nothing.
 * What cannot be checked is a pointer that is not null: it has to point to as much memory as the function reads or
 * writes. C++ exceptions never leave a function; one that leaves a callback ends the call with ORAVO_BURST_FAILED.
 *
 * Output: nothing is printed. What there is to say goes to the log callback of the options, if there is one. (OpenCV writes
 * a line on standard error when it runs out of memory; hosts may take it by cv::redirectError() in C++.)
 *
 * Threads: different bursts may be used from different threads at once, without a lock around the calls. One burst
 * serves one call at a time; a second one is refused with ORAVO_BURST_BUSY, but for oravo_burst_cancel(),
 * oravo_burst_destroy(), oravo_burst_error() and oravo_burst_error_code(), which may be called at any time. The
 * callbacks run on the thread of the call that they belong to, and may make these four calls on their own burst
 * and any call on others. The library starts no thread unless the options ask for more than one; OpenCV, which aligns
 * frames for the float, vector and reference pipelines, may (cv::setNumThreads(1) in C++ keeps it from that). After fork()
 * the child has the bursts of its parent, as copies; if the parent had threads at work, one makes the child's images. A burst
 * that another thread was in a call on at that moment stays busy in the child, which can do no more than destroy it.
 *
 * Images are row-major. A pitch is the number of bytes from one row to the next: 0 for dense rows, else at least the
 * bytes of a row, or at most their negative for images that lie upside down in memory, where the pointer names the
 * first row of the image, which is the last in memory. Rows need not be aligned. Pixel i of the reference frame lies
 * at f i + (f - 1) / 2 of an image enlarged by f.
 */

#include <stddef.h>
#include <stdint.h>

#include "support/Export.h"
#include "support/Version.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A burst, by an opaque number: never 0, never given out twice, and not to be guessed, so that a burst which
 * was destroyed, or a number from elsewhere, is refused with ORAVO_BURST_STALE and never taken for another burst. */
typedef uint64_t oravo_burst;

/** What functions return. Failures are below 0 and leave a text, see oravo_burst_error(). */
enum oravo_burst_status {
    /** Done. */
    ORAVO_BURST_OK = 0,
    /** There is no such burst, or it was destroyed. Create one, and drop handles that were destroyed. */
    ORAVO_BURST_STALE = -1,
    /** An argument or option is invalid. The text names it with its value and its bounds: correct the call. */
    ORAVO_BURST_ARGUMENT = -2,
    /** There is no image: nothing was reconstructed since the last frame was added, or that failed. Call
     * oravo_burst_reconstruct(), whose failure says why. */
    ORAVO_BURST_NO_RESULT = -3,
    /** More memory than the machine, its control group or the options allow. Take smaller frames or fewer of them,
     * raise most_memory, or destroy other bursts and try again. */
    ORAVO_BURST_MEMORY = -4,
    /** oravo_burst_cancel() or the progress callback ended the run. Frames are kept; it may be started again. */
    ORAVO_BURST_CANCELLED = -5,
    /** An error inside the library or a callback, which the text describes. Report it; the burst may be used on. */
    ORAVO_BURST_FAILED = -6,
    /** Another call on this burst is under way, on another thread or around this callback. Wait for its end, or give
     * each thread a burst of its own. */
    ORAVO_BURST_BUSY = -7,
    /** The pipeline does not give this, or the options left it out. Choose another pipeline or other options. */
    ORAVO_BURST_UNAVAILABLE = -8,
    /** The frame, or one of the frames held, cannot be used; the text says which and why. By oravo_burst_add(): it was
     * not taken in; go on with the next one. By oravo_burst_reconstruct(): add other frames, or use the precise
     * pipeline, which leaves such frames out. */
    ORAVO_BURST_FRAME = -9,
    /** Some frame shows no detail that the float, vector or reference pipeline could follow into it, or no pixel of the image
     * has a value. See that the lens is focused and the values lie within the limits, add other frames, or use the precise
     * pipeline. */
    ORAVO_BURST_NO_DETAIL = -10
};

/** The ways from frames to an image. */
enum oravo_burst_pipeline {
    ORAVO_BURST_PRECISE =
        0, /**< the best image, of up to 64 frames that may turn, zoom and drift; seconds an image */
    ORAVO_BURST_FLOAT = 1,  /**< real time; frames that are displaced only */
    ORAVO_BURST_VECTOR = 2, /**< as float, by vector operations; repairs no bad pixels */
    ORAVO_BURST_REFERENCE =
        3 /**< the plain method that the others are compared with; its reference is the newest frame */
};

/** How the float pipeline aligns frames; the others have one way each. */
enum oravo_burst_registration {
    ORAVO_BURST_OWN_REGISTRATION = 0, /**< the pipeline's own */
    ORAVO_BURST_CORNERS = 1,          /**< tracked corners: float, vector */
    ORAVO_BURST_PHASE = 2             /**< phase correlation, for frames of even width: float, reference */
};

/** What a line of the log is. */
enum oravo_burst_level {
    ORAVO_BURST_WARNING = 1, /**< something that may spoil an image, or a frame that was refused */
    ORAVO_BURST_INFO = 2     /**< what was done, and how long it took */
};

/** The reference that the pipeline takes by itself: the newest frame but three, or the newest for
 * ORAVO_BURST_REFERENCE. */
#define ORAVO_BURST_OWN_REFERENCE (-1)

/** Options of a burst. Let oravo_burst_options_init() fill in the defaults and change what should differ. An option that the
 * chosen pipeline does not have is refused unless it keeps its default. */
typedef struct oravo_burst_options {
    /** Size of the structure that the library filled. Leave it alone. */
    size_t size;
    /** An oravo_burst_pipeline. Default: ORAVO_BURST_PRECISE. */
    int pipeline;
    /** An oravo_burst_registration, for the float pipeline. Default: ORAVO_BURST_OWN_REGISTRATION. */
    int registration;
    /** The most frames that are held, 1 to 64. Default: 0, which stands for 12 (precise) or 5 (the others). */
    int frames;
    /** Enlargement: 1 to 4 for the precise pipeline, 2 for the others. Default: 2. */
    int factor;
    /** Blur of the camera, optics and pixel together, as the standard deviation of a Gaussian in pixels of the image at
     * factor 2, each of which is half a pixel of the frames: 0.3 to 2 for the precise pipeline, above 0 and up to 100 for
     * the others. Default: 0.683. */
    float psf_sigma;
    /** Precise pipeline: side of the square that a pixel averages over, in the unit of psf_sigma, 0 to 2, where 2 is a pixel
     * without gaps. 0 takes psf_sigma for the whole blur. With a square, psf_sigma is the blur of the optics alone, and its
     * bounds hold for sqrt(psf_sigma^2 + psf_box^2 / 12). Default: 0. */
    float psf_box;
    /** Values below are defects, as are NaN, infinities and pixels with a status code. The float and the reference
     * pipeline take limits within [-32768, 32767]; the vector pipeline takes all values as they are, and refuses other limits.
     * Default: -274. */
    float lowest;
    /** Values above are defects; see lowest. Default: 5000. */
    float highest;

    /** Precise pipeline: weight of the prior in units of the scene's contrast. Default: 0, which finds the best one by
     * withheld pixels. */
    double smoothness;
    /** Precise pipeline: leave out sensor pixels that do not follow the scene, and impulses. Default: 1. */
    int find_dead_pixels;
    /** Precise pipeline: estimate the sensor's fixed pattern and subtract it. Default: 1. */
    int find_pattern;
    /** Precise pipeline: estimate standard deviations, which takes a tenth of the time. Default: 1. */
    int deviation;

    /** Other pipelines: weight of the data against total variation, at least 1. Default: 400. */
    float tv_weight;
    /** Other pipelines: residual, relative to the right-hand side, at which the solver stops; above 1e-6. Default: 0.007. */
    float relative_residue;
    /** Other pipelines: the largest disagreement with the reference at which a pixel is used; above 0, at most 1. Default:
     * 0.0001. */
    float registration_error;
    /** Other pipelines: the most steps of the solver, at least 1. Default: 8. */
    int iterations;

    /** The most bytes that the burst may take, its frames, images and a run's scratch together. oravo_burst_create() refuses
     * a burst that would take more. Default: 0, no limit but the machine's. */
    uint64_t most_memory;
    /** Called by oravo_burst_reconstruct() with the share that is done, 0 to 1, which never falls. Returning 0 cancels.
     * Default: null, no callback. */
    int (*progress)(double share, void* user);
    /** Gets each line of the log: an oravo_burst_level, and a text that is valid until the callback returns. Default: null,
     * silence. */
    void (*log)(int level, const char* text, void* user);
    /** Handed to the callbacks. Default: null. */
    void* user;

    /** Precise and float pipelines: threads that share the work on one image, 1 to 64; 0 stands for one on each processor that
     * the process may use. Images have the same bits for every number. Default: 1. */
    int threads;
    /** Precise pipeline: dead pixels found for one image stay left out of later ones until they follow the scene, so an image
     * depends on those before it; oravo_burst_clear() forgets them. 0 makes each image from its frames alone. Default: 1. */
    int keep_dead_pixels;
} oravo_burst_options;

/** What is known about a frame after a run. What the pipeline does not give is NaN. */
typedef struct oravo_burst_frame {
    int used;         /**< 1 when the frame takes part, else 0 */
    double dx;        /**< displacement in pixels of the frames, to the right: frame(p + d) = reference(p) */
    double dy;        /**< the same, downwards; both at the frame's centre */
    double dx_error;  /**< standard error of dx; precise */
    double dy_error;  /**< standard error of dy; precise */
    double linear[4]; /**< linear part of the motion about the centre, row by row; 0 for a translation */
    double gain; /**< value - m = gain (reference - m) + offset, with m the reference's mean value; else 1 */
    double offset; /**< see gain; in the frames' unit; else 0 */
    double
        misfit; /**< standard deviation of what the image leaves unexplained, in the frames' unit; precise */
    double
        weight; /**< mean weight of the frame's pixels, or the share of pixels that agree, 0 to 1; not vector */
} oravo_burst_frame;

/** Sets all options to their defaults.
 * @param options  receives them
 * @param size     sizeof(oravo_burst_options); no more bytes are written. Hosts that were built with an older or newer
 *                 header than the library are served as far as both know the options
 * @return ORAVO_BURST_OK, or ORAVO_BURST_ARGUMENT for a null pointer or a size that is too small */
ORAVO_EXPORT int oravo_burst_options_init(oravo_burst_options* options, size_t size);

/** The blur of a camera that is described in free text, as SuperResolution_setCameraAndLensType() takes it: one of the
 * model numbers 101 to 108 (the lowest found counts), and "FOV" followed by the field of view.
 * @return what to set psf_sigma of the pipelines other than precise to; 0.683 for a text without both, and for null */
ORAVO_EXPORT float oravo_burst_camera_blur(const char* description);

/** How many bytes a burst would take at most, by what runs of all sizes were measured to take.
 * @return the bytes, or 0 when oravo_burst_create() would refuse the arguments, for a reason other than memory;
 *         oravo_burst_error(0) then says why */
ORAVO_EXPORT uint64_t oravo_burst_memory(int width, int height, const oravo_burst_options* options);

/** Makes an empty burst.
 * @param width    of the frames in pixels: at least 8 (precise), 3 (corners), or 2 and even (phase)
 * @param height   of the frames in pixels: at least 8 (precise), 3 (corners), or 2 (phase)
 * @param options  null for the defaults; copied
 * @return the burst, or 0: oravo_burst_error(0) then says why, oravo_burst_error_code(0) by which status:
 *         ORAVO_BURST_ARGUMENT or ORAVO_BURST_MEMORY */
ORAVO_EXPORT oravo_burst oravo_burst_create(int width, int height, const oravo_burst_options* options);

/** Frees a burst. A call that is under way on it is cancelled, and frees the burst when it ends. May be called until the
 * very end of the process, from atexit() handlers as well.
 * @return ORAVO_BURST_OK or ORAVO_BURST_STALE */
ORAVO_EXPORT int oravo_burst_destroy(oravo_burst burst);

/** Names the pixels of frames to come that hold no value: the sensor's known bad pixels, or what a host masks.
 * @param burst  of oravo_burst_create()
 * @param mask   height rows of width bytes, copied: 0 where a pixel is good; null where all are, as at first
 * @param pitch  see above
 * @return ORAVO_BURST_UNAVAILABLE for the vector pipeline, which repairs no bad pixels */
ORAVO_EXPORT int oravo_burst_set_bad_pixels(oravo_burst burst, const unsigned char* mask, ptrdiff_t pitch);

/** Takes in a copy of the next frame. The image from before is dropped; where the burst is full, so is the oldest frame.
 * @param burst   of oravo_burst_create()
 * @param pixels  height rows of width values. NaN, infinities, status codes (SuperResolutionBadPixelHandling.h) and
 *                values beyond the limits are defects
 * @param pitch   see above
 * @return ORAVO_BURST_FRAME when it has more defects than the float or reference pipeline can repair */
ORAVO_EXPORT int oravo_burst_add(oravo_burst burst, const float* pixels, ptrdiff_t pitch);

/** The same for unsigned 16-bit counts, whose values are scale * count + offset.
 * @param burst   of oravo_burst_create()
 * @param counts  height rows of width counts
 * @param pitch   see above
 * @param scale   of one count, in the unit of the image; finite, and not 0
 * @param offset  value of the count 0; finite */
ORAVO_EXPORT int oravo_burst_add_u16(oravo_burst burst, const uint16_t* counts, ptrdiff_t pitch, double scale,
                                     double offset);

/** The same for signed 16-bit counts. */
ORAVO_EXPORT int oravo_burst_add_i16(oravo_burst burst, const int16_t* counts, ptrdiff_t pitch, double scale,
                                     double offset);

/** How many frames are held.
 * @return their number, or a status below 0 */
ORAVO_EXPORT int oravo_burst_frames(oravo_burst burst);

/** Drops all frames and the image; bad pixels and options stay. */
ORAVO_EXPORT int oravo_burst_clear(oravo_burst burst);

/** Reconstructs one image of the frames that are held, at least one.
 * @param burst      of oravo_burst_create()
 * @param reference  the frame on whose grid the image lies, counted back from the newest, which is 0; below `frames` of
 *                   the options, and while fewer frames are held, the oldest stands for those that are missing.
 *                   ORAVO_BURST_OWN_REFERENCE for the pipeline's own
 * @return ORAVO_BURST_OK; ORAVO_BURST_FRAME when a frame moved by half the frame height or more (not precise), or the
 *         reference has no value at all (precise); ORAVO_BURST_NO_DETAIL; ORAVO_BURST_CANCELLED;
 *         ORAVO_BURST_MEMORY; ORAVO_BURST_ARGUMENT. The figure "trusted" and oravo_burst_warning() say whether an image
 *         is to be doubted */
ORAVO_EXPORT int oravo_burst_reconstruct(oravo_burst burst, int reference);

/** Ends the reconstruction that is under way on the burst, if there is one, with ORAVO_BURST_CANCELLED: the precise
 * pipeline within a step of its solver, the others between registration and solver. Does not wait for it. */
ORAVO_EXPORT int oravo_burst_cancel(oravo_burst burst);

/** The size of images: factor times that of the frames. A null pointer takes none. */
ORAVO_EXPORT int oravo_burst_image_size(oravo_burst burst, int* width, int* height);

/** Copies the image, in the frames' unit. Pixels that no frame has a value for carry a status code
 * (SuperResolutionBadPixelHandling.h): as floats they are next to 0.
 * @param burst  of oravo_burst_create()
 * @param out    factor height rows of factor width values
 * @param pitch  of out; see above */
ORAVO_EXPORT int oravo_burst_image(oravo_burst burst, float* out, ptrdiff_t pitch);

/** Copies the standard deviation of the noise of each pixel of the image, in its unit; NaN where it has no value.
 * ORAVO_BURST_UNAVAILABLE but for the precise pipeline with `deviation`. */
ORAVO_EXPORT int oravo_burst_deviation(oravo_burst burst, float* out, ptrdiff_t pitch);

/** Copies how many frames' worth of trusted values each pixel of the image rests on: for the float and reference
 * pipelines, how many frames agree with the reference there. Not of the vector pipeline. */
ORAVO_EXPORT int oravo_burst_weight(oravo_burst burst, float* out, ptrdiff_t pitch);

/** Copies the fixed pattern of the sensor that was subtracted, of the frames' size and in their unit; zeros where none was
 * found. ORAVO_BURST_UNAVAILABLE but for the precise pipeline. */
ORAVO_EXPORT int oravo_burst_pattern(oravo_burst burst, float* out, ptrdiff_t pitch);

/** Copies a 1 for each sensor pixel that was found not to follow the scene, a 0 for all others, of the frames' size.
 * ORAVO_BURST_UNAVAILABLE but for the precise pipeline. */
ORAVO_EXPORT int oravo_burst_dead_pixels(oravo_burst burst, unsigned char* out, ptrdiff_t pitch);

/** Copies where a frame agrees with the reference, on the reference's grid: 1 where it does, else 0, of the frames'
 * size. ORAVO_BURST_UNAVAILABLE but for the float and reference pipelines.
 * @param burst  of oravo_burst_create()
 * @param index  of the frame, 0 for the oldest
 * @param out    height rows of width bytes
 * @param pitch  of out; see above */
ORAVO_EXPORT int oravo_burst_mask(oravo_burst burst, int index, unsigned char* out, ptrdiff_t pitch);

/** Copies what is known about a frame.
 * @param burst  of oravo_burst_create()
 * @param index  of the frame, 0 for the oldest
 * @param out    receives it
 * @param size   sizeof(oravo_burst_frame); no more bytes are written */
ORAVO_EXPORT int oravo_burst_frame_info(oravo_burst burst, int index, oravo_burst_frame* out, size_t size);

/** Copies a figure of the image.
 * @param burst of oravo_burst_create()
 * @param name  one of
 *              "frames", how many were held; "used_frames", how many of them take part; "reference", the index of the
 *              reference, 0 for the oldest; "seconds", the time of the run; "warnings", see oravo_burst_warning();
 *              and of the precise pipeline, in the frames' unit:
 *              "contrast", the reference's standard deviation; "noise", that of the frames' noise; "smoothness", weight
 *              of the prior that was used; "withheld_error", "bicubic_error", root mean square errors of predicting
 *              pixels that were withheld, by the image and by bicubic enlargement of the reference, 0 where there
 *              were none; "withheld_pixels", how many; "gain_db", by how many decibels the image predicts better;
 *              "trusted", 1 when the image may be taken for better than bicubic enlargement, else 0; "leaning", 0 to 1,
 *              by how much the image fell back to what the reference alone shows; "share_on_reference", share of the
 *              image that the other frames lend less than half a frame's weight; "dead_pixels", how many were found;
 *              and of the others:
 *              "resolution_gain", 1 + the mean over all pixels of (c - 1) / 4 with c frames that agree there;
 *              "registration_seconds", "solver_seconds", what the time was spent on (not vector)
 * @param out   receives the figure
 * @return ORAVO_BURST_UNAVAILABLE for a figure of another pipeline, ORAVO_BURST_ARGUMENT for any other name */
ORAVO_EXPORT int oravo_burst_figure(oravo_burst burst, const char* name, double* out);

/** The names of the figures, one by one.
 * @return the name with this index, from 0, valid for the life of the process; null beyond the last */
ORAVO_EXPORT const char* oravo_burst_figure_name(int index);

/** Copies what there is to doubt about the image: sentences for people, without a line end, the gravest first.
 * @param burst  of oravo_burst_create()
 * @param index  0 to the figure "warnings" less 1
 * @param text   receives the sentence, cut where it does not fit, and a terminating zero
 * @param size   of text, at least 1; 512 hold any */
ORAVO_EXPORT int oravo_burst_warning(oravo_burst burst, int index, char* text, size_t size);

/** The status of the latest call on this burst that failed, ORAVO_BURST_OK when none did, ORAVO_BURST_STALE for a burst
 * that does not exist. For 0: of the calling thread's latest call that failed without a burst, such as
 * oravo_burst_create(). Calls that succeed leave it as it is. */
ORAVO_EXPORT int oravo_burst_error_code(oravo_burst burst);

/** The text that goes with oravo_burst_error_code(), "" without a failure. Never null; valid until the calling thread
 * calls this function again. */
ORAVO_EXPORT const char* oravo_burst_error(oravo_burst burst);

#ifdef __cplusplus
}
#endif

#endif
