#ifndef ORAVO_SUPPORT_VERSION_H
#define ORAVO_SUPPORT_VERSION_H

/** @file
 * The version of the headers, as macros, and that of the library in use, as a function, in C99 and in C++.
 *
 * Before 1.0, versions with the same major and minor number have the same interface; from then on, those with the
 * same major number. A host that loads the library at run time compares oravo_version() with what it was built for;
 * the loader does so by the library's soname.
 */

#include "support/Export.h"

#define ORAVO_VERSION_MAJOR 0 /**< the headers' first number */
#define ORAVO_VERSION_MINOR 1 /**< the headers' second number */
#define ORAVO_VERSION_PATCH 0 /**< the headers' third number */

/** One number for comparisons by the preprocessor: 10203 for version 1.2.3. */
#define ORAVO_VERSION_NUMBER (ORAVO_VERSION_MAJOR * 10000 + ORAVO_VERSION_MINOR * 100 + ORAVO_VERSION_PATCH)

#ifdef __cplusplus
extern "C" {
#endif

/** The version of the library in use as "MAJOR.MINOR.PATCH", valid for the life of the process. */
ORAVO_EXPORT const char* oravo_version(void);

#ifdef __cplusplus
}

namespace oravo {

/// The version of the library in use as "MAJOR.MINOR.PATCH", valid for the life of the process.
ORAVO_EXPORT const char* version() noexcept;

}  // namespace oravo
#endif

#endif
