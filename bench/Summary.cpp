#include "bench/Summary.h"

#include <cstdio>
#include <vector>

namespace oravo::bench {
namespace {

/// A line of the table.
void line(std::ostream& out, const std::string& work, double measured, const char* unit,
          const std::string& beside, double ratio, const char* goal) {
    char text[200];
    std::snprintf(text, sizeof(text), "%-42s %9.3f %-3s  %-38s %8.2f   %s\n", work.c_str(), measured, unit,
                  beside.c_str(), ratio, goal);
    out << text;
}

std::string inMilliseconds(const char* what, double value) {
    char text[80];
    std::snprintf(text, sizeof(text), "%s %.3f ms", what, value);
    return text;
}

const char* const kSizes[] = {"160/120", "320/240", "640/480", "1280/960"};
constexpr double kPixels[] = {160.0 * 120, 320.0 * 240, 640.0 * 480, 1280.0 * 960};

}  // namespace

void Summary::ReportRuns(const std::vector<Run>& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.error_occurred) continue;
        const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
        const std::string name = run.run_name.function_name + "/" + run.run_name.args;
        if (median || (run.run_type == Run::RT_Iteration && find(name) == nullptr)) {
            figures_[name] = {run.GetAdjustedRealTime(), run.counters};
        }
    }
}

const Summary::Figures* Summary::find(const std::string& name) const {
    const auto found = figures_.find(name);
    return found == figures_.end() ? nullptr : &found->second;
}

double Summary::milliseconds(const std::string& name) const {
    const Figures* figures = find(name);
    return figures == nullptr ? 0.0 : figures->milliseconds;
}

void Summary::print(std::ostream& out) const {
    out << "\n5 frames, factor 2, one thread; ratios are of this run\n";
    char head[200];
    std::snprintf(head, sizeof(head), "%-42s %13s  %-38s %8s   %s\n", "work", "measured", "beside", "ratio",
                  "goal");
    out << head;
    printSpeedUps(out);
    printOperator(out);
    printPipeline(out);
    printBursts(out);
    printPrecise(out);
    printThreads(out);
    printMemory(out);
}

void Summary::printSpeedUps(std::ostream& out) const {
    for (const std::string size : kSizes) {
        const double ours = milliseconds("minimize/" + size);
        const double plain = milliseconds("minimizePlain/" + size);
        if (ours > 0.0 && plain > 0.0) {
            line(out, "solver, 8 steps, " + size, ours, "ms", inMilliseconds("plain loops", plain),
                 plain / ours, size == "640/480" ? "at least 10" : "");
        }
    }
    const double ours = milliseconds("addImage/320/240");
    const double peer = milliseconds("peer/320/240/iterations:1");
    const double other = peer > 0.0 ? peer : milliseconds("peer/320/240");
    if (ours > 0.0 && other > 0.0) {
        line(out, "whole addImage, 320/240", ours, "ms", inMilliseconds("OpenCV superres BTV-L1", other),
             other / ours, "at least 500");
    }
}

void Summary::printOperator(std::ostream& out) const {
    for (const std::string size : kSizes) {
        const double ours = milliseconds("applyOperator/" + size);
        const char* goal = size == "640/480" ? "at most 8" : "";
        for (const char* yardstick : {"copyEnlarged", "copyEnlargedFromMemory"}) {
            const double copy = milliseconds(std::string(yardstick) + "/" + size);
            if (ours <= 0.0 || copy <= 0.0) continue;
            const bool cached = std::string(yardstick) == "copyEnlarged";
            line(out, "one operator application, " + size, ours, "ms",
                 inMilliseconds(cached ? "copy in the cache" : "copy in memory", copy), ours / copy, goal);
        }
    }
}

void Summary::printImages(std::ostream& out, const Images& images) const {
    double smallest = 0.0;
    for (int i = 0; i < 4; ++i) {
        const std::string size = kSizes[i];
        const double whole = milliseconds(images.benchmark + ("/" + size));
        if (whole <= 0.0) continue;
        const double perPixel = 1e6 * whole / kPixels[i];
        if (smallest <= 0.0) smallest = perPixel;
        char cost[80];
        std::snprintf(cost, sizeof(cost), "%.4g ns a pixel", perPixel);
        line(out, images.label + (", " + size), whole, "ms", cost, perPixel / smallest, images.goals[i]);
        for (const char* stage : images.stages) {
            const double part = milliseconds(std::string(stage) + "/" + size);
            if (part > 0.0) line(out, std::string("  of it ") + stage, part, "ms", "share", part / whole, "");
        }
    }
}

void Summary::printPipeline(std::ostream& out) const {
    printImages(out, {"addImage",
                      "whole addImage",
                      {"", "at most 8 ms", "at most 33 ms", "at most 1.5"},
                      {"addFrame", "registration", "reconstruct"}});
}

void Summary::printBursts(std::ostream& out) const {
    for (const std::string size : kSizes) {
        const double burst = milliseconds("burstImage/" + size);
        const double session = milliseconds("addImage/" + size);
        if (burst > 0.0 && session > 0.0) {
            line(out, "a frame through a burst, " + size, burst, "ms",
                 inMilliseconds("through a session", session), burst / session, "at most 1.05");
        }
    }
}

void Summary::printPrecise(std::ostream& out) const {
    printImages(out, {"precise", "precise image", {"", "at most 350 ms", "at most 1500 ms", ""}, {}});
}

void Summary::printThreads(std::ostream& out) const {
    for (const std::string pipeline : {"float", "precise"}) {
        for (const std::string size : kSizes) {
            const double alone = milliseconds(pipeline + "Threads/" + size + "/1");
            const double shared = milliseconds(pipeline + "Threads/" + size + "/2");
            if (alone <= 0.0 || shared <= 0.0) continue;
            line(out, pipeline + " image by two threads, " + size, shared, "ms",
                 inMilliseconds("by one", alone), alone / shared, size == "320/240" ? "" : "at least 1.8");
        }
    }
}

void Summary::printMemory(std::ostream& out) const {
    const auto once = [this](const std::string& name) {
        const Figures* figures = find(name + "/iterations:1");
        return figures == nullptr ? find(name) : figures;
    };
    const Figures* memory = once("sessionMemory/640/480");
    if (memory == nullptr) return;
    const Figures* precise = once("preciseMemory/640/480");
    if (precise != nullptr) {
        line(out, "peak memory of a precise image, 640/480", precise->counters.at("MB"), "MB",
             "that of a session", precise->counters.at("MB") / memory->counters.at("MB"), "at most 2");
    }
    line(out, "peak memory of a session, 640/480", memory->counters.at("MB"), "MB",
         "sum of the method's buffers", memory->counters.at("of_buffers"), "at most 1.25");
}

}  // namespace oravo::bench
