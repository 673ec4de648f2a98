#ifndef ORAVO_TOOLS_BASE_MARKUPTEXT_H
#define ORAVO_TOOLS_BASE_MARKUPTEXT_H

#include <string>

namespace oravo::tools {

/// Plain text for HTML or XML: characters that markup is made of become character references, control characters and bytes that
/// are no UTF-8 become '?'.
std::string markupText(const std::string& text);

}  // namespace oravo::tools

#endif
