#include "tools/base/Messages.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <new>
#include <opencv2/core.hpp>
#include <vector>

namespace oravo::tools {
namespace {

constexpr char kRed[] = "\033[31m";
constexpr char kYellow[] = "\033[33m";
constexpr char kPlain[] = "\033[0m";
constexpr char kClearLine[] = "\r\033[K";

std::string messagePrefix;
std::string status;  // on the terminal's last line

bool onTerminal() {
    static const bool answer = [] {
        const char* kind = std::getenv("TERM");
        return ::isatty(STDERR_FILENO) == 1 && kind != nullptr && std::string(kind) != "dumb";
    }();
    return answer;
}

/// See no-color.org: any text but the empty one.
bool coloursWanted() {
    const char* refused = std::getenv("NO_COLOR");
    return onTerminal() && (refused == nullptr || *refused == '\0');
}

std::string coloured(const std::string& text, const char* colour) {
    return coloursWanted() ? colour + text + kPlain : text;
}

/// What precedes the line's own text may hold colours. In one piece, so that lines of several processes do not mix.
void put(const std::string& start, const std::string& line) {
    const std::string clear = status.empty() ? "" : kClearLine;
    status.clear();
    std::cerr << clear + messagePrefix + start + printable(line) + '\n';
}

}  // namespace

std::string format(const char* pattern, ...) {
    va_list arguments;
    va_start(arguments, pattern);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, pattern, arguments);
    va_end(arguments);
    std::vector<char> text(static_cast<std::size_t>(std::max(length, 0)) + 1);
    std::vsnprintf(text.data(), text.size(), pattern, again);
    va_end(again);
    return text.data();
}

std::string printable(std::string text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto code = static_cast<unsigned char>(text[i]);
        // In UTF-8 the upper control characters, with which some terminals begin commands, have two bytes.
        const bool upper = code >= 0x80 && code < 0xa0 && i > 0 && text[i - 1] == '\xc2';
        if (upper) text[i - 1] = '?';
        if (upper || code < 0x20 || code == 0x7f) text[i] = '?';
    }
    return text;
}

void note(const std::string& line) {
    put("", line);
}

void warn(const std::string& line) {
    put("oravo-superres: " + coloured("warning: ", kYellow), line);
}

void complain(const std::string& line) {
    put(coloured("oravo-superres: ", kRed), line);
}

void setMessagePrefix(const std::string& prefix) {
    messagePrefix = printable(prefix);
}

void showStatus(const std::string& line) {
    if (!onTerminal() || !messagePrefix.empty() || line == status) return;
    std::cerr << kClearLine + line << std::flush;
    status = line;
}

std::string ranges(const std::vector<std::size_t>& numbers) {
    std::string text;
    for (std::size_t first = 0; first < numbers.size();) {
        std::size_t last = first;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
        text += format(first == 0 ? "%zu" : ", %zu", numbers[first]);
        if (last > first) text += format(" to %zu", numbers[last]);
        first = last + 1;
    }
    return text;
}

std::string currentExceptionText() {
    try {
        throw;
    } catch (const Exception& e) {
        return e.message();
    } catch (const cv::Exception& e) {
        return e.err;
    } catch (const std::exception& e) {
        return e.what();
    } catch (const char* text) {
        return text;
    } catch (...) {
        return "unknown failure";
    }
}

bool currentExceptionIs(Exception::Kind kind) {
    try {
        throw;
    } catch (const Exception& e) {
        return e.kind() == kind;
    } catch (...) {
        return false;
    }
}

bool currentExceptionIsLackOfMemory() {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return true;
    } catch (const cv::Exception& e) {
        return e.code == cv::Error::StsNoMem;
    } catch (const Exception& e) {
        return e.kind() == Exception::Kind::outOfMemory;
    } catch (...) {
        return false;
    }
}

}  // namespace oravo::tools
