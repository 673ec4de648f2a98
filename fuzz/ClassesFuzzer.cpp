/// The public classes with parameters of any value, those that their setters do not check among them: each call works or
/// throws what its header lists, and after whatever was thrown the object still takes frames and runs.

#include <climits>
#include <cmath>
#include <complex>
#include <iostream>
#include <new>

#include "fuzz/Input.h"
#include "support/Exception.h"
#include "vision/superresolution/DSP_Convolution.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatConvolution.h"
#include "vision/superresolution/SrFloatFft2d.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonMinimization.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/reference/SuperResolutionMinimization.h"

namespace oravo::fuzz {
namespace {

using namespace vision;
using Image = cv::Mat_<float>;

int anySide(Input& in) {
    return in.between(0, 15) == 0 ? in.oneOf({-1, INT_MIN, INT_MAX, 1 << 30}) : in.between(1, 28);
}

int anyNumber(Input& in) {
    return in.between(0, 3) == 0 ? in.oneOf({-1, INT_MIN, INT_MAX, INT_MAX - 1, 1 << 30, 1 << 25})
                                 : in.between(0, 40);
}

float anyValue(Input& in) {
    return in.between(0, 1) == 0
               ? in.oneOf({0.0f, -1.0f, 1e-30f, 1e30f, std::nanf(""), INFINITY, -INFINITY, in.take<float>()})
               : 0.001f * static_cast<float>(in.between(1, 2000));
}

float anyFactor(Input& in) {
    return in.oneOf({1.0f, 1.5f, 2.0f, 2.0f, 2.5f, 3.0f, 0.0f, -2.0f, 1e9f, std::nanf("")});
}

/// Calls, and takes what headers list; true when nothing was thrown.
template <class Call>
bool works(Call call) {
    try {
        call();
        return true;
    } catch (const Exception& e) {
        require(!e.message().empty() && !e.location().empty(), "an exception says what and where");
    } catch (const cv::Exception&) {
    } catch (const std::bad_alloc&) {
    } catch (const char* text) {
        require(*text != '\0', "a C string says what");
    }
    return false;
}

Image anyFrame(Input& in, cv::Size size) {
    Image frame(size);
    in.fill(frame.ptr<float>(), frame.total(), 10.0, in.oneOf({10.0, 30.0}));
    return frame;
}

template <class Pipeline>
void pipelines(Input& in) {
    const cv::Size size(anySide(in), anySide(in));
    const int window = in.between(-1, 5);
    const float factor = anyFactor(in);
    works([&] {
        Pipeline pipeline(size.width, size.height, window, factor);
        Image out;
        for (int i = in.between(0, 6); i > 0; --i) {
            works([&] { pipeline.setReferenceIndex(anyNumber(in)); });
            works([&] { pipeline.setMaxCGIters(in.between(-1, 12)); });
            works([&] { pipeline.setPsfSigma(anyValue(in)); });
            works([&] { pipeline.setRegError(anyValue(in)); });
            works([&] { pipeline.setRelativeResidue(anyValue(in)); });
            works([&] { pipeline.setWeightTV(anyValue(in)); });
            const bool odd = in.between(0, 7) == 0;
            const cv::Size given = odd ? cv::Size(in.between(0, 40), in.between(0, 40)) : size;
            Image frame = anyFrame(in, given);
            if (frame.cols > 3 && odd) frame = frame(cv::Rect(1, 0, frame.cols - 2, frame.rows));
            const bool taken = works([&] { pipeline.addFrame(frame); });
            require(!taken || frame.size() == size, "matrices of another size are refused");
            if (in.between(0, 1) == 0) works([&] { pipeline.computeSR(out); });
            if (in.between(0, 15) == 0) pipeline.clearFrames();
        }
    });
}

/// What all registrations have in common; the blur's radius goes by two names.
template <class Registration, class Mask, class SetBlur>
void registrations(Input& in, SetBlur setBlur) {
    const cv::Size size(in.between(1, 28), in.between(1, 28));
    const int slots = in.between(0, 4);
    works([&] {
        Registration registration(size.width, size.height, slots);
        std::vector<Image> frames, moved;
        std::vector<std::vector<Mask>> masks(4, std::vector<Mask>(static_cast<std::size_t>(size.area())));
        for (int i = 0; i < 4; ++i) {
            works([&] { setBlur(registration, anyNumber(in)); });
            registration.setRegErrBlurRadius(anyNumber(in));
            registration.setRegError(anyValue(in));
            frames.push_back(anyFrame(in, size));
            moved.emplace_back(size);
            works([&] { registration.prepareFrame(frames.back().ptr<float>()); });
        }
        float* framePointers[4];
        float* movedPointers[4];
        Mask* maskPointers[4];
        for (std::size_t i = 0; i < 4; ++i) {
            framePointers[i] = frames[i].ptr<float>();
            movedPointers[i] = moved[i].ptr<float>();
            maskPointers[i] = masks[i].data();
        }
        cv::Point_<float> shifts[4];
        const int count = in.between(-1, 4);
        works([&] {
            registration.doRegistration(count, in.between(-1, 4), framePointers, shifts, maskPointers,
                                        movedPointers);
        });
    });
}

template <class Minimization, class Point, class Mask>
void solvers(Input& in) {
    const cv::Size size(in.between(1, 20), in.between(1, 20));
    const float factor = anyFactor(in);
    works([&] {
        Minimization solver(size.width, size.height, 2, factor);
        solver.setPsfSigma(anyValue(in));
        solver.setWeightTV(anyValue(in));
        solver.setEpsilon(anyValue(in));
        solver.setMaxIter(in.oneOf({-1, INT_MIN, 0, 1, 5}));
        solver.setRelRes(anyValue(in));
        Image frames[2] = {anyFrame(in, size), anyFrame(in, size)};
        std::vector<Mask> mask(static_cast<std::size_t>(size.area()), Mask(1));
        float* framePointers[2] = {frames[0].ptr<float>(), frames[1].ptr<float>()};
        Mask* masks[2] = {mask.data(), mask.data()};
        const Point shifts[2] = {{anyValue(in), anyValue(in)}, {0.3f, -0.2f}};
        const auto enlarged = [factor](int n) {
            return static_cast<std::size_t>(static_cast<float>(n) * factor);
        };
        std::vector<float> out(enlarged(size.width) * enlarged(size.height));
        const int steps =
            solver.minimize(in.between(0, 2), in.between(0, 1), framePointers, shifts, masks, out.data());
        require(steps >= 0 && steps <= std::max(solver.getMaxIter(), 0), "the solver keeps to its steps");
    });
}

void transforms(Input& in) {
    const cv::Size size(anySide(in) % 64, anySide(in) % 64);
    works([&] {
        SrFloatFft2d fft(size.width, size.height);
        const int radius = in.oneOf({-1, INT_MIN, INT_MAX, 0, 1, 5, 40});
        std::vector<std::complex<float>> spectrum(
            static_cast<std::size_t>((size.width / 2 + 1) * size.height));
        std::vector<float> taps(static_cast<std::size_t>(std::clamp(radius, 0, 40)) + 1);
        Image frame = anyFrame(in, size);
        fft.forward(frame.ptr<float>(), spectrum.data());
        const bool given = works([&] { fft.gaussFft(radius, anyValue(in), spectrum.data(), taps.data()); });
        require(!given || (radius >= 0 && radius <= 40), "radii that no kernel can have are refused");
        Image blurred = frame.clone();
        works([&] { fft.repairGaussBlur(frame.ptr<float>(), blurred.ptr<float>(), radius, taps.data()); });
        works([&] { SrFloatConvolution::blurImageMeanFilter(frame, anyNumber(in), blurred); });
    });
}

template <class T>
void fixedPoint(Input& in) {
    const int width = in.between(1, 24), height = in.between(1, 24), taps = in.oneOf({6, 6, 5, 1});
    works([&] {
        DSP_Convolution<T> convolution(static_cast<T>(width), static_cast<T>(height), static_cast<T>(taps),
                                       static_cast<T>(taps), 2.0f);
        const std::size_t extended = static_cast<std::size_t>((width + taps - 1) * (height + taps - 1));
        std::vector<T> image(extended), out(extended), kernel(static_cast<std::size_t>(taps));
        in.fill(image.data(), extended, -3000.0, 3000.0);
        in.fill(kernel.data(), kernel.size(), 0.0, 9000.0);
        const std::vector<char> mask(extended, 1);
        convolution.setFilterScale(in.take<T>());
        works([&] { convolution.validCorrToSparse(image.data(), kernel.data(), kernel.data(), out.data()); });
        works([&] {
            convolution.fullConvFromSparse(image.data(), kernel.data(), kernel.data(), mask.data(),
                                           out.data());
        });
    });
}

}  // namespace
}  // namespace oravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace oravo::fuzz;
    std::cout.setstate(std::ios::failbit);  // no timing reports
    cv::redirectError([](int, const char*, const char*, const char*, int, void*) { return 0; });
    Input in(data, size);
    switch (in.between(0, 11)) {
        case 0:
            pipelines<SrFloat<SrFloatRegistration2>>(in);
            break;
        case 1:
            pipelines<SrFloat<SrFloatRegistration1>>(in);
            break;
        case 2:
            pipelines<SrFloatNeon<SrFloatNeonRegistration>>(in);
            break;
        case 3:
            registrations<SrFloatRegistration1, char>(in,
                                                      [](auto& r, int radius) { r.setGaussRadius(radius); });
            break;
        case 4:
            registrations<SrFloatRegistration2, char>(in,
                                                      [](auto& r, int radius) { r.setBlurRadius(radius); });
            break;
        case 5:
            registrations<SrFloatNeonRegistration, float>(
                in, [](auto& r, int radius) { r.setBlurRadius(radius); });
            break;
        case 6:
            solvers<SrFloatMinimization, cv::Point_<float>, char>(in);
            break;
        case 7:
            solvers<SrFloatNeonMinimization, cv::Point_<float>, float>(in);
            break;
        case 8:
            solvers<SuperResolutionMinimization, PointF, char>(in);
            break;
        case 9:
            transforms(in);
            break;
        case 10:
            fixedPoint<short>(in);
            break;
        default:
            fixedPoint<int>(in);
    }
    return 0;
}
