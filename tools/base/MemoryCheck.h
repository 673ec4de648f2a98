#ifndef ORAVO_TOOLS_BASE_MEMORYCHECK_H
#define ORAVO_TOOLS_BASE_MEMORYCHECK_H

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

namespace oravo::tools {

/// Throws UserError, "WHAT need more memory than there is", unless there is memory for this many bytes beside what the
/// library's buffers hold.
void requireMemory(std::uint64_t bytes, const std::string& what);

/// The same for a frame of this size out of the file of this name, as stored and decoded.
void requireMemory(cv::Size frame, const std::string& name);

}  // namespace oravo::tools

#endif
