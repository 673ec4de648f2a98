#include "tools/Messages.h"

#include <cstdarg>
#include <cstdio>
#include <iostream>
#include <opencv2/core.hpp>
#include <vector>

#include "support/Exception.h"
#include "tools/Guard.h"

namespace oravo::tools {

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

void note(const std::string& line) {
    std::cerr << line << '\n';
}

void warn(const std::string& line) {
    warn(Guard{"warning", std::nullopt, line, ""});
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

}  // namespace oravo::tools
