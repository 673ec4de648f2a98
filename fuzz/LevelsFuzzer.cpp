/// One problem for every implementation of the solver's arithmetic: the split engine gives the same bits at
/// each instruction-set level of the machine, whatever the samples, and the bits of the general loops unless
/// something overflows (a NaN reaches other pixels through links of weight 0 there); the vector operators give
/// the values of the float ones.

#include <cmath>
#include <memory>

#include "fuzz/Input.h"
#include "tests/EngineTrace.h"
#include "vision/superresolution/SrFloatNeonConvolution.h"

namespace oravo::fuzz {
namespace {

using test::Problem;
using test::Trace;
using vision::detail::FrameSize;
using vision::detail::InstructionSet;

bool same(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

void engines(Input& in) {
    const FrameSize low{in.between(1, 36), in.between(1, 6)};
    Problem problem(low, in.between(1, 5), in.take<std::uint16_t>());
    for (int i = in.between(0, 20); i > 0; --i) {
        auto& samples = problem.samples[in.take<std::uint8_t>() % problem.samples.size()];
        samples[in.take<std::uint16_t>() % samples.size()] = in.take<float>();
    }
    const int count = static_cast<int>(problem.frames.size());
    const FrameSize high{2 * low.width, 2 * low.height};
    test::DenseEngine dense(low, high, test::kTaps, 2.0f, {high.width + 5, high.height + 5}, count);
    const Trace expected(dense, problem);
    const bool finite =
        std::all_of(expected.sums.begin(), expected.sums.end(), [](double s) { return std::isfinite(s); });
    std::vector<Trace> traces;
    traces.reserve(3);
    for (const InstructionSet level :
         {InstructionSet::baseline, InstructionSet::avx2, InstructionSet::avx512}) {
        if (!vision::detail::machineHas(level)) continue;
        vision::detail::SplitEngine split(low, count, level);
        const Trace& trace = traces.emplace_back(split, problem);
        const Trace& first = traces.front();
        require(std::equal(first.sums.begin(), first.sums.end(), trace.sums.begin(), same),
                "levels agree on sums");
        for (std::size_t i = 0; i < trace.images.size(); ++i) {
            require(test::sameBits(trace.images[i], first.images[i]), "levels agree on every bit");
            require(!finite || test::sameBits(trace.images[i], expected.images[i]),
                    "the general loops give these bits");
        }
    }
}

template <class T>
std::unique_ptr<T[]> values(Input& in, int n) {
    std::unique_ptr<T[]> result(new T[static_cast<std::size_t>(n)]);
    in.fill(result.get(), static_cast<std::size_t>(n), -1.0, 2.0);
    return result;
}

void requireEqual(const float* a, const float* b, int n) {
    for (int i = 0; i < n; ++i) {
        require(same(static_cast<double>(a[i]), static_cast<double>(b[i])),
                "vector and float operators agree");
    }
}

void operators(Input& in) {
    const float factor = in.oneOf({1.0f, 2.0f, 2.0f, 2.5f, 3.0f});
    const int width = in.between(1, 48);
    const int height = in.between(1, 24);
    const int taps = in.between(1, 9);
    const int rows = in.between(1, 9);
    vision::SrFloatConvolution plain(width, height, taps, rows, factor);
    vision::SrFloatNeonConvolution vector(width, height, taps, rows, factor);
    const auto sparse = [factor](int n) { return static_cast<int>(static_cast<float>(n) / factor); };
    const int low = sparse(width) * sparse(height);
    const int extended = (width + taps - 1) * (height + rows - 1);
    const auto horizontal = values<float>(in, taps);
    const auto vertical = values<float>(in, rows);
    const auto samples = values<float>(in, low);
    const auto image = values<float>(in, extended);
    const std::vector<char> mask(static_cast<std::size_t>(low), 1);
    const std::vector<float> weights(mask.size(), 1.0f);
    const auto a = values<float>(in, extended);
    const auto b = values<float>(in, extended);
    plain.fullConvFromSparse(samples.get(), horizontal.get(), vertical.get(), mask.data(), a.get());
    vector.fullConvFromSparse(samples.get(), horizontal.get(), vertical.get(), weights.data(), b.get());
    requireEqual(a.get(), b.get(), extended);
    plain.validCorrToSparse(image.get(), horizontal.get(), vertical.get(), a.get());
    vector.validCorrToSparse(image.get(), horizontal.get(), vertical.get(), b.get());
    requireEqual(a.get(), b.get(), low);
}

}  // namespace
}  // namespace oravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    oravo::fuzz::Input in(data, size);
    if (in.between(0, 1) == 0) {
        oravo::fuzz::engines(in);
    } else {
        oravo::fuzz::operators(in);
    }
    return 0;
}
