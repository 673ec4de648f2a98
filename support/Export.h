#ifndef ORAVO_SUPPORT_EXPORT_H
#define ORAVO_SUPPORT_EXPORT_H

/* Everything is compiled with hidden visibility; this mark puts a class or function on the library's
 * boundary. */
#if defined(__GNUC__) || defined(__clang__)
#define ORAVO_EXPORT __attribute__((visibility("default")))
#else
#define ORAVO_EXPORT
#endif

#endif
