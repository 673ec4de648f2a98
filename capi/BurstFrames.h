#ifndef ORAVO_CAPI_BURSTFRAMES_H
#define ORAVO_CAPI_BURSTFRAMES_H

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace oravo::capi {

/// Rows of a caller's image.
struct CallerRows {
    /// @param pitch  bytes from one row to the next, negative for images upside down, 0 for dense rows
    /// Throws oravo::Exception of kind badArgument for a null pointer, named `what`, and for an impossible pitch.
    CallerRows(const void* first, const char* what, std::ptrdiff_t pitch, std::size_t rowBytes, int rows);

    const char* row(int y) const { return first_ + y * pitch_; }
    /// For callers that handed in memory to write to.
    char* writable(int y) const { return const_cast<char*>(row(y)); }

  private:
    const char* first_;
    std::ptrdiff_t pitch_;
};

/// What counts mean.
struct CountScale {
    double scale = 1.0;
    double offset = 0.0;
};

/// The latest frames, oldest first, as floats. Frames reuse the memory of those that they displace.
class BurstFrames {
  public:
    BurstFrames(cv::Size size, int most) : size_(size), most_(static_cast<std::size_t>(most)) {
        held_.reserve(most_);  // so that keep() cannot fail
    }

    /// Values outside are given the status codes of pixels from now on.
    void markOutside(float lowest, float highest);
    /// Of the frames' size, 0 where a pixel is good; null for no bad pixels. From the next frame on.
    void setBadPixels(const unsigned char* mask, std::ptrdiff_t pitch);

    /// The next frame, which is not one of the frames yet.
    const cv::Mat_<float>& read(const float* pixels, std::ptrdiff_t pitch);
    const cv::Mat_<float>& read(const std::uint16_t* counts, std::ptrdiff_t pitch, CountScale scale);
    const cv::Mat_<float>& read(const std::int16_t* counts, std::ptrdiff_t pitch, CountScale scale);
    /// Makes it one.
    void keep();
    void clear();

    cv::Size size() const { return size_; }
    const std::vector<cv::Mat_<float>>& held() const { return held_; }

  private:
    template <class T, class Convert>
    const cv::Mat_<float>& readRows(const T* pixels, const char* what, std::ptrdiff_t pitch, Convert convert);
    void markNext();

    cv::Size size_;
    std::size_t most_;
    std::vector<cv::Mat_<float>> held_;
    cv::Mat_<float> next_;
    cv::Mat_<unsigned char> bad_;
    bool marks_ = false;
    float lowest_ = 0.0f, highest_ = 0.0f;
};

}  // namespace oravo::capi

#endif
