#ifndef ORAVO_TOOLS_COMMANDS_COMMANDS_H
#define ORAVO_TOOLS_COMMANDS_COMMANDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/enhance/Enlarged.h"
#include "tools/input/FrameReader.h"
#include "tools/input/SensorCorrection.h"
#include "tools/pictures/ColourScale.h"
#include "tools/values/CountScale.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/Defaults.h"

namespace oravo::tools {

// What the program does, command by command. Each throws UserError; results go to files and, for figures, to
// standard output, everything else to standard error.

/// What is written beside the (last) enlarged image.
struct ResultOptions {
    std::string preview;                 ///< FILE.png, or a folder for a picture of every image; empty: none
    std::vector<std::string> coverages;  ///< FILE.png for a picture, FILE.tif, .npy or .csv for numbers
    std::vector<std::string> noiseMaps;  ///< likewise
    std::vector<std::string> reports;    ///< FILE.json or FILE.html
    std::string palette = kDefaultPalette;
    std::optional<std::pair<double, double>> range;  ///< of the palette; none: that of the image
};

struct EnhanceCommand {
    std::vector<std::string> inputs;
    std::string output;
    std::string shiftsFile;
    std::string camera;
    bool every = false;
    int jobs = 0;          ///< 0: the inputs are one recording; else each is one, for so many processes
    bool resume = false;   ///< what is finished is left as it is; what gets finished gets a Receipt
    bool metadata = true;  ///< those of the reference frame, and a note, go into files of images
    std::vector<std::string> ordered;  ///< the options that results depend on, as given, for receipts
    ReadOptions reading;
    CountScaleChoice counts;               ///< of a PNG file of values
    std::optional<PixelFormat> rawOutput;  ///< of images out of a stream; none: as its frames
    Decode decode;
    SensorFiles sensor;
    std::string defects;                   ///< list of bad pixels; empty: none
    std::vector<std::string> calibration;  ///< none, or the four texts that Calibration takes
    ResultOptions results;
    EnhanceParameters parameters;
};
/// Returns false where the results were there already and were left as they are.
bool enhance(const EnhanceCommand& command);
/// The same for frames out of a pipe, into one: as many raw images as frames, each as soon as its frame is there.
void enhanceLive(const EnhanceCommand& command);

struct SimulateCommand {
    std::string folder;
    int width = 160;
    int height = 120;
    int frames = 0;      ///< 0: as many as there are shifts, or 5
    int reference = -1;  ///< -1: the frame that enhance refers to by default
    std::uint64_t seed = 1;
    double noise = 0.05;
    float psfSigma = vision::defaults::kPsfSigma;
    double maxShift = 1.0;
    std::string shifts;
    std::string scene;
    Decode sceneDecode;
    int defects = 0;
};
void simulate(const SimulateCommand& command);

struct EvaluateCommand {
    std::string result;
    std::string truth;
    std::vector<std::string> others;  ///< further images of the same scene
    std::string reference;
    std::string picture;
    int crop = 3;
    bool regions = false;
    bool json = false;
};
void evaluate(const EvaluateCommand& command);

}  // namespace oravo::tools

#endif
