#include "tools/formats/ExifTool.h"

#include <array>
#include <filesystem>

#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr char kProgram[] = "exiftool";
constexpr std::string_view kReady = "{ready}\n";  // ends each answer

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/// Arguments come one a line.
std::string question(const std::string& path, const std::vector<std::string>& tags, ExifTool::Bytes bytes) {
    std::string lines = "-json\n-n\n-fast\n";
    if (bytes == ExifTool::Bytes::given) lines += "-b\n";
    for (const std::string& tag : tags) lines += "-" + tag + "\n";
    return lines + path + "\n-execute\n";
}

}  // namespace

void ExifTool::start(const std::string& path) {
    if (!isInstalled(kProgram)) {
        throw inputError(path +
                         ": is a JPEG file that may hold temperatures, which exiftool reads, and that is not "
                         "installed (Debian package libimage-exiftool-perl)");
    }
    // Without the user's configuration, which can give tags another meaning.
    process_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{kProgram, "-config", "", "-stay_open", "True", "-@", "-"},
        ChildProcess::Input::open);
}

std::string ExifTool::tagsOf(const std::string& path, const std::vector<std::string>& tags, std::size_t most,
                             Bytes bytes) {
    // An absolute path begins with no dash, space or number sign, which would mean something else.
    std::error_code failed;
    const std::string whole = std::filesystem::absolute(path, failed).string();
    if (whole.find_first_of("\r\n") != std::string::npos) {
        throw inputError(path +
                         ": its name holds the end of a line, which exiftool cannot be given; rename it");
    }
    if (!process_) start(path);
    process_->write(question(whole, tags, bytes));  // where that fails, there is no answer either
    return answer(path, most);
}

std::string ExifTool::answer(const std::string& path, std::size_t most) {
    std::string text;
    std::array<char, 65536> part;
    while (!endsWith(text, kReady)) {
        const std::size_t got = text.size() > most ? 0 : process_->readSome(part.data(), part.size());
        if (got == 0) {
            const std::string errors = firstComplaint(process_->takeErrors());
            process_.reset();
            throw inputError(path + ": exiftool " +
                             (text.size() > most ? "says too much" : "does not answer") +
                             (errors.empty() ? "" : ": " + errors));
        }
        text.append(part.data(), got);
    }
    text.resize(text.size() - kReady.size());
    const std::string errors = firstComplaint(process_->takeErrors());
    if (text.empty())
        throw inputError(path + ": exiftool cannot read it" + (errors.empty() ? "" : ": " + errors));
    return text;
}

}  // namespace oravo::tools
