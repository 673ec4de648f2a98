#ifndef ORAVO_CAPI_BURSTERROR_H
#define ORAVO_CAPI_BURSTERROR_H

#include <cstdio>
#include <stdexcept>

#include "capi/Burst.h"

namespace oravo::capi {

/// The latest failure. Of fixed size and without a destructor, so that it can be written when memory has run out, and read
/// on threads that are ending.
struct BurstError {
    int code = ORAVO_BURST_OK;
    char text[512] = "";

    int set(int status, const char* words) noexcept {
        code = status;
        std::snprintf(text, sizeof text, "%s", words);
        return status;
    }
};

/// Thrown for ORAVO_BURST_FRAME.
struct UnusableFrame : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The status and the text of the exception that is being handled.
BurstError errorOfException() noexcept;

}  // namespace oravo::capi

#endif
