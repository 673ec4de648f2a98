#ifndef ORAVO_TOOLS_BASE_DESCRIPTOR_H
#define ORAVO_TOOLS_BASE_DESCRIPTOR_H

namespace oravo::tools {

/// After a read or write that failed with errno: whether it is to be tried again, once the descriptor is ready where it
/// was not. Whoever shares a pipe may have set it not to block.
/// @param events  of poll(), POLLIN or POLLOUT
bool mayTryAgain(int descriptor, short events);

}  // namespace oravo::tools

#endif
