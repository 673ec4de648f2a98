#include <map>

#include "tools/cli/CommandOptions.h"
#include "tools/cli/InputOptions.h"

namespace oravo::tools {
namespace {

constexpr char kFrames[] =
    "Frames: single-channel TIFF (multi-page too), PNG or PGM files, NumPy arrays, radiometric JPEGs, videos "
    "of 16-bit grey or "
    "raw dumps (see --raw), or folders of them";

void addRadius(CLI::App* sub, int& radius) {
    sub->add_option(
           "--radius", radius,
           "How far away, in pixels, the four good pixels that replace a bad one may lie. Raise it for "
           "large clusters of bad pixels")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
}

void addThresholds(CLI::App* sub, DetectDefectsCommand& c) {
    sub->add_option(
           "--low", c.low,
           "Dead pixels: every pixel with this count or less is bad. Default: 0; none when a frame has "
           "counts below 0. Lower it when dark scenery is listed")
        ->check(CLI::Range(-32768, 65534));
    sub->add_option(
           "--high", c.high,
           "Stuck pixels: every pixel with this count or more is bad. Default: the full scale of the "
           "camera, judged by the largest count (4095, 16383 or 65535; 32767 in signed frames). Raise it "
           "when something hot in the scene is listed")
        ->check(CLI::Range(-32767, 65535));
    sub->add_option(
           "--max-count", c.maxCount,
           "Odd pixels: a pixel is bad too when its count is nearly alone in the frame: fewer than this "
           "many pixels, itself included, have counts within --span below it, likewise above it, and "
           "likewise within half of --span around it. 1 turns this off; larger finds more")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    sub->add_option(
           "--span", c.span,
           "How far from all others, in counts, the count of an odd pixel is. Larger finds fewer; take "
           "several times the noise")
        ->check(CLI::Range(2, 65535))
        ->capture_default_str();
}

void addDetect(CLI::App* defects, DetectDefectsCommand& c, const std::string& footer) {
    CLI::App* sub = defects->add_subcommand("detect", "Find the bad pixels of a sensor");
    sub->add_option("FRAME", c.frames,
                    std::string(kFrames) + ". Best is a recording while the camera moves; see --search")
        ->required();
    const std::map<std::string, DefectSearchKind> ways{{"auto", DefectSearchKind::automatic},
                                                       {"motion", DefectSearchKind::motion},
                                                       {"values", DefectSearchKind::values}};
    sub->add_option_function<std::string>(
           "--search", [&c, ways](const std::string& name) { c.search = ways.at(name); },
           "motion: pixels that do not follow the scene while it moves over the sensor, by a quarter of a "
           "pixel at least, in four frames or more, whatever their values; hot points of the scene move with "
           "it and are not listed. values: pixels whose counts are nearly alone in a frame (see "
           "--max-count), bad in any frame; of other values than counts of 16 bits, those that stand out "
           "from "
           "their neighbours. auto: motion where the scene moves, else values, and of several frames pixels "
           "that stand "
           "out, too")
        ->check(CLI::IsMember({"auto", "motion", "values"}))
        ->default_str("auto");
    sub->add_option("-o,--output", c.output,
                    "LIST.csv: a line for each bad pixel, with the four good ones that replace it")
        ->required();
    sub->add_option(
        "--marked", c.marked,
        "FILE.png for the first frame in grey, enlarged four times, with a red square on every bad pixel");
    addReadOptions(sub, c.reading);
    addThresholds(sub, c);
    addRadius(sub, c.radius);
    sub->footer(
        "For the search by values, an evenly lit scene without hot objects, such as a closed shutter, is "
        "best. One that finds "
        "more "
        "than 65534 bad pixels, or more than 65535 when all are out of range, fails with 4 and says which "
        "option to change.\n\n" +
        footer);
    sub->callback([&c] { detectDefects(c); });
}

void addRepair(CLI::App* defects, RepairDefectsCommand& c, const std::string& footer) {
    CLI::App* sub = defects->add_subcommand("repair", "Replace the listed bad pixels of raw frames");
    sub->add_option("LIST", c.list, "LIST.csv, from detect or merge, for frames of the same size")
        ->required();
    sub->add_option("FRAME", c.frames, kFrames)->required();
    addReadOptions(sub, c.reading);
    sub->add_option("-o,--output", c.output,
                    "For one frame OUT.tif or OUT.png (unsigned counts only), of the type of the input; for "
                    "several a folder without frames, which gets frame_000000.tif ... in the order given")
        ->required();
    sub->footer(
        "A bad pixel becomes the mean of its four replacement pixels without the fraction (rounded "
        "toward 32768 in frames with counts above 32767).\n\n" +
        footer);
    sub->callback([&c] { repairDefects(c); });
}

void addMerge(CLI::App* defects, MergeDefectsCommand& c, const std::string& footer) {
    CLI::App* sub = defects->add_subcommand("merge", "Add newly found bad pixels to a running list");
    sub->add_option("NEW", c.fresh, "NEW.csv: the newly found ones; those already listed are left out")
        ->required();
    sub->add_option("LIST", c.list, "LIST.csv: the running list, for frames of the same size")->required();
    sub->add_option("-o,--output", c.output, "LIST.csv for both; may be the running list itself, but not NEW")
        ->required();
    addRadius(sub, c.radius);
    sub->footer(footer);
    sub->callback([&c] { mergeDefectLists(c); });
}

}  // namespace

void addDefects(CLI::App& app, DefectsCommand& command, const std::string& exitCodes) {
    CLI::App* defects = app.add_subcommand("defects", "Find, list and repair the bad pixels of a sensor");
    defects->require_subcommand(1);
    defects->footer("oravo-superres defects COMMAND --help is the manual of a command.\n\n" + exitCodes);
    addDetect(defects, command.detect, exitCodes);
    addRepair(defects, command.repair, exitCodes);
    addMerge(defects, command.merge, exitCodes);
}

}  // namespace oravo::tools
