#include "tools/input/RawStream.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tools/base/Descriptor.h"
#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr char kItsFile[] = "/dev/stdin";  // which cannot be opened again where it is a socket

int opened(const std::string& input, const std::string& name) {
    const bool standard = input == kStandardInput || input == kItsFile;
    const int file =
        standard ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0) : ::open(input.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) throw inputError(name + ": cannot be opened: " + std::strerror(errno));
    if (::isatty(file) != 1) return file;
    ::close(file);
    throw inputError(name + ": is a terminal; frames come out of a pipe or a file");
}

}  // namespace

bool isStream(const std::string& input) {
    if (input == kStandardInput) return true;
    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(input, ignored);
    if (input == kItsFile) return !is_regular_file(status) && !is_directory(status);
    return is_fifo(status);
}

RawStream::RawStream(const std::string& input, const RawFormat& format, const std::optional<cv::Rect>& crop)
    : name_(input == kStandardInput ? "standard input" : input),
      format_(format),
      crop_(crop),
      layout_{format.pixel, format.size, 0, 1, false} {
    requireMemory(format.size, name_);
    file_ = opened(input, name_);
    bytes_.resize(static_cast<std::size_t>(layout_.frameBytes()));
}

RawStream::~RawStream() {
    ::close(file_);
}

cv::Size RawStream::size() const {
    return crop_ ? crop_->size() : format_.size;
}

std::optional<cv::Mat> RawStream::next() {
    if (count_ == 0) skipHeader();
    const std::uint64_t read = fill();
    if (read == 0) return std::nullopt;
    if (read < bytes_.size()) {
        throw inputError(
            format("%s: ends within frame %zu, after %llu of its %zu bytes (%d x %d pixels of %s)",
                   name_.c_str(), count_, static_cast<unsigned long long>(read), bytes_.size(),
                   format_.size.width, format_.size.height, format_.pixel.name().c_str()));
    }
    return cropped(layout_.frame(bytes_.data()), crop_, format("%s frame %zu", name_.c_str(), count_++));
}

/// Reads as much of a frame as there is, and returns how many bytes that was.
std::uint64_t RawStream::fill() {
    std::size_t done = 0;
    while (done < bytes_.size()) {
        const ssize_t read = ::read(file_, bytes_.data() + done, bytes_.size() - done);
        if (read == 0) break;
        if (read > 0) {
            done += static_cast<std::size_t>(read);
        } else if (!mayTryAgain(file_, POLLIN)) {
            throw inputError(name_ + ": cannot be read: " + std::strerror(errno));
        }
    }
    return done;
}

void RawStream::skipHeader() {
    const std::size_t frame = bytes_.size();
    for (std::uint64_t left = format_.offset; left > 0; left -= bytes_.size()) {
        bytes_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(left, frame)));
        if (fill() < bytes_.size()) throw inputError(name_ + ": ends within its header");
    }
    bytes_.resize(frame);
}

}  // namespace oravo::tools
