#ifndef ORAVO_CAPI_SESSIONVALUES_H
#define ORAVO_CAPI_SESSIONVALUES_H

/** @file
 * What the values of a session's frames are: an addition to capi/SuperResolution.h, under the same rules.
 */

#include "support/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * States whether frames to come hold raw counts: the plausible range is then that of signed 16-bit numbers,
 * [-32768, 32767], instead of [-274, 5000]. Values outside the range count as defective. Unsigned counts are brought
 * into it by subtracting 32768.
 *
 * @param handle  of a session
 * @param counts  0 (as at first) for temperatures or radiances, anything else for counts
 * @return 0, or -999 with the message "Context invalid." for a handle that names no session
 */
ORAVO_EXPORT int oravo_setDataIsCounts(int handle, int counts);

#ifdef __cplusplus
}
#endif

#endif
