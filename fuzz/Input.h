#ifndef ORAVO_FUZZ_INPUT_H
#define ORAVO_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

/// What the fuzzers read their arguments from, and how they complain.
namespace oravo::fuzz {

/// The bytes of one run, taken from the front; zeros when there are no more.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : next_(data), left_(size) {}

    bool empty() const { return left_ == 0; }

    template <class T>
    T take() {
        T value{};
        const std::size_t n = std::min(sizeof value, left_);
        if (n > 0) std::memcpy(&value, next_, n);
        next_ += n;
        left_ -= n;
        return value;
    }

    /// A number from low to high, out of one byte where that is enough.
    int between(int low, int high) {
        const auto count = static_cast<unsigned>(high - low) + 1;
        return low + static_cast<int>((count <= 256 ? take<std::uint8_t>() : take<std::uint32_t>()) % count);
    }

    template <class T>
    T oneOf(std::initializer_list<T> values) {
        return values.begin()[between(0, static_cast<int>(values.size()) - 1)];
    }

    std::string text(std::size_t most) {
        std::string result(std::min(most, left_), '\0');
        for (char& c : result) c = take<char>();
        return result;
    }

    /// Noise from one seed, with up to 15 values of any bit pattern anywhere in it.
    template <class T>
    void fill(T* values, std::size_t n, double low, double high) {
        cv::RNG noise(take<std::uint16_t>() + 1U);
        for (std::size_t i = 0; i < n; ++i) values[i] = static_cast<T>(noise.uniform(low, high));
        for (int i = between(0, 15); i > 0 && n > 0; --i) values[take<std::uint16_t>() % n] = take<T>();
    }

  private:
    const std::uint8_t* next_;
    std::size_t left_;
};

/// Ends the process, and so makes a finding of the input, unless the promise holds.
inline void require(bool holds, const char* promise) {
    if (holds) return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

}  // namespace oravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#endif
