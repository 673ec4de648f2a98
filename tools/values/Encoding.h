#ifndef ORAVO_TOOLS_VALUES_ENCODING_H
#define ORAVO_TOOLS_VALUES_ENCODING_H

#include <string>
#include <vector>

#include "tools/values/Decode.h"

namespace oravo::tools {

/// A usual way of storing temperatures in numbers.
struct Encoding {
    std::string name;
    std::string meaning;  ///< of a stored number
    Decode decode;        ///< to degrees Celsius
};

const std::vector<Encoding>& encodings();

/// Throws UserError of the usage kind for an unknown name, and lists the known ones.
const Encoding& encodingNamed(const std::string& name);

}  // namespace oravo::tools

#endif
