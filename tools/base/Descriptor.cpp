#include "tools/base/Descriptor.h"

#include <poll.h>

#include <cerrno>

namespace oravo::tools {

bool mayTryAgain(int descriptor, short events) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd wanted{descriptor, events, 0};
    return ::poll(&wanted, 1, -1) >= 0 || errno == EINTR;
}

}  // namespace oravo::tools
