#ifndef ORAVO_TESTS_ALLOCATOR_H
#define ORAVO_TESTS_ALLOCATOR_H

#include <cstddef>

/// The C allocator of the whole process, watched: tests that link Allocator.cpp see every allocation, OpenCV's and the
/// standard library's included, and can make it fail.
namespace oravo::test::allocator {

/// Called before every allocation from arm() to disarm(), and not for what it allocates itself. False makes the
/// allocation fail.
using Hook = bool (*)();
void arm(Hook hook);
void disarm();

/// Bytes allocated at this moment.
long liveBytes();

}  // namespace oravo::test::allocator

#endif
