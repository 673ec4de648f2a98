#ifndef ORAVO_TOOLS_COMMANDS_IMAGENOTES_H
#define ORAVO_TOOLS_COMMANDS_IMAGENOTES_H

#include <map>
#include <optional>
#include <set>
#include <string>

#include "tools/base/Guard.h"
#include "tools/commands/Commands.h"
#include "tools/formats/FileMetadata.h"
#include "tools/input/InputFiles.h"
#include "tools/output/Receipt.h"

namespace oravo::tools {

/// What files of enlarged images say beside the pixels: the metadata of the reference frame, on the image's grid, and a note on
/// version, parameters and the SHA-256 of what was read. It depends on nothing else, no time and no folder, so that equal runs
/// give equal files.
class ImageNotes {
  public:
    /// All have to outlive this object.
    /// @param receipt  knows the SHA-256 of files; may be null
    ImageNotes(const EnhanceCommand& command, const InputFiles& inputs, const Receipt* receipt,
               Findings& findings)
        : command_(command), inputs_(inputs), receipt_(receipt), findings_(findings) {}

    /// Empty where there is no file that has room for it, or none is to have it. Warns once for each file of what of its
    /// metadata is left out.
    ImageMetadata of(const Enlarged& enlarged);

  private:
    ImageMetadata metadataOf(std::size_t frame);
    std::string history(const Enlarged& enlarged);
    const std::string& digestOf(const std::string& file);

    const EnhanceCommand& command_;
    const InputFiles& inputs_;
    const Receipt* receipt_;
    Findings& findings_;
    std::string openPath_;  // the file of the latest reference frame, which the next one may share
    std::optional<FileMetadata> open_;
    std::set<std::string> warned_;
    std::map<std::string, std::string> digests_;  // by file
};

}  // namespace oravo::tools

#endif
