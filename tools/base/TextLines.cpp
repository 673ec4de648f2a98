#include "tools/base/TextLines.h"

#include <algorithm>

namespace oravo::tools {

bool readLine(std::istream& text, char end, std::size_t longest, std::string& line) {
    line.clear();
    for (char c = 0; line.size() <= longest && text.get(c);) {
        if (c == end) return true;
        line += c;
    }
    return !line.empty();
}

std::string excerpt(std::string_view text) {
    constexpr std::size_t kMost = 40;
    std::string shown(text.substr(0, kMost));
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return '"' + shown + (text.size() > kMost ? "...\"" : "\"");
}

}  // namespace oravo::tools
