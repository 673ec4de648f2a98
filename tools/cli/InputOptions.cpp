#include "tools/cli/InputOptions.h"

#include "tools/base/Messages.h"
#include "tools/cli/Validators.h"
#include "tools/values/Encoding.h"

namespace oravo::tools {
namespace {

std::string encodingManual() {
    std::string text = "What a stored number means; values become degrees Celsius:";
    const char* separator = " ";
    for (const Encoding& e : encodings()) {
        text += separator + e.name + " (" + e.meaning + ")";
        separator = ", ";
    }
    return text;
}

/// What counts in place of what radiometric images say.
void addRadiometricOptions(CLI::App* command, ReadOptions& options, CLI::Option* raw) {
    for (const RadiometricQuantity& q : radiometricQuantities()) {
        if (q.option == nullptr) continue;
        command
            ->add_option(q.option, options.given.*q.member,
                         format("%s: %s, in place of the %s of radiometric JPEG files; %s", q.argument,
                                q.meaning, q.tag, q.rangeText().c_str()))
            ->check(numberWithin(q.lowest, q.highest, q.above))
            ->excludes(raw);
    }
}

}  // namespace

void addReadOptions(CLI::App* command, ReadOptions& options) {
    CLI::Option* raw = command->add_option_function<std::string>(
        "--raw", [&options](const std::string& text) { options.raw = parseRawFormat(text); },
        "WxH:TYPE[@BYTES]: every input file is a raw dump of frames of W x H pixels, without a header or "
        "with "
        "one of BYTES bytes that is skipped. TYPE is u8, i8, u16, i16, u32, i32, f32 or f64, with le or be "
        "after it for the byte order: 640x512:u16le. Of folders, .raw, .bin and .dat files are read");
    addRadiometricOptions(command, options, raw);
    command->add_option_function<std::string>(
        "--crop", [&options](const std::string& text) { options.crop = parseCrop(text); },
        "WxH[+X+Y]: the part of each frame that is used, X columns and Y rows from the upper left corner. "
        "Leaves out rows of telemetry: 640x480 of frames of 640x482");
}

void addShutterOption(CLI::App* command, SensorFiles& files) {
    command
        ->add_option("--shutter", files.shutter,
                     "FILE of one or more frames of the closed shutter, a lens cap or another even surface, "
                     "read as the input is: each frame becomes frame - shutter + mean of the shutter, before "
                     "any calibration")
        ->check(notEmpty());
}

void addDecodeOptions(CLI::App* command, Decode& decode) {
    CLI::Option* encoding = command->add_option_function<std::string>(
        "--encoding",
        [&decode](const std::string& name) {
            const std::string unit = decode.unit;
            decode = encodingNamed(name).decode;
            if (!unit.empty()) decode.unit = unit;
        },
        encodingManual());
    command
        ->add_option("--scale", decode.scale,
                     "Decode: value = SCALE * (stored >> SHIFT) + OFFSET, where no --encoding fits")
        ->check(scaleFactor())
        ->capture_default_str()
        ->excludes(encoding);
    command->add_option("--offset", decode.offset, "See --scale")
        ->check(finiteNumber())
        ->capture_default_str()
        ->excludes(encoding);
    command
        ->add_option("--shift-right", decode.shiftRight,
                     "SHIFT, see --scale: low bits of counts that hold no value; numbers with a "
                     "fraction are refused")
        ->check(CLI::Range(0, 31))
        ->capture_default_str()
        ->excludes(encoding);
    command->add_option("--unit", decode.unit,
                        "Unit of the decoded values, for pictures and reports (default: that of --encoding)");
}

}  // namespace oravo::tools
