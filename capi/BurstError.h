#ifndef ORAVO_CAPI_BURSTERROR_H
#define ORAVO_CAPI_BURSTERROR_H

#include <cstdio>
#include <stdexcept>
#include <string>

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

/// Thrown for failures that exceptions of the library do not tell apart.
struct BurstFailure : std::runtime_error {
    BurstFailure(int code, const std::string& words) : std::runtime_error(words), status(code) {}
    int status;
};

/// The status and the text of the exception that is being handled.
BurstError errorOfException() noexcept;

}  // namespace oravo::capi

#endif
