#ifndef ORAVO_TOOLS_REPORT_HTMLPARTS_H
#define ORAVO_TOOLS_REPORT_HTMLPARTS_H

#include <string>

#include "tools/report/Report.h"
#include "tools/report/Verdict.h"

namespace oravo::tools {

// Parts of the page, as markup; empty where there is nothing to say.

/// The headline of the page, with the name of the file.
std::string verdictPart(const Report& report, const Verdict& verdict, const std::string& name);
std::string figuresPart(const Report& report);
std::string leftOutPart(const Report& report);
std::string warningsPart(const Report& report);

/// What is known of each frame that took part, and where they sample the reference frame's pixels.
std::string framesPart(const Report& report);
/// How the image's values relate to those of the reference frame.
std::string radiometryPart(const Report& report);
/// All images of the recording, where there are several.
std::string imagesPart(const Report& report);
/// How the image was made.
std::string factsPart(const Report& report);

/// A drawing of where each frame samples a pixel of the reference frame.
std::string phasesFigure(const Report& report);

}  // namespace oravo::tools

#endif
