#ifndef ORAVO_TESTS_RECORDEDBURSTS_H
#define ORAVO_TESTS_RECORDEDBURSTS_H

#include <string>

#include "tests/TestScenes.h"

/// Bursts that cameras have recorded, in the folder that the environment variable ORAVO_TEST_DATA names.
namespace oravo::test {

/// Why tests on recordings have to be skipped; empty when they can run.
std::string whyNoRecordings();

/// Where the files of a burst lie.
std::string recordingFolder(const std::string& burst);

/// Frame i of a burst. Throws std::runtime_error when it cannot be read.
Image recordedFrame(const std::string& burst, int i);

/// Frames 0 to 4 of a burst.
std::vector<Image> recordedWindow(const std::string& burst);

}  // namespace oravo::test

#endif
