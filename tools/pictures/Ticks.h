#ifndef ORAVO_TOOLS_PICTURES_TICKS_H
#define ORAVO_TOOLS_PICTURES_TICKS_H

#include <string>
#include <vector>

namespace oravo::tools {

/// Round values for a scale: multiples of 1, 2 or 5 times a power of ten within the range, as many as fit, at
/// most `most` of them but never none.
struct Ticks {
    Ticks(double lowest, double highest, int most);
    /// A value of the scale with as many decimals as its ticks need, and `moreDecimals` more.
    std::string text(double value, int moreDecimals = 0) const;

    std::vector<double> values;
    int decimals = 0;
};

}  // namespace oravo::tools

#endif
