#include "capi/CameraDescription.h"

#include <locale>
#include <optional>
#include <sstream>

#include "vision/superresolution/Defaults.h"

namespace oravo::capi {
namespace {

using vision::defaults::kPsfSigma;

struct Camera {
    std::string type;
    int fieldOfView;
};

/// The first of the model numbers, in this order, that occurs anywhere in the text.
std::optional<std::string> cameraType(const std::string& description) {
    for (const char* model : {"101", "102", "103", "104", "105", "106", "107", "108"}) {
        if (description.find(model) != std::string::npos) return std::string("c") + model;
    }
    return std::nullopt;
}

std::optional<Camera> parse(const std::string& description) {
    const std::optional<std::string> type = cameraType(description);
    const std::size_t fov = description.find("FOV");
    if (!type || fov == std::string::npos) return std::nullopt;
    // A stream stores 0 for text that is not a number and leaves the value alone when nothing follows, so -1
    // means that nothing followed (or an explicit -1).
    int fieldOfView = -1;
    std::istringstream text(description.substr(fov + 3));
    text.imbue(std::locale::classic());  // descriptions do not depend on the locale of the host
    text >> fieldOfView;
    if (fieldOfView == -1) return std::nullopt;
    return Camera{*type, fieldOfView};
}

}  // namespace

float psfSigmaOf(const std::string& description) {
    const std::optional<Camera> camera = parse(description);
    if (!camera) return kPsfSigma;
    const std::string& type = camera->type;
    if (type == "c101") return 0.81f;
    if (type == "c102" || type == "c103" || type == "c104" || type == "c105") return 0.01f;
    if (type == "c106") return 0.625f;
    if (type == "c107") return camera->fieldOfView < 23 ? 0.65f : 0.35f;
    if (type == "c108") return 0.34f;
    return kPsfSigma;
}

}  // namespace oravo::capi
