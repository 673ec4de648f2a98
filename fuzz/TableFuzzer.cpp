/// Any text as a table of shifts (in a file, or as an argument) or as a list of bad pixels: understood, or refused by a
/// UserError. What was understood is written in a form that reads back the same.

#include <cmath>
#include <numeric>

#include "fuzz/MemoryFile.h"
#include "tools/base/UserError.h"
#include "tools/defects/DefectList.h"
#include "tools/formats/ShiftTable.h"

namespace oravo::fuzz {
namespace {

void shifts(const std::string& textOrFile) {
    const std::vector<cv::Point2f> understood = tools::parseShifts(textOrFile);
    require(!understood.empty(), "a table without shifts is refused");
    std::vector<std::size_t> frames(understood.size());
    std::iota(frames.begin(), frames.end(), 0);
    const std::string table = tools::shiftTable(understood, frames, "comment");
    const std::vector<cv::Point2f> again = tools::parseShifts(MemoryFile(table.data(), table.size()).path());
    require(again.size() == understood.size(), "as many shifts are read back");
    for (std::size_t i = 0; i < again.size(); ++i) {
        const cv::Point2f difference = again[i] - understood[i];
        const double rounding = 0.6e-6 + 1e-7 * (std::abs(understood[i].x) + std::abs(understood[i].y));
        require(std::abs(difference.x) <= rounding && std::abs(difference.y) <= rounding,
                "shifts are read back");
    }
}

void defects(const std::string& path) {
    const tools::DefectList list = tools::readDefectList(path);
    list.mask();
    require(list.withoutReplacement() <= list.rows.rows, "some pixels lack a replacement");
    const std::string table = tools::defectTable(list);
    const tools::DefectList again = tools::readDefectList(MemoryFile(table.data(), table.size()).path());
    require(again.frameSize == list.frameSize && again.rows.size() == list.rows.size() &&
                std::equal(again.rows.begin(), again.rows.end(), list.rows.begin()),
            "a list is read back");
}

}  // namespace
}  // namespace oravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace oravo;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const fuzz::MemoryFile file(data, size);
    for (int reader = 0; reader < 3; ++reader) {
        try {
            if (reader == 0) fuzz::defects(file.path());
            if (reader == 1) fuzz::shifts(file.path());
            if (reader == 2) fuzz::shifts(text);
        } catch (const tools::UserError&) {
        }
    }
    return 0;
}
