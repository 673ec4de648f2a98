#include "support/Version.h"

#define ORAVO_TEXT_OF(token) #token
#define ORAVO_TEXT(macro) ORAVO_TEXT_OF(macro)

const char* oravo_version() {
    return ORAVO_TEXT(ORAVO_VERSION_MAJOR) "." ORAVO_TEXT(ORAVO_VERSION_MINOR) "." ORAVO_TEXT(
        ORAVO_VERSION_PATCH);
}

const char* oravo::version() noexcept {
    return oravo_version();
}
