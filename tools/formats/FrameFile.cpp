#include "tools/formats/FrameFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tools/base/MemoryCheck.h"
#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr std::uint64_t kMostInMemory = 1u << 30;

std::ifstream opened(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) throw inputError(path + ": cannot be opened: " + std::strerror(errno));
    return file;
}

}  // namespace

cv::Mat FrameLayout::frame(const char* bytes) const {
    if (!columnOrder) return unpack(bytes, size, format);
    return unpack(bytes, {size.height, size.width}, format).t();
}

std::uint64_t sizeOfFile(const std::string& path) {
    std::error_code failed;
    const std::uintmax_t size = std::filesystem::file_size(path, failed);
    if (failed) throw inputError(path + ": cannot be read: " + failed.message());
    return size;
}

std::string startOfFile(const std::string& path, std::size_t most) {
    std::ifstream file = opened(path);
    std::string bytes(most, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(most));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

std::string contentOfFile(const std::string& path) {
    const std::uint64_t size = sizeOfFile(path);
    if (size > kMostInMemory) throw inputError(path + ": is larger than 1 GiB, too large for one image");
    requireMemory(size, path + ": its bytes alone");
    return startOfFile(path, static_cast<std::size_t>(size));
}

FrameFile::FrameFile(const std::string& path, const FrameLayout& layout)
    : path_(path), layout_(layout), file_(opened(path)) {
}

cv::Mat FrameFile::read(std::size_t index) {
    requireMemory(layout_.size, path_);
    std::string bytes(static_cast<std::size_t>(layout_.frameBytes()), '\0');
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(layout_.offset + index * layout_.frameBytes()));
    file_.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (static_cast<std::size_t>(file_.gcount()) != bytes.size()) {
        throw inputError(path_ + ": was shortened while it was read");
    }
    return layout_.frame(bytes.data());
}

}  // namespace oravo::tools
