// Every function of a burst may be called with any argument, in any order.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <vector>

#include "capi/Burst.h"

namespace oravo::test {
namespace {

/// Draws arguments among those that calls go wrong with, and those that they go right with.
class Arguments {
  public:
    explicit Arguments(unsigned seed) : random_(seed) {}

    template <class T>
    T oneOf(std::initializer_list<T> choices) {
        return *(choices.begin() + random_() % choices.size());
    }
    std::size_t index(std::size_t count) { return random_() % count; }
    int number() { return oneOf({INT_MIN, -2, -1, 0, 1, 2, 4, 5, 63, 64, INT_MAX}); }
    double real() { return oneOf({0.0, 1.0, -2.5, 1e300, double{NAN}, double{INFINITY}, 0.1}); }
    /// From row to row of so many bytes.
    std::ptrdiff_t pitch(std::size_t row) {
        return oneOf<std::ptrdiff_t>(
            {0, 0, static_cast<std::ptrdiff_t>(row), 1, -1, PTRDIFF_MIN, PTRDIFF_MAX});
    }

  private:
    std::minstd_rand random_;
};

void disturb(oravo_burst_options& options, Arguments& in) {
    if (in.oneOf({true, true, false})) return;
    switch (in.oneOf({0, 1, 2, 3, 4, 5, 6, 7, 8, 9})) {
        case 0:
            options.registration = in.number();
            break;
        case 1:
            options.frames = in.number();
            break;
        case 2:
            options.factor = in.number();
            break;
        case 3:
            options.psf_sigma = static_cast<float>(in.real());
            break;
        case 4:
            options.highest = static_cast<float>(in.real());
            break;
        case 5:
            options.smoothness = in.real();
            break;
        case 6:
            options.tv_weight = static_cast<float>(in.real());
            break;
        case 7:
            options.most_memory = static_cast<std::uint64_t>(in.number());
            break;
        case 8:
            options.threads = static_cast<int>(in.number());
            break;
        default:
            options.size = static_cast<std::size_t>(in.number());
            break;
    }
}

/// Calls one function of a burst after another with such arguments.
class AnyCalls {
  public:
    /// Makes one call. Returns its status, and leaves the burst that it was for.
    int next() {
        drawFrame();
        burst_ = bursts_[in_.index(bursts_.size())];
        switch (in_.oneOf({0, 0, 1, 1, 2, 2, 3})) {
            case 0:
                return takeIn();
            case 1:
                return readImage();
            case 2:
                return readFacts();
            default:
                return runOrEnd();
        }
    }
    oravo_burst burst() const { return burst_; }

    ~AnyCalls() {
        for (const oravo_burst burst : bursts_) oravo_burst_destroy(burst);
    }

  private:
    static constexpr int kSide = 8;
    static constexpr std::size_t kSmall = kSide * kSide;

    void drawFrame() {
        for (float& value : frame_)
            value = static_cast<float>(20 + 5 * std::sin(in_.oneOf({0, 1, 2, 3, 4, 5, 6, 7})));
        if (in_.oneOf({1, 2, 3}) == 1) std::fill(frame_.begin(), frame_.end(), 20.0f);
        if (in_.oneOf({1, 2, 3, 4}) == 1) frame_[9] = static_cast<float>(in_.real());
    }

    int takeIn() {
        switch (in_.oneOf({0, 0, 0, 0, 1, 2, 3, 4})) {
            case 0:
                return oravo_burst_add(burst_, in_.oneOf<float*>({frame_.data(), frame_.data(), nullptr}),
                                       in_.pitch(4 * kSide));
            case 1:
                return oravo_burst_add_u16(burst_, counts_.data(), in_.pitch(2 * kSide), in_.real(),
                                           in_.real());
            case 2:
                return oravo_burst_add_i16(burst_, signedCounts_.data(), in_.pitch(2 * kSide), in_.real(),
                                           in_.real());
            case 3:
                return oravo_burst_set_bad_pixels(burst_, outBytes(), in_.pitch(kSide));
            default:
                return oravo_burst_clear(burst_);
        }
    }

    int readImage() {
        float* const out = in_.oneOf<float*>({image_.data(), nullptr});
        switch (in_.oneOf({0, 1, 2, 3, 4, 5})) {
            case 0:
                return oravo_burst_image(burst_, out, in_.oneOf<std::ptrdiff_t>({0, 1, PTRDIFF_MIN}));
            case 1:
                return oravo_burst_deviation(burst_, out, 0);
            case 2:
                return oravo_burst_weight(burst_, out, 0);
            case 3:
                return oravo_burst_pattern(burst_, out, in_.pitch(4 * kSide));
            case 4:
                return oravo_burst_dead_pixels(burst_, outBytes(), in_.pitch(kSide));
            default:
                return oravo_burst_mask(burst_, in_.number(), outBytes(), in_.pitch(kSide));
        }
    }

    int readFacts() {
        oravo_burst_frame info;
        double figure = 0.0;
        char text[64];
        int side = 0;
        switch (in_.oneOf({0, 1, 2, 3, 4})) {
            case 0:
                return oravo_burst_image_size(burst_, nullptr, in_.oneOf<int*>({&side, nullptr}));
            case 1:
                return oravo_burst_frame_info(burst_, in_.number(),
                                              in_.oneOf<oravo_burst_frame*>({&info, nullptr}),
                                              in_.oneOf<std::size_t>({0, 9, sizeof info, SIZE_MAX}));
            case 2:
                return oravo_burst_figure(burst_, in_.oneOf<const char*>({"noise", "", nullptr, "%s%n"}),
                                          in_.oneOf<double*>({&figure, nullptr}));
            case 3:
                oravo_burst_figure_name(in_.number());
                return oravo_burst_frames(burst_);
            default:
                return oravo_burst_warning(burst_, in_.number(), in_.oneOf<char*>({text, nullptr}),
                                           in_.oneOf<std::size_t>({0, 1, sizeof text}));
        }
    }

    int runOrEnd() {
        switch (in_.oneOf({0, 1, 2, 3})) {
            case 0:
                create();
                return 0;
            case 1:
                return oravo_burst_reconstruct(burst_, in_.number());
            case 2:
                return oravo_burst_cancel(burst_);
            default:
                return bursts_.size() > 7 ? oravo_burst_destroy(burst_) : 0;
        }
    }

    void create() {
        oravo_burst_options options;
        oravo_burst_options_init(&options, sizeof options);
        options.pipeline = in_.oneOf({0, 1, 2, 3, 1, 2, 3, INT_MIN});
        disturb(options, in_);
        const oravo_burst made = oravo_burst_create(kSide, in_.oneOf({kSide, kSide, 0, -3}), &options);
        if (made != 0) bursts_.push_back(made);
    }

    unsigned char* outBytes() { return in_.oneOf<unsigned char*>({bytes_.data(), nullptr}); }

    Arguments in_{11};
    std::vector<float> frame_ = std::vector<float>(kSmall), image_ = std::vector<float>(16 * kSmall);
    std::vector<unsigned char> bytes_ = std::vector<unsigned char>(kSmall);
    std::vector<std::uint16_t> counts_ = std::vector<std::uint16_t>(kSmall);
    std::vector<std::int16_t> signedCounts_ = std::vector<std::int16_t>(kSmall);
    std::vector<oravo_burst> bursts_{0, 1, UINT64_MAX};
    oravo_burst burst_ = 0;
};

TEST(AnyBurstCall, HasAStatusAndAText) {
    AnyCalls calls;
    int reached[11] = {};  // statuses
    for (int i = 0; i < 6000; ++i) {
        const int status = calls.next();
        ASSERT_GE(status, ORAVO_BURST_NO_DETAIL);
        if (status < 0) {
            ++reached[-status];
            ASSERT_NE(oravo_burst_error_code(calls.burst()), ORAVO_BURST_OK);
            ASSERT_STRNE(oravo_burst_error(calls.burst()), "");
        }
    }
    for (const int status : {ORAVO_BURST_STALE, ORAVO_BURST_ARGUMENT, ORAVO_BURST_NO_RESULT,
                             ORAVO_BURST_UNAVAILABLE, ORAVO_BURST_NO_DETAIL})
        EXPECT_GT(reached[-status], 0) << status;
}

}  // namespace
}  // namespace oravo::test
