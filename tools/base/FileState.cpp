#include "tools/base/FileState.h"

#include <openssl/evp.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
/// Coarser than the times of any file system in use, of which FAT counts in two seconds.
constexpr std::int64_t kTick = 2 * kSecond;

std::int64_t nanoseconds(const timespec& time) {
    return time.tv_sec * kSecond + time.tv_nsec;
}

std::int64_t now() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(since).count();
}

std::string hexadecimal(const unsigned char* bytes, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += format("%02x", static_cast<unsigned>(bytes[i]));
    return text;
}

std::string sha256Of(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> digest(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    bool works = digest && EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) == 1;
    std::vector<char> block(1 << 20);
    while (works && file) {
        file.read(block.data(), static_cast<std::streamsize>(block.size()));
        const auto count = static_cast<std::size_t>(file.gcount());
        works = EVP_DigestUpdate(digest.get(), block.data(), count) == 1;
    }
    // A read that the system refuses leaves a stream that is not at its end.
    if (!file.eof() || file.bad()) {
        throw inputError(path + ": cannot be read: " + std::strerror(errno != 0 ? errno : EIO));
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> sum{};
    unsigned length = 0;
    works = works && EVP_DigestFinal_ex(digest.get(), sum.data(), &length) == 1;
    if (!works) throw UserError(ExitCode::kInternal, path + ": SHA-256 is not available");
    return hexadecimal(sum.data(), length);
}

}  // namespace

FileState marksOf(const std::string& path) {
    FileState state;
    state.file = std::filesystem::absolute(path).lexically_normal().string();
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0) return state;
    state.size = S_ISDIR(found.st_mode) ? 0 : static_cast<std::uint64_t>(found.st_size);
    state.modified = nanoseconds(found.st_mtim);
    state.changed = nanoseconds(found.st_ctim);
    return state;
}

FileState stateOf(const std::string& path) {
    FileState state = marksOf(path);  // before the content, so that a change meanwhile is seen later
    state.sha256 = sha256Of(path);
    return state;
}

bool isSurelyUnchanged(const FileState& state) {
    const FileState found = marksOf(state.file);
    return state.changed != 0 && found.size == state.size && found.modified == state.modified &&
           found.changed == state.changed;
}

FileState withoutFreshTimes(FileState state) {
    if (now() - state.changed < kTick) state.modified = state.changed = 0;
    return state;
}

}  // namespace oravo::tools
