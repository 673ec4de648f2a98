/// Writes the bytes of many results into a folder, for comparing what machines compute:
///
///   oravo_result_bytes FOLDER
///
/// FOLDER/own holds results of the library's own arithmetic, the same on every machine; FOLDER/opencv those
/// that OpenCV's filters and trackers take part in, which round in the order of each machine's vectors. The
/// input is rendered by additions, multiplications and divisions alone, so that it is the same everywhere.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "tests/TestScenes.h"
#include "vision/superresolution/DSP_Convolution.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatConvolution.h"
#include "vision/superresolution/SrFloatFft2d.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonConvolution.h"
#include "vision/superresolution/SrFloatNeonMinimization.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SrPrecise.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/numerics/GaussianPsf.h"
#include "vision/superresolution/reference/SuperResolution.h"
#include "vision/superresolution/reference/SuperResolutionConvolution.h"
#include "vision/superresolution/reference/SuperResolutionMinimization.h"

namespace oravo::test {
namespace {

namespace fs = std::filesystem;

constexpr int kFrames = 5;
constexpr int kTaps = 6;
const std::vector<Point> kShifts = {{0, 0}, {1.4f, -0.3f}, {-0.2f, 2.45f}, {0.1f, 0.2f}, {-1.45f, -0.1f}};
const std::vector<cv::Size> kSizes = {{64, 50}, {62, 49}, {66, 51}, {70, 48}};

class ResultFolder {
  public:
    explicit ResultFolder(fs::path folder) : folder_(std::move(folder)) { fs::create_directories(folder_); }

    template <class T>
    void add(const std::string& name, const std::vector<T>& values) const {
        write(name, values.data(), values.size() * sizeof(T));
    }
    void add(const std::string& name, const Image& image) const {
        write(name, image.data, image.total() * sizeof(float));
    }

  private:
    void write(const std::string& name, const void* bytes, std::size_t size) const {
        std::ofstream file(folder_ / name, std::ios::binary);
        file.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
        if (!file.flush()) throw std::runtime_error("cannot write " + (folder_ / name).string());
    }

    fs::path folder_;
};

/// Bumps h / (1 + r^2)^2 on a background of 20, seen by a camera displaced by d.
Image render(cv::Size size, Point d) {
    const std::vector<float> bumps = randomVector(3 * 60, 9, 0.0f, 1.0f);
    Image image(size, 20.0f);
    for (std::size_t i = 0; i < bumps.size(); i += 3) {
        const float x0 = bumps[i] * static_cast<float>(size.width) + d.x;
        const float y0 = bumps[i + 1] * static_cast<float>(size.height) + d.y;
        const float height = 16.0f * bumps[i + 2] - 8.0f;
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                const float dx = (static_cast<float>(x) - x0) / 3.0f,
                            dy = (static_cast<float>(y) - y0) / 3.0f;
                const float fall = 1.0f + dx * dx + dy * dy;
                image(y, x) += height / (fall * fall);
            }
        }
    }
    return image;
}

std::vector<Image> burstOf(cv::Size size) {
    std::vector<Image> frames;
    for (const Point& shift : kShifts) frames.push_back(render(size, shift));
    return frames;
}

/// A mask of 1 with some 0 and, for the operators, weights that show how a machine reads a char.
template <class Mask>
std::vector<Mask> mask(int pixels, bool signedWeights) {
    std::vector<Mask> values;
    for (int i = 0; i < pixels; ++i) {
        const int weight = i % 7 == 3 ? 0 : i % 11 == 5 && signedWeights ? -1 : 1;
        values.push_back(static_cast<Mask>(weight));
    }
    return values;
}

template <class Operators, class Mask>
void operators(const ResultFolder& own, const std::string& family) {
    for (const cv::Size& size : kSizes) {
        Operators operators(2 * size.width, 2 * size.height, kTaps, kTaps, 2.0f);
        const int extended = (2 * size.width + kTaps - 1) * (2 * size.height + kTaps - 1);
        const std::vector<float> h = randomVector(kTaps, 1), v = randomVector(kTaps, 2);
        std::vector<float> full(static_cast<std::size_t>(extended)),
            sampled(static_cast<std::size_t>(size.area()));
        operators.fullConvFromSparse(randomVector(size.area(), 3).data(), h.data(), v.data(),
                                     mask<Mask>(size.area(), true).data(), full.data());
        operators.validCorrToSparse(randomVector(extended, 4).data(), h.data(), v.data(), sampled.data());
        own.add(family + "-full-" + std::to_string(size.width), full);
        own.add(family + "-sampled-" + std::to_string(size.width), sampled);
    }
}

template <class T>
void fixedPoint(const ResultFolder& own, const std::string& name) {
    const auto integers = [](int n, unsigned seed, float limit) {
        std::vector<T> values;
        for (const float value : randomVector(n, seed, -limit, limit))
            values.push_back(static_cast<T>(value));
        return values;
    };
    constexpr int kWidth = 17, kHeight = 12, kExtended = (2 * kWidth + 5) * (2 * kHeight + 5);
    vision::DSP_Convolution<T> dsp(2 * kWidth, 2 * kHeight, kTaps, kTaps, 2.0f);
    dsp.setFilterScale(100);
    const std::vector<T> h = integers(kTaps, 1, 32767.0f), v = integers(kTaps, 2, 32767.0f);
    std::vector<T> full(kExtended), sampled(kWidth * kHeight);
    dsp.fullConvFromSparse(integers(kWidth * kHeight, 3, 32767.0f).data(), h.data(), v.data(),
                           mask<char>(kWidth * kHeight, true).data(), full.data());
    dsp.validCorrToSparse(integers(kExtended, 4, 32767.0f).data(), h.data(), v.data(), sampled.data());
    own.add(name + "-full", full);
    own.add(name + "-sampled", sampled);
}

template <class Solver, class Mask, class Shift>
void solver(const ResultFolder& own, const std::string& name) {
    for (const float factor : {2.0f, 3.0f}) {
        for (const cv::Size& size : kSizes) {
            std::vector<Image> frames = burstOf(size);
            std::vector<Shift> shifts;
            for (const Point& shift : kShifts) shifts.push_back({shift.x / 5.0f, shift.y / 5.0f});
            std::vector<std::vector<Mask>> masks(kFrames, mask<Mask>(size.area(), false));
            std::vector<Mask*> pointers;
            for (auto& values : masks) pointers.push_back(values.data());
            Image out(size * static_cast<int>(factor));
            Solver solver(size.width, size.height, kFrames, factor);
            solver.minimize(kFrames, 1, test::pointers(frames).data(), shifts.data(), pointers.data(),
                            out.ptr<float>());
            own.add(name + "-" + std::to_string(size.width) + "-by-" + std::to_string(out.cols / size.width),
                    out);
        }
    }
}

void transforms(const ResultFolder& own) {
    for (const cv::Size size : {cv::Size(64, 50), {62, 49}, {34, 1}, {38, 46}}) {
        const std::string suffix = "-" + std::to_string(size.width);
        vision::SrFloatFft2d fft(size.width, size.height);
        std::vector<std::complex<float>> spectrum(
            static_cast<std::size_t>((size.width / 2 + 1) * size.height)),
            gauss(spectrum);
        std::vector<float> image(static_cast<std::size_t>(size.area())), taps(6);
        fft.forward(randomVector(size.area(), 5).data(), spectrum.data());
        fft.backward(spectrum.data(), image.data());
        fft.gaussFft(5, 1.7f, gauss.data(), taps.data());
        own.add("spectrum" + suffix, spectrum);
        own.add("image" + suffix, image);
        own.add("gauss" + suffix, gauss);
    }
}

void filters(const ResultFolder& own) {
    Image mean;
    vision::SrFloatConvolution::blurImageMeanFilter(randomImage(49, 63, 6), 3, mean);
    own.add("mean", mean);
    std::vector<float> psf;
    for (const float sigma : {0.3f, 0.55f, 0.683f, 0.9f, 1.2f, 2.0f}) {
        float base[kTaps], taps[kTaps];
        vision::detail::gaussianPsf(sigma, 2.0f, kTaps, base);
        for (float shift = -1.0f; shift <= 1.0f; shift += 0.125f) {
            vision::detail::shiftedPsf(base, kTaps, shift, taps);
            psf.insert(psf.end(), taps, taps + kTaps);
        }
    }
    own.add("psf", psf);
    Image frame = render({63, 49}, {0, 0});
    for (int i = 0; i < 9; ++i) frame(5 * i, 6 * i + 3) = i % 2 == 0 ? 1e9f : -1e9f;
    vision::SuperResolutionBadPixelHandling(1).detectAndReplaceBadPixel(frame);
    own.add("repaired", frame);
}

/// A run of a pipeline over a window with some defects: gain or status, shifts, masks and image.
template <class Pipeline, class Mask>
void pipeline(const ResultFolder& folder, const std::string& name) {
    for (const cv::Size& size : kSizes) {
        Pipeline pipeline(size.width, size.height, kFrames, 2.0f);
        for (const Image& frame : burstOf(size)) pipeline.addFrame(frame.ptr<float>());
        Image image(size * 2);
        const float gain = pipeline.computeSR(image.ptr<float>());
        const std::string suffix = "-" + std::to_string(size.width);
        folder.add(name + "-image" + suffix, image);
        std::vector<cv::Mat_<Mask>> masks;
        pipeline.getMasks(masks);
        std::vector<Mask> pixels;
        for (const auto& m : masks) pixels.insert(pixels.end(), m.begin(), m.end());
        folder.add(name + "-masks" + suffix, pixels);
        folder.add(name + "-gain" + suffix, std::vector<float>{gain});
    }
}

/// The precise engine's images and motions, with a defect in every frame and a turned one among them.
void precise(const ResultFolder& own) {
    for (const cv::Size& size : kSizes) {
        std::vector<Image> frames = burstOf(size);
        for (int k = 0; k < kFrames; ++k) frames[static_cast<std::size_t>(k)](7 * k + 3, 20) = 1e9f;
        for (int y = 0; y < size.height; ++y) {
            // Sheared by a pixel and a half from top to bottom.
            const Image moved =
                render(size, {kShifts[4].x + 1.5f * static_cast<float>(y) / static_cast<float>(size.height),
                              kShifts[4].y});
            moved.row(y).copyTo(frames[4].row(y));
        }
        const vision::SrPreciseResult result = vision::SrPrecise(size.width, size.height).compute(frames, 3);
        const std::string suffix = "-" + std::to_string(size.width);
        own.add("precise-image" + suffix, result.image);
        own.add("precise-deviation" + suffix, result.deviation);
        own.add("precise-weight" + suffix, result.weight);
        std::vector<double> motions{result.noise, result.smoothness, result.withheldError,
                                    result.bicubicError};
        for (const vision::SrPreciseFrame& frame : result.frames) {
            motions.insert(motions.end(),
                           {frame.dx, frame.dy, frame.dxError, frame.dyError, frame.gain, frame.offset});
            motions.insert(motions.end(), &frame.linear[0][0], &frame.linear[0][0] + 4);
        }
        own.add("precise-motions" + suffix, motions);
    }
}

void writeAll(const fs::path& folder) {
    const ResultFolder own(folder / "own"), opencv(folder / "opencv");
    operators<vision::SrFloatConvolution, char>(own, "operators-float");
    operators<vision::SrFloatNeonConvolution, float>(own, "operators-vector");
    operators<vision::SuperResolutionConvolution, char>(own, "operators-reference");
    fixedPoint<short>(own, "fixed-short");
    fixedPoint<int>(own, "fixed-int");
    solver<vision::SrFloatMinimization, char, Point>(own, "solver-float");
    solver<vision::SrFloatNeonMinimization, float, Point>(own, "solver-vector");
    solver<vision::SuperResolutionMinimization, char, PointF>(own, "solver-reference");
    transforms(own);
    filters(own);
    precise(own);
    pipeline<vision::SrFloat<vision::SrFloatRegistration1>, unsigned char>(own, "phase");
    pipeline<vision::SuperResolution, unsigned char>(own, "reference");
    pipeline<vision::SrFloat<vision::SrFloatRegistration2>, unsigned char>(opencv, "corners");
    pipeline<vision::SrFloatNeon<vision::SrFloatNeonRegistration>, float>(opencv, "vector");
}

}  // namespace
}  // namespace oravo::test

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: oravo_result_bytes FOLDER\n";
        return 2;
    }
    std::cout.setstate(std::ios::failbit);  // runs print reports
    try {
        oravo::test::writeAll(argv[1]);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
