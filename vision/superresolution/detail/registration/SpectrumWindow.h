#ifndef ORAVO_VISION_DETAIL_REGISTRATION_SPECTRUMWINDOW_H
#define ORAVO_VISION_DETAIL_REGISTRATION_SPECTRUMWINDOW_H

#include <algorithm>
#include <complex>
#include <cstddef>
#include <vector>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/memory/SlidingWindow.h"

namespace oravo::vision::detail {

/// The spectra of a window's frames, oldest first.
class SpectrumWindow {
  public:
    using Bin = std::complex<float>;
    using Spectrum = Buffer<Bin>;

    SpectrumWindow(int count, std::size_t bins)
        : window_(make(count, bins)), pointers_(static_cast<std::size_t>(std::max(count, 0))) {}

    /// The slot of the newest frame's spectrum; drops the oldest when the window is full.
    Spectrum& advance() { return window_.advance(); }
    const Spectrum& newest() const { return window_[window_.count() - 1]; }
    int count() const { return window_.count(); }
    void clear() { window_.clear(); }

    /// One pointer per spectrum, valid until the next call of advance().
    const Bin* const* data() {
        for (int i = 0; i < count(); ++i) pointers_[static_cast<std::size_t>(i)] = window_[i].data();
        return pointers_.data();
    }

  private:
    static std::vector<Spectrum> make(int count, std::size_t bins) {
        std::vector<Spectrum> spectra;
        spectra.reserve(static_cast<std::size_t>(std::max(count, 0)));
        for (int i = 0; i < count; ++i) spectra.emplace_back(bins);
        return spectra;
    }

    SlidingWindow<Spectrum> window_;
    std::vector<const Bin*> pointers_;  // refilled by every run; a member so that a run allocates nothing
};

}  // namespace oravo::vision::detail

#endif
