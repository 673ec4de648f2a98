#ifndef ORAVO_SUPPORT_EXPORT_H
#define ORAVO_SUPPORT_EXPORT_H

/* Everything is compiled with hidden visibility. ORAVO_EXPORT puts a class or function on the library's
 * boundary; ORAVO_HIDDEN hides a class that is nested in an exported one, which would otherwise be exported with it. */
#if defined(__GNUC__) || defined(__clang__)
#define ORAVO_EXPORT __attribute__((visibility("default")))
#define ORAVO_HIDDEN __attribute__((visibility("hidden")))
#else
#define ORAVO_EXPORT
#define ORAVO_HIDDEN
#endif

#endif
