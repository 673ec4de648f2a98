#include "tools/base/FileNames.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace oravo::tools {
namespace {

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

/// Compares the runs of digits at both positions as numbers of any length and steps over them.
int compareNumbers(const std::string& a, std::size_t& i, const std::string& b, std::size_t& j) {
    const auto run = [](const std::string& text, std::size_t& at) {
        while (at < text.size() && text[at] == '0') ++at;
        const std::size_t start = at;
        while (at < text.size() && isDigit(text[at])) ++at;
        return text.substr(start, at - start);
    };
    const std::string x = run(a, i);
    const std::string y = run(b, j);
    if (x.size() != y.size()) return x.size() < y.size() ? -1 : 1;
    return x.compare(y);
}

}  // namespace

std::string lowerExtension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    return extension;
}

bool isFolderOf(const std::string& fileOrFolder, const std::string& folder) {
    std::error_code ignored;
    const std::filesystem::path path = std::filesystem::absolute(fileOrFolder, ignored);
    return isSameFile((std::filesystem::is_directory(path, ignored) ? path : path.parent_path()).string(),
                      folder);
}

bool namesFolder(const std::string& output) {
    std::error_code ignored;
    return (!output.empty() && output.back() == '/') || std::filesystem::is_directory(output, ignored);
}

bool isNamePattern(const std::string& path) {
    return std::filesystem::path(path).filename().string().find(kNameMark) != std::string::npos;
}

std::string filledIn(std::string pattern, const std::string& name) {
    const std::string mark = kNameMark;
    for (std::size_t at = pattern.find(mark); at != std::string::npos;
         at = pattern.find(mark, at + name.size())) {
        pattern.replace(at, mark.size(), name);
    }
    return pattern;
}

std::string folderOf(const std::string& path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

bool isSameFile(const std::string& a, const std::string& b) {
    std::error_code missing;
    return std::filesystem::equivalent(a, b, missing);
}

bool naturallyLess(const std::string& a, const std::string& b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            const int order = compareNumbers(a, i, b, j);
            if (order != 0) return order < 0;
        } else {
            if (a[i] != b[j]) return a[i] < b[j];
            ++i;
            ++j;
        }
    }
    if (a.size() - i != b.size() - j) return a.size() - i < b.size() - j;
    return a < b;  // equal but for leading zeros
}

std::filesystem::path settledPath(const std::string& path) {
    std::error_code failed;
    const std::filesystem::path whole = std::filesystem::absolute(path, failed);
    if (failed) return path;
    const std::filesystem::path one = std::filesystem::weakly_canonical(whole, failed);
    return failed ? std::filesystem::path(path) : one;
}

}  // namespace oravo::tools
