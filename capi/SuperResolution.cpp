#include "capi/SuperResolution.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "capi/CameraDescription.h"
#include "capi/SessionTable.h"
#include "capi/SessionValues.h"
#include "support/Exception.h"
#include "vision/superresolution/Defaults.h"
#include "vision/superresolution/detail/Status.h"

namespace {

using oravo::capi::Pipeline;
using oravo::capi::Session;
using oravo::capi::SessionTable;
using oravo::vision::detail::Buffer;
namespace defaults = oravo::vision::defaults;
namespace status = oravo::vision::status;

/// An object made at the first call that is never destroyed. Hosts close sessions in destructors of their
/// globals and in atexit handlers, which run after the destructors of all objects that were made later.
template <class Object>
Object& everlasting() {
    alignas(Object) static unsigned char place[sizeof(Object)];
    static Object* const object = new (place) Object();
    return *object;
}

SessionTable& sessions() {
    return everlasting<SessionTable>();
}

std::string& errorMessage() {
    return everlasting<std::string>();
}

/// Sets the error message, which stays empty when there is no memory left for it.
int fail(int result, const char* message, const char* more = "") noexcept {
    try {
        errorMessage() = message;
        errorMessage() += more;
    } catch (...) {
        errorMessage().clear();
    }
    return result;
}

Session* checkedSession(int handle) {
    Session* session = sessions().find(handle);
    if (session == nullptr) fail(status::error, "Context invalid.");
    return session;
}

/// Runs an action that returns a status; what it throws becomes the error message and -999.
template <class Action>
int guarded(Action action) {
    try {
        return action();
    } catch (const oravo::Exception& e) {
        return fail(status::error, e.what());
    } catch (const cv::Exception& e) {
        return fail(status::error, "cv::Exception: ", e.err.c_str());
    } catch (...) {
        return fail(status::error, "Unknown exception in addImage()");  // from the query as well
    }
}

bool hasEnoughStructure(const cv::Mat& image, double threshold) {
    double minimum = 0.0;
    double maximum = 0.0;
    cv::minMaxLoc(image, &minimum, &maximum);
    return maximum - minimum >= threshold;  // a NaN range has none
}

int addImage(Session& session, const float* image) {
    int result = status::ok;
    const cv::Mat frame(session.height, session.width, CV_32F, const_cast<float*>(image));
    if (session.log.isOpen()) session.log << frame;
    if (!hasEnoughStructure(frame, static_cast<double>(session.pipeline->getMinStructureThreshold()))) {
        result = fail(status::notEnoughStructure, "  image has not enough structure");
    }
    const int intake = session.pipeline->addFrame(image);
    ++session.imageCount;
    float quality = 0.0f;
    if (session.imageCount >= defaults::kWindowSize)
        quality = session.pipeline->computeSR(session.output.ptr<float>());
    if (intake == status::fallbackPixel || isStatus(quality, status::fallbackPixel))
        result = status::fallbackPixel;
    if (isStatus(quality, status::tooFewValidPixels)) result = status::tooFewValidPixels;
    return result;
}

}  // namespace

int SuperResolution_init(int width, int height) {
    const auto outOfMemory = [=] {
        char message[80];
        std::snprintf(message, sizeof message, "Not enough memory for a session of %d x %d pixels.", width,
                      height);
        return fail(status::initFailed, message);
    };
    try {
        // Read for hosts that set it; this version opens no log.
        if (const char* logFile = std::getenv("OVLIB_LOG_FILE")) std::string discarded(logFile);
        const int handle = sessions().findFree();
        auto pipeline = std::make_unique<Pipeline>(width, height, defaults::kWindowSize, defaults::kFactor);
        pipeline->setReferenceIndex(defaults::kReferenceIndex);
        pipeline->setWeightTV(defaults::kWeightTV);
        pipeline->setRegError(defaults::kRegError);
        pipeline->setRelativeResidue(defaults::kRelativeResidue);

        Session& session = sessions()[handle];
        const auto doubled = [](int n) {
            return static_cast<int>(static_cast<float>(n) * defaults::kFactor);
        };
        session.pixels = Buffer<float>(static_cast<std::size_t>(pipeline->getOutputSize()));
        session.output = cv::Mat_<float>(doubled(height), doubled(width), session.pixels.data());
        session.width = width;
        session.height = height;
        session.imageCount = 0;
        session.pipeline = std::move(pipeline);
        return handle;
    } catch (const oravo::Exception& e) {
        return fail(status::initFailed, e.what());
    } catch (const std::bad_alloc&) {
        return outOfMemory();
    } catch (const cv::Exception& e) {
        if (e.code == cv::Error::StsNoMem) return outOfMemory();
        throw;
    }
}

int SuperResolution_release(int handle) {
    Session* session = checkedSession(handle);
    if (session == nullptr) return status::error;
    session->pipeline.reset();
    session->output.release();
    session->pixels = {};
    session->width = 0;
    session->height = 0;
    if (session->log.isOpen()) session->log.close();
    return status::ok;
}

int SuperResolution_setReferenceFrame(int handle, int index) {
    Session* session = checkedSession(handle);
    if (session == nullptr) return status::error;
    session->pipeline->setReferenceIndex(index);
    return status::ok;
}

int SuperResolution_setCameraAndLensType(int handle, const char* description) {
    const float sigma = oravo::capi::psfSigmaOf(description);
    if (Session* session = sessions().find(handle)) session->pipeline->setPsfSigma(sigma);
    return status::ok;
}

int SuperResolution_addImage(int handle, const float* image) {
    Session* session = checkedSession(handle);
    if (session == nullptr) return status::error;
    if (session->width == 0 || session->height == 0)
        return fail(status::error, "Size of expected Ir images unknown");
    if (image == nullptr) return fail(status::error, "ir image data pointer is NULL");
    return guarded([&] { return addImage(*session, image); });
}

int oravo_setDataIsCounts(int handle, int counts) {
    Session* session = checkedSession(handle);
    if (session == nullptr) return status::error;
    session->pipeline->setDataIsNUC(counts != 0);
    return status::ok;
}

int SuperResolution_queryOutputImageSize(int handle, int* width, int* height) {
    Session* session = checkedSession(handle);
    if (session == nullptr) return status::error;
    int result = status::ok;
    if (session->imageCount < defaults::kWindowSize) {
        result = fail(status::tooFewImages, "Not enough input images (<5)");
        const int reconstructed = guarded([&] {
            session->pipeline->computeSR(session->output.ptr<float>());
            return status::ok;
        });
        if (reconstructed != status::ok) result = reconstructed;
    }
    if (width != nullptr) *width = session->output.cols;
    if (height != nullptr) *height = session->output.rows;
    return result;
}

int SuperResolution_getSuperresolutionImage(int handle, float* out) {
    Session* session = checkedSession(handle);
    if (session == nullptr) return status::error;
    int result = status::ok;
    if (out == nullptr) result = fail(status::error, "Ir mosaic data pointer is NULL.");
    if (session->imageCount < defaults::kWindowSize)
        result = fail(status::tooFewImages, "Not enough input images (<5)");
    if (out == nullptr || session->output.empty()) return fail(status::error, "Memcpy called on nullptr!!!!");
    const std::size_t bytes = session->output.total() * sizeof(float);
    std::memcpy(out, session->output.data, bytes);
    return result;
}

int SuperResolution_getErrorMessage(char* buffer, int length) {
    if (buffer == nullptr || length <= 0) return status::ok;
    std::strncpy(buffer, errorMessage().c_str(), static_cast<std::size_t>(length));
    return status::ok;
}
