#include "tools/base/MarkupText.h"

#include <cstddef>

namespace oravo::tools {
namespace {

/// The length of the UTF-8 character that starts here; 0 where none does.
std::size_t characterLength(const std::string& text, std::size_t at) {
    const auto first = static_cast<unsigned char>(text[at]);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    if (at + length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((static_cast<unsigned char>(text[at + i]) & 0xC0) != 0x80) return 0;
    }
    return length;
}

}  // namespace

std::string markupText(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = characterLength(text, at);
        const char c = text[at];
        if (c == '&') {
            result += "&amp;";
        } else if (c == '<') {
            result += "&lt;";
        } else if (c == '>') {
            result += "&gt;";
        } else if (c == '"') {
            result += "&quot;";
        } else if (c == '\'') {
            result += "&#39;";
        } else if (length == 0 || (length == 1 && (c < ' ' || c == 0x7F))) {
            result += '?';
        } else {
            result += text.substr(at, length);
        }
        at += length == 0 ? 1 : length;
    }
    return result;
}

}  // namespace oravo::tools
