#include "tools/output/RawSink.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "tools/base/Descriptor.h"
#include "tools/base/UserError.h"
#include "tools/output/Leftovers.h"

namespace oravo::tools {

RawSink::RawSink(const PixelFormat& format) : format_(format) {
    if (::isatty(STDOUT_FILENO) == 1) {
        throw outputError("-o -: standard output is a terminal; send it to a file or a program");
    }
    before_ = ::signal(SIGPIPE, SIG_IGN);
}

RawSink::~RawSink() {
    ::signal(SIGPIPE, before_);
}

bool RawSink::write(const cv::Mat_<double>& numbers) {
    bytes_.resize(numbers.total() * static_cast<std::size_t>(format_.bytes));
    clipped_ = pack(numbers, format_, bytes_.data());
    const Uninterrupted whole;
    std::size_t done = 0;
    while (done < bytes_.size()) {
        // The first signal ends the process before an image or after it, a second one at once.
        if (whole.signals() > (done == 0 ? 0 : 1)) break;
        const ssize_t written = ::write(STDOUT_FILENO, bytes_.data() + done, bytes_.size() - done);
        if (written >= 0) {
            done += static_cast<std::size_t>(written);
        } else if (errno == EPIPE) {
            return false;
        } else if (!mayTryAgain(STDOUT_FILENO, POLLOUT)) {
            throw outputError(std::string("standard output cannot be written: ") + std::strerror(errno));
        }
    }
    return true;
}

}  // namespace oravo::tools
