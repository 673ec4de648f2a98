#ifndef ORAVO_FUZZ_MEMORYFILE_H
#define ORAVO_FUZZ_MEMORYFILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz/Input.h"

namespace oravo::fuzz {

/// A file in memory under a name that readers can open.
class MemoryFile {
  public:
    MemoryFile(const void* data, std::size_t size) : descriptor_(memfd_create("fuzz", 0)) {
        require(write(descriptor_, data, size) == static_cast<ssize_t>(size), "memory holds the file");
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  private:
    int descriptor_;
};

}  // namespace oravo::fuzz

#endif
