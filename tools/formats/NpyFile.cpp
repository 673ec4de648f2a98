#include "tools/formats/NpyFile.h"

#include <cctype>
#include <charconv>
#include <vector>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr std::string_view kMagic("\x93NUMPY", 6);
constexpr std::size_t kMostHeader = 1u << 16;
constexpr std::size_t kMostDimensions = 4;

/// The literal of a Python dictionary that describes the array.
class Description {
  public:
    Description(std::string_view text, const std::string& name) : text_(text), name_(name) {
        expect('{');
        while (!take('}')) {
            const std::string_view key = quoted();
            expect(':');
            if (key == "descr") {
                type = quoted();
            } else if (key == "fortran_order") {
                columnOrder = boolean();
            } else if (key == "shape") {
                shape = tuple();
            } else {
                fail();
            }
            if (!take(',')) {
                expect('}');
                break;
            }
        }
        if (type.empty() || shape.empty()) fail();
    }

    std::string_view type;
    bool columnOrder = false;
    std::vector<std::uint64_t> shape;

  private:
    [[noreturn]] void fail() const { throw inputError(name_ + ": damaged header of a NumPy file"); }

    void skipSpace() {
        while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_])) != 0) ++at_;
    }
    bool take(char wanted) {
        skipSpace();
        if (at_ == text_.size() || text_[at_] != wanted) return false;
        ++at_;
        return true;
    }
    void expect(char wanted) {
        if (!take(wanted)) fail();
    }
    std::string_view quoted() {
        const char quote = take('\'') ? '\'' : '"';
        if (quote == '"' && !take('"')) {
            // A list of named fields where the type of a number is wanted.
            if (take('[')) throw inputError(name_ + ": holds records, not an array of numbers");
            fail();
        }
        const std::size_t end = text_.find(quote, at_);
        if (end == std::string_view::npos) fail();
        const std::string_view inside = text_.substr(at_, end - at_);
        at_ = end + 1;
        return inside;
    }
    bool boolean() {
        skipSpace();
        for (const bool value : {true, false}) {
            const std::string_view word = value ? "True" : "False";
            if (text_.substr(at_, word.size()) != word) continue;
            at_ += word.size();
            return value;
        }
        fail();
    }
    std::vector<std::uint64_t> tuple() {
        std::vector<std::uint64_t> numbers;
        expect('(');
        while (!take(')')) {
            std::uint64_t number = 0;
            const auto [end, fault] =
                std::from_chars(text_.data() + at_, text_.data() + text_.size(), number);
            if (fault != std::errc() || numbers.size() > kMostDimensions) fail();
            at_ = static_cast<std::size_t>(end - text_.data());
            numbers.push_back(number);
            if (!take(',')) {
                expect(')');
                break;
            }
        }
        if (numbers.empty()) throw inputError(name_ + ": holds a single number, not an image");
        return numbers;
    }

    std::string_view text_;
    std::string name_;
    std::size_t at_ = 0;
};

struct Header {
    std::string_view description;
    std::size_t end;
};

Header headerOf(std::string_view start, const std::string& name) {
    const auto byte = [&](std::size_t i) { return static_cast<std::size_t>(static_cast<uchar>(start[i])); };
    const std::size_t lengthBytes = start.size() > kMagic.size() && byte(kMagic.size()) > 1 ? 4 : 2;
    const std::size_t textAt = kMagic.size() + 2 + lengthBytes;
    if (start.size() < textAt) throw inputError(name + ": truncated NumPy file");
    const std::size_t version = byte(kMagic.size());
    if (version < 1 || version > 3) {
        throw inputError(format("%s: version %zu of NumPy's format is not known", name.c_str(), version));
    }
    std::size_t length = 0;
    for (std::size_t i = 0; i < lengthBytes; ++i) length |= byte(kMagic.size() + 2 + i) << 8 * i;
    if (length > start.size() - textAt) {
        throw inputError(
            name + (length > kMostHeader ? ": damaged header of a NumPy file" : ": truncated NumPy file"));
    }
    return {start.substr(textAt, length), textAt + length};
}

PixelFormat pixelFormat(std::string_view type, const std::string& name) {
    const std::string kind(type.empty() ? "" : type.substr(1));
    const bool bigEndian = !type.empty() && type.front() == '>';
    if (kind.size() == 2 && std::string_view("<>|=").find(type.front()) != std::string_view::npos) {
        const int bytes = kind[1] - '0';
        const PixelFormat wanted{kind[0], bytes, bigEndian && bytes > 1};
        if (const std::optional<PixelFormat> known = PixelFormat::named(wanted.name())) return *known;
    }
    throw inputError(name + ": unsupported type of numbers \"" + std::string(type.substr(0, 16)) + "\"");
}

std::string dimensions(const std::vector<std::uint64_t>& shape) {
    std::string text;
    for (const std::uint64_t n : shape) text += (text.empty() ? "" : " x ") + std::to_string(n);
    return text;
}

}  // namespace

bool isNpy(std::string_view start) {
    return start.substr(0, kMagic.size()) == kMagic;
}

FrameLayout npyLayout(std::string_view start, std::uint64_t fileSize, const std::string& name) {
    if (!isNpy(start)) throw inputError(name + ": is not a NumPy file");
    const Header header = headerOf(start, name);
    const Description array(header.description, name);
    std::vector<std::uint64_t> shape = array.shape;
    if (shape.size() > 2 && shape.back() == 1) shape.pop_back();
    if (shape.size() == 2) shape.insert(shape.begin(), 1);
    if (shape.size() != 3) {
        throw inputError(name + ": holds an array of " + dimensions(array.shape) +
                         "; rows x columns, or frames x rows x columns are wanted");
    }
    if (shape[0] == 0 || !isPossibleSize(shape[2], shape[1])) {
        throw inputError(name + ": its array of " + dimensions(array.shape) + " cannot be an image");
    }
    if (array.columnOrder && shape[0] != 1) {
        throw inputError(name +
                         ": a recording in column (Fortran) order; save numpy.ascontiguousarray of it");
    }
    FrameLayout layout{pixelFormat(array.type, name),
                       {static_cast<int>(shape[2]), static_cast<int>(shape[1])},
                       header.end,
                       shape[0],
                       array.columnOrder};
    const std::uint64_t held = fileSize - header.end;
    if (held / layout.frameBytes() != shape[0] || held % layout.frameBytes() != 0) {
        throw inputError(format(
            "%s: holds %llu bytes of pixels, which is %s than its header tells (%s of %s)", name.c_str(),
            static_cast<unsigned long long>(held), held / layout.frameBytes() < shape[0] ? "less" : "more",
            dimensions(array.shape).c_str(), layout.format.name().c_str()));
    }
    return layout;
}

std::string npyHeader(const cv::Mat& image, std::size_t images) {
    constexpr std::size_t kLength = 128;  // of which the format wants multiples of 64, with a line end last
    const char* kind = image.depth() == CV_32F   ? "<f4"
                       : image.depth() == CV_64F ? "<f8"
                       : image.depth() == CV_16U ? "<u2"
                                                 : "|u1";
    const std::string first = images == 0 ? std::string() : std::to_string(images) + ", ";
    std::string header(kMagic);
    header += {1, 0, static_cast<char>(kLength - kMagic.size() - 4), 0};
    header += format("{'descr': '%s', 'fortran_order': False, 'shape': (%s%d, %d), }", kind, first.c_str(),
                     image.rows, image.cols);
    header.resize(kLength - 1, ' ');
    return header + '\n';
}

FrameLayout npyLayout(const std::string& path) {
    return npyLayout(startOfFile(path, kMostHeader), sizeOfFile(path), path);
}

}  // namespace oravo::tools
