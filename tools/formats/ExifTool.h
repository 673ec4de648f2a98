#ifndef ORAVO_TOOLS_FORMATS_EXIFTOOL_H
#define ORAVO_TOOLS_FORMATS_EXIFTOOL_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "tools/base/ChildProcess.h"

namespace oravo::tools {

/// exiftool, which reads the metadata of files: started with the first question, it answers all that follow, since starting it
/// takes longer than an answer.
class ExifTool {
  public:
    /// What becomes of tags that are bytes: text in base 64 after "base64:", or the count of them in words.
    enum class Bytes { given, counted };

    /// The tags of a file as JSON: an array with one object, in which tags that the file lacks are missing, and numbers have no
    /// unit.
    /// @param tags  as exiftool calls them, maybe with a group before them: "APP1:Emissivity"
    /// @param most  bytes of an answer that can be right
    /// Throws UserError, naming the file, where exiftool is not installed or does not answer.
    std::string tagsOf(const std::string& path, const std::vector<std::string>& tags, std::size_t most,
                       Bytes bytes = Bytes::given);

  private:
    void start(const std::string& path);
    std::string answer(const std::string& path, std::size_t most);

    std::unique_ptr<ChildProcess> process_;
};

}  // namespace oravo::tools

#endif
