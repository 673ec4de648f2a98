/// Any sequence of calls of the C interface, with any arguments that a host could pass by mistake: every status is one
/// that the header lists for its function, and nothing but the documented exceptions leaves.

#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>

#include "capi/SuperResolution.h"
#include "fuzz/Input.h"

namespace oravo::fuzz {
namespace {

constexpr int kMostPixels = 28 * 28;  // of a frame that is fed; sessions are opened for any size

using Sessions = std::map<int, cv::Size>;

int anyHandle(Input& in, const Sessions& open) {
    if (open.empty() || in.between(0, 15) == 0) return in.take<std::int32_t>();
    return std::next(open.begin(), in.between(0, static_cast<int>(open.size()) - 1))->first;
}

bool isOneOf(int status, std::initializer_list<int> documented) {
    return std::find(documented.begin(), documented.end(), status) != documented.end();
}

/// A frame in memory of exactly its size: a textured ramp displaced by a few pixels, or one value; and noise over it.
std::unique_ptr<float[]> anyFrame(Input& in, cv::Size size) {
    const auto n = static_cast<std::size_t>(size.area());
    std::unique_ptr<float[]> frame(new float[n]);
    in.fill(frame.get(), n, 0.0, in.oneOf({0.0, 0.1, 100.0}));
    const int shift = in.between(-8, 8);
    const bool textured = in.between(0, 3) != 0;
    for (int y = 0; y < size.height && textured; ++y) {
        for (int x = 0; x < size.width; ++x) {
            frame[static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width) +
                  static_cast<std::size_t>(x)] +=
                static_cast<float>((((x + shift) / 5 * 7919) ^ ((y - shift) / 4 * 104729)) % 60);
        }
    }
    return frame;
}

void open(Input& in, Sessions& sessions) {
    const bool small = in.between(0, 3) != 0;
    const int width = small ? in.between(0, 28) : in.take<std::int32_t>();
    const int height = small ? in.between(0, 28) : in.take<std::int32_t>();
    if (sessions.size() >= 4) return;
    const int handle = SuperResolution_init(width, height);
    require(handle >= -1 && sessions.count(handle) == 0, "init returns a new handle or -1");
    if (handle >= 0) sessions[handle] = {width, height};
}

void addImage(Input& in, const Sessions& sessions) {
    const int handle = anyHandle(in, sessions);
    const auto session = sessions.find(handle);
    const bool known = session != sessions.end();
    const cv::Size size = known ? session->second : cv::Size(1, 1);
    const bool feedable = static_cast<std::int64_t>(size.width) * size.height <= kMostPixels;
    const bool null = !feedable || in.between(0, 15) == 0;
    const int status = SuperResolution_addImage(handle, null ? nullptr : anyFrame(in, size).get());
    require(isOneOf(status, {0, -2, -3, -4, -999}), "addImage returns a documented status");
    require(status == -999 || (known && !null && !size.empty()),
            "addImage refuses what is no session or image");
}

void query(Input& in, const Sessions& sessions) {
    const int handle = anyHandle(in, sessions);
    const auto session = sessions.find(handle);
    const bool known = session != sessions.end();
    // With too few frames the query reconstructs; a large session would take its time for it.
    if (known && static_cast<std::int64_t>(session->second.width) * session->second.height > kMostPixels)
        return;
    int width = -7;
    int height = -7;
    const int status = SuperResolution_queryOutputImageSize(handle, in.between(0, 7) != 0 ? &width : nullptr,
                                                            in.between(0, 7) != 0 ? &height : nullptr);
    require(isOneOf(status, {0, -5, -999}), "the query returns a documented status");
    require(known || (status == -999 && width == -7), "the query refuses what is no session");
    require(!known || ((width == -7 || width == 2 * session->second.width) &&
                       (height == -7 || height == 2 * session->second.height)),
            "the query writes twice the size");
    const std::size_t n = known ? 4 * static_cast<std::size_t>(session->second.area()) : 1;
    const std::unique_ptr<float[]> out(new float[n]);
    const int fetched =
        SuperResolution_getSuperresolutionImage(handle, in.between(0, 7) != 0 ? out.get() : nullptr);
    require(isOneOf(fetched, {0, -5, -999}), "fetching returns a documented status");
}

void describe(Input& in, const Sessions& sessions) {
    const int handle = anyHandle(in, sessions);
    const bool null = in.between(0, 7) == 0;
    const std::string text = in.text(24);
    try {
        require(SuperResolution_setCameraAndLensType(handle, null ? nullptr : text.c_str()) == 0,
                "describing a camera returns 0");
        require(!null, "a null description is refused");
    } catch (const std::logic_error&) {
        require(null, "a description is never refused");
    }
    const int index = in.between(0, 3) == 0 ? in.take<std::int32_t>() : in.between(-1, 5);
    try {
        const int status = SuperResolution_setReferenceFrame(handle, index);
        require(status == (sessions.count(handle) != 0 ? 0 : -999),
                "setReferenceFrame reports whether it did");
        require(status == -999 || (index >= 0 && index < 5), "setReferenceFrame refuses other indices");
    } catch (const char*) {
        require(index < 0 || index >= 5, "setReferenceFrame takes 0 to 4");
    }
}

void message(Input& in) {
    const int length = in.oneOf({0, -1, 1, 5, 300, static_cast<int>(in.take<std::int16_t>())});
    const std::unique_ptr<char[]> buffer(length > 0 ? new char[static_cast<std::size_t>(length)] : nullptr);
    require(SuperResolution_getErrorMessage(buffer.get(), length) == 0, "the message is always given");
}

void release(Input& in, Sessions& sessions) {
    const int handle = anyHandle(in, sessions);
    const bool known = sessions.erase(handle) != 0;
    require(SuperResolution_release(handle) == (known ? 0 : -999), "release reports whether it did");
}

}  // namespace
}  // namespace oravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace oravo::fuzz;
    std::cout.setstate(std::ios::failbit);  // no timing reports
    Input in(data, size);
    Sessions sessions;
    for (int steps = 0; steps < 25 && !in.empty(); ++steps) {
        switch (in.between(0, 9)) {
            case 0:
                open(in, sessions);
                break;
            case 1:
                release(in, sessions);
                break;
            case 2:
                query(in, sessions);
                break;
            case 3:
                describe(in, sessions);
                break;
            case 4:
                message(in);
                break;
            default:
                addImage(in, sessions);
        }
    }
    for (const auto& session : sessions) SuperResolution_release(session.first);
    return 0;
}
