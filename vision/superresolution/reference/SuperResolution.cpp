#include "vision/superresolution/reference/SuperResolution.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>

#include "support/CodeLocation.h"
#include "vision/superresolution/Defaults.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/calibration/TwoPointCalibration.h"
#include "vision/superresolution/detail/pipeline/FloatPipeline.h"
#include "vision/superresolution/detail/registration/SpectrumWindow.h"
#include "vision/superresolution/reference/SuperResolutionMinimization.h"
#include "vision/superresolution/reference/SuperResolutionRegistration.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/reference/SuperResolution";
constexpr char kNotCalibrated[] = "NucToRad() not initialized";

constexpr int kQualitySide = 3;

constexpr CodeLocation kConstructor{kSource, __LINE__, "oravo::vision::SuperResolution::SuperResolution"};

/// The registration together with the spectra that it needs of the window's frames. Copies share the engine, parameters
/// included.
class RegistrationOnSpectra {
  public:
    // The engine only checks its factor, as the pipeline has done before.
    RegistrationOnSpectra(int width, int height, int windowSize)
        : engine_(std::make_shared<SuperResolutionRegistration>(width, height, /*factor=*/1.0f,
                                                                defaults::kBlurRadius)),
          spectra_(windowSize, static_cast<std::size_t>(width / 2 + 1) * static_cast<std::size_t>(height)) {}

    SuperResolutionRegistration* operator->() const { return engine_.get(); }

    void prepareFrame(const float* frame) { engine_->getFft().forward(frame, spectra_.advance().data()); }
    int doRegistration(int count, int ref, float* const* frames, PointF* shifts, char** masks,
                       float** shiftedFrames) {
        return engine_->doRegistration(count, ref, frames, spectra_.data(), shifts, masks, shiftedFrames);
    }
    void getCompleteShifts(std::vector<PointF>& shifts) const { engine_->getCompleteShifts(shifts); }
    void clear() { spectra_.clear(); }

    /// Whether the newest spectrum holds plus infinity. Minus infinity passes, a quirk that is kept.
    bool reachesInfinity() const {
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        const auto& newest = spectra_.newest();
        return std::any_of(newest.begin(), newest.end(), [](std::complex<float> bin) {
            return bin.real() == kInfinity || bin.imag() == kInfinity;
        });
    }

  private:
    std::shared_ptr<SuperResolutionRegistration> engine_;
    detail::SpectrumWindow spectra_;
};

/// The solver, which copies share, parameters included.
class SharedMinimization {
  public:
    SharedMinimization(int width, int height, int windowSize, float factor)
        : engine_(std::make_shared<SuperResolutionMinimization>(width, height, windowSize, factor)) {}

    SuperResolutionMinimization* operator->() const { return engine_.get(); }

    int minimize(int count, int ref, float* const* frames, const PointF* shifts, char** masks, float* out) {
        return engine_->minimize(count, ref, frames, shifts, masks, out);
    }

  private:
    std::shared_ptr<SuperResolutionMinimization> engine_;
};

using Pipeline = detail::FloatPipeline<RegistrationOnSpectra, SharedMinimization, char, PointF>;

void store(float value, float& out) {
    out = value;
}

/// Truncated toward zero to 32 bits, of which the lowest 16 are kept: beyond the range of a short, values wrap
/// around. What no 32-bit integer holds becomes 0, as on x86: the low bits of the integer that the conversion
/// yields there.
void store(float value, short& out) {
    constexpr float kLimit = 2147483648.0f;
    const bool fits = value >= -kLimit && value < kLimit;
    const auto low = static_cast<std::uint16_t>(fits ? static_cast<std::int32_t>(value) : 0);
    out = static_cast<short>(low);
}

}  // namespace

struct SuperResolution::State : Pipeline {
    State(int W, int H, int N, float F)
        : Pipeline(W, H, N, F, kConstructor), badPixelHandling(static_cast<unsigned int>(N)) {}

    SuperResolutionBadPixelHandling badPixelHandling;
    detail::TwoPointCalibration calibration;
    cv::Mat_<float> radiometricFrame;
    cv::Mat_<float> quality;
};

SuperResolution::SuperResolution(int W, int H, int N, float F)
    : state_(detail::Body<State>::make(W, H, N, F)) {
}

template <class T>
int SuperResolution::addFrame(const T* frame) {
    return std::min(loadFrame(frame), 0);
}

template <class T>
int SuperResolution::loadFrame(const T* frame) {
    State& s = *state_;
    float* newest = s.takeIn(frame);
    const auto prepare = [&s](const float* image) { s.registration.prepareFrame(image); };
    int result = 0;
    if constexpr (std::is_same_v<T, float>) {
        result = detail::repairAndPrepare(s.badPixelHandling, s.input, newest, prepare);
    } else {
        prepare(newest);
    }
    if (s.registration.reachesInfinity()) {
        raise(ErrorKind::infiniteValues, "FFT resulted in infinite values. No processing possible",
              {kSource, __LINE__, "oravo::vision::SuperResolution::loadFrame"});
    }
    return result;
}

template <class T>
float SuperResolution::computeSR(T* out) {
    struct KindOfRun;  // one per T
    constexpr bool kRefill = std::is_same_v<T, float>;
    return state_->reconstruct<KindOfRun>("SuperResolution", kRefill ? &state_->badPixelHandling : nullptr,
                                          [&] { saveFrame(out); });
}

template <class T>
void SuperResolution::saveFrame(T* out) const {
    for (const float value : state_->run.image) store(value, *out++);
}

template <class T>
bool SuperResolution::checkImageStructureQuality(const cv::Mat_<T>& frame) {
    double low = 0.0;
    double high = 0.0;
    cv::minMaxLoc(frame, &low, &high);
    return high - low >= static_cast<double>(defaults::kMinStructure);
}

void SuperResolution::setNucToRad(const cv::Mat_<short>& nuc1, const cv::Mat_<float>& rad1,
                                  const cv::Mat_<short>& nuc2, const cv::Mat_<float>& rad2) {
    state_->calibration = detail::TwoPointCalibration(
        nuc1, rad1, nuc2, rad2, {kSource, __LINE__, "oravo::vision::SuperResolution::setNucToRad"});
}

void SuperResolution::NucToRad(const cv::Mat_<short>& nuc) {
    if (state_->calibration.gain.size() != nuc.size()) {
        raise(ErrorKind::notReady, kNotCalibrated,
              {kSource, __LINE__, "oravo::vision::SuperResolution::NucToRad"});
    }
    state_->calibration.apply(nuc, state_->radiometricFrame);
}

float SuperResolution::processFrame2(const short* nuc, float* out) {
    State& s = *state_;
    if (s.calibration.offset.cols != s.input.width || s.calibration.gain.rows != s.input.height) {
        raise(ErrorKind::notReady, kNotCalibrated,
              {kSource, __LINE__, "oravo::vision::SuperResolution::processFrame2"});
    }
    // The matrix is only read, which cv::Mat_ cannot express.
    NucToRad(cv::Mat_<short>(s.input.height, s.input.width, const_cast<short*>(nuc)));
    loadFrame(s.radiometricFrame.ptr<float>());
    return computeSR(out);
}

void SuperResolution::computeQuality_() {
    State& s = *state_;
    const int count = s.frames.count();
    cv::Mat_<float> map(kQualitySide, kQualitySide, 0.0f);
    const auto add = [&map](float row, float column, float weight) {
        const auto inside = [](float i) { return i >= 0.0f && i < static_cast<float>(kQualitySide); };
        if (inside(row) && inside(column)) map(static_cast<int>(row), static_cast<int>(column)) += weight;
    };
    for (int i = 0; i < count; ++i) {
        const PointF shift = s.run.shifts[static_cast<std::size_t>(i)];
        const float x = 2.0f * shift.x + 1.0f;
        const float y = 2.0f * shift.y + 1.0f;
        const float left = std::floor(x);
        const float top = std::floor(y);
        const float ax = x - left;
        const float ay = y - top;
        add(top, left, (1.0f - ax) * (1.0f - ay));
        add(top, left + 1.0f, ax * (1.0f - ay));
        add(top + 1.0f, left + 1.0f, ax * ay);
        add(top + 1.0f, left, (1.0f - ax) * ay);
    }
    for (float& entry : map) entry /= static_cast<float>(count);
    s.quality = map;
}

void SuperResolution::getQuality(cv::Mat_<float>& quality) const {
    quality = state_->quality.clone();
}

void SuperResolution::simpleCombine() {
    State& s = *state_;
    const int count = s.frames.count();
    float* target = s.run.image.data();
    for (int r = 0; r < s.output.height; ++r) {
        const std::ptrdiff_t row =
            std::min(r / 2, s.input.height - 1) * static_cast<std::ptrdiff_t>(s.input.width);
        for (int c = 0; c < s.output.width; ++c) {
            const std::ptrdiff_t sample = row + std::min(c / 2, s.input.width - 1);
            float sum = 0.0f;
            for (int i = 0; i < count; ++i) sum += s.run.shiftedFrames.data()[i][sample];
            *target++ = sum / static_cast<float>(count);
        }
    }
}

void SuperResolution::setDataIsNUC(bool isNUC) {
    state_->badPixelHandling.setDataIsNUC(isNUC);
}

void SuperResolution::clearFrames() {
    state_->frames.clear();
    state_->registration.clear();
}

void SuperResolution::getMasks(std::vector<cv::Mat_<unsigned char>>& masks) const {
    state_->run.copyMasks(masks);
}

void SuperResolution::getCompleteShifts(std::vector<PointF>& shifts) const {
    state_->registration->getCompleteShifts(shifts);
}

void SuperResolution::setMaxCGIters(int iterations) {
    state_->minimization->setMaxIter(detail::checkedMaxCGIters(iterations));
}
int SuperResolution::getMaxCGIters() const {
    return state_->minimization->getMaxIter();
}

void SuperResolution::setPsfSigma(float sigma) {
    state_->minimization->setPsfSigma(detail::checkedPsfSigma(sigma));
}
float SuperResolution::getPsfSigma() const {
    return state_->minimization->getPsfSigma();
}

void SuperResolution::setRegError(float error) {
    state_->registration->setRegError(detail::checkedRegError(error));
}
float SuperResolution::getRegError() const {
    return state_->registration->getRegError();
}

void SuperResolution::setRelativeResidue(float residue) {
    state_->minimization->setRelRes(detail::checkedRelativeResidue(residue));
}
float SuperResolution::getRelativeResidue() const {
    return state_->minimization->getRelRes();
}

void SuperResolution::setWeightTV(float weight) {
    state_->minimization->setWeightTV(detail::checkedWeightTV(weight));
}
float SuperResolution::getWeightTV() const {
    return state_->minimization->getWeightTV();
}

template int SuperResolution::addFrame(const short*);
template int SuperResolution::addFrame(const float*);
template int SuperResolution::loadFrame(const short*);
template int SuperResolution::loadFrame(const float*);
template float SuperResolution::computeSR(short*);
template float SuperResolution::computeSR(float*);
template bool SuperResolution::checkImageStructureQuality(const cv::Mat_<short>&);
template bool SuperResolution::checkImageStructureQuality(const cv::Mat_<float>&);
template void SuperResolution::saveFrame(short*) const;
template void SuperResolution::saveFrame(float*) const;
template const detail::StageTimes& detail::RunAccess::stageTimes(const SuperResolution&);
template void detail::RunAccess::setReports(SuperResolution&, bool);
template void detail::RunAccess::setProgress(SuperResolution&, const std::function<void(double)>&);

}  // namespace oravo::vision
