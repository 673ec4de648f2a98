#ifndef ORAVO_CAPI_SUPERRESOLUTION_H
#define ORAVO_CAPI_SUPERRESOLUTION_H

/** @file
 * Multi-frame super-resolution of infrared frames: the C interface.
 *
 * A session takes single-channel frames of one size, one at a time, and holds the last five. From the fifth
 * frame on, every frame taken in yields a fresh image of twice the width and twice the height. The usual
 * order of calls:
 *
 *     init -> (setCameraAndLensType, setReferenceFrame) -> addImage, again and again -> from the fifth on
 *     getSuperresolutionImage after each -> release
 *
 * Images are dense, row-major, 32-bit float: height rows of width columns of temperature or radiance values,
 * which may carry status codes for pixels without a value
 * (vision/superresolution/SuperResolutionBadPixelHandling.h). Values outside [-274, 5000] count as defective;
 * for raw counts see capi/SessionValues.h.
 *
 * A handle is a small non-negative integer. Released handles are given out again, the lowest first.
 *
 * Status codes:
 *
 *         0  success
 *        -1  init: the session could not be set up
 *        -2  addImage: a defective pixel needed a fallback value; the image is used all the same
 *        -3  addImage: at least half of some frame's pixels could not be used; a result is delivered
 *        -4  addImage: the image has not enough structure (its range is below 2); it is used all the same
 *        -5  fewer than 5 images have been added
 *      -999  invalid handle, null pointer, unknown image size, or an error inside the library
 *
 * Every failure that is reported replaces the one error message of the process (by an empty one when there is
 * no memory left for it); nothing else clears it:
 *
 *     char message[400] = "";
 *     int session = SuperResolution_init(640, 480);
 *     if (session < 0) {
 *         SuperResolution_getErrorMessage(message, (int)sizeof message - 1);
 *         fprintf(stderr, "no session: %s\n", message);
 *     }
 *
 * Threads: sessions and message are shared by the whole process and are not guarded. Use the interface from one
 * thread at a time, init too: two calls of it at once may return the same handle. The library starts no thread,
 * but OpenCV, which it calls, starts a pool of its own at the first frame; cv::setNumThreads(1) (C++) keeps it
 * from that.
 *
 * Memory: a session holds about 330 bytes for each pixel of a frame, and 1 MB: 104 MB for 640 x 480. Sessions may be
 * closed at any time until the process ends, also by its atexit handlers and the destructors of its globals.
 *
 * Standard output: every reconstruction prints a report of six lines. A session that is opened while the environment
 * variable ORAVO_REPORT is "off" prints nothing. Switch the report off where standard output is a data file, or a pipe
 * whose reader may stop (which blocks the writer) or be gone (SIGPIPE ends the process).
 */

#include "support/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Opens a session for frames of width columns and height rows. Returns its handle, or -1 when the library
 * refuses or the memory does not suffice (the error message then says why).
 */
ORAVO_EXPORT int SuperResolution_init(int width, int height);

/** Closes a session and frees what it holds. 0 or -999. */
ORAVO_EXPORT int SuperResolution_release(int handle);

/**
 * Chooses the frame that the others are registered to and whose view the enlarged image shows, counted back
 * from the newest: 0 to 4, 3 at first. 0 or -999. An index outside that range leaves as a C++ exception, a C string
 * (const char*), which ends a program in C: check it first.
 */
ORAVO_EXPORT int SuperResolution_setReferenceFrame(int handle, int index);

/**
 * Describes camera and lens in free text, from which the sensor's point-spread function is chosen: one of the
 * model numbers 101 to 108 (the lowest found counts), and "FOV" followed by the field of view. A description
 * without both selects the default; it may not be null (a C++ exception). Always 0, and sets no message; a handle
 * that names no session is ignored.
 */
ORAVO_EXPORT int SuperResolution_setCameraAndLensType(int handle, const char* description);

/**
 * Takes in one frame, width x height values, which are copied; from the fifth on, reconstructs the enlarged
 * image. 0, -2, -3, -4 or -999; of several conditions -3 is reported before -2 before -4. A registration that
 * finds no corner to follow leaves the enlarged image as it was, and a frame that moved by more than a tenth
 * of the frame height is reconstructed all the same; neither is reported.
 *
 * One frame with pixels far hotter or colder than its scene, such as 3 x 3 pixels at 1500 in a calm one, can
 * leave a session in that state permanently: the grey levels that corners are followed in span the range of such a
 * frame until another one leaves it. 0 is then returned for every good frame. A host notices by an enlarged image
 * that is bit for bit the one before although the frames differ, and opens a new session.
 *
 * An image that ends in -999 with an error inside the library keeps its place among the last five. One with
 * more than 10 defective pixels that could not be repaired is not counted as added.
 */
ORAVO_EXPORT int SuperResolution_addImage(int handle, const float* image);

/**
 * Writes the size of the enlarged image, which is fixed at init; a null pointer takes none. 0; -5 when
 * fewer than 5 images have been added (an image is then reconstructed from those there are); -999. Unless the
 * handle is invalid, the size is written whatever the status.
 */
ORAVO_EXPORT int SuperResolution_queryOutputImageSize(int handle, int* width, int* height);

/**
 * Copies the latest enlarged image, 2 height rows of 2 width columns, into out. 0; -5 when fewer than 5
 * images have been added (the copy is then zeros, or what queryOutputImageSize reconstructed); -999.
 */
ORAVO_EXPORT int SuperResolution_getSuperresolutionImage(int handle, float* out);

/**
 * Copies the error message into buffer, at most length bytes: padded with zero bytes when it is shorter,
 * without a terminating zero byte when it has length bytes or more. Without a buffer, or with a length of 0
 * or less, nothing is written. Always 0.
 */
ORAVO_EXPORT int SuperResolution_getErrorMessage(char* buffer, int length);

#ifdef __cplusplus
}
#endif

#endif
