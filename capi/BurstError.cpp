#include "capi/BurstError.h"

#include <exception>
#include <new>
#include <opencv2/core.hpp>

#include "support/Exception.h"

namespace oravo::capi {
namespace {

int statusOf(Exception::Kind kind) {
    switch (kind) {
        case Exception::Kind::cancelled:
            return ORAVO_BURST_CANCELLED;
        case Exception::Kind::outOfMemory:
            return ORAVO_BURST_MEMORY;
        case Exception::Kind::badArgument:
            return ORAVO_BURST_ARGUMENT;
        case Exception::Kind::tooManyDefects:
        case Exception::Kind::tooLargeDisplacement:
        case Exception::Kind::infiniteValues:
            return ORAVO_BURST_FRAME;
        default:
            return ORAVO_BURST_FAILED;
    }
}

}  // namespace

BurstError errorOfException() noexcept {
    BurstError error;
    try {
        throw;
    } catch (const std::bad_alloc&) {
        error.set(ORAVO_BURST_MEMORY, "Out of memory.");
    } catch (const Exception& exception) {
        error.set(statusOf(exception.kind()), exception.message().c_str());
    } catch (const cv::Exception& exception) {
        const bool memory = exception.code == cv::Error::StsNoMem;
        error.set(memory ? ORAVO_BURST_MEMORY : ORAVO_BURST_FAILED,
                  memory ? "Out of memory." : exception.err.c_str());
    } catch (const BurstFailure& failure) {
        error.set(failure.status, failure.what());
    } catch (const std::exception& exception) {
        error.set(ORAVO_BURST_FAILED, exception.what());
    } catch (const char* text) {
        error.set(ORAVO_BURST_ARGUMENT, text);
    } catch (...) {
        error.set(ORAVO_BURST_FAILED, "Unknown exception.");
    }
    return error;
}

}  // namespace oravo::capi
