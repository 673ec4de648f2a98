#ifndef ORAVO_TOOLS_BASE_FILENAMES_H
#define ORAVO_TOOLS_BASE_FILENAMES_H

#include <filesystem>
#include <string>

namespace oravo::tools {

/// The extension of a file name in lower case, with its dot; empty where there is none.
std::string lowerExtension(const std::string& path);

/// The order people expect of numbered names: runs of digits compare as numbers, so frame_9 < frame_10.
bool naturallyLess(const std::string& a, const std::string& b);

/// Whether a folder is the one named, or the one that a file lies in.
bool isFolderOf(const std::string& fileOrFolder, const std::string& folder);

/// Whether an output is meant as a folder: by its slash at the end, or since it is one.
bool namesFolder(const std::string& output);

/// What stands for a name in a name: out/{}.png.
constexpr char kNameMark[] = "{}";

/// Whether the last part of a path holds the mark.
bool isNamePattern(const std::string& path);

/// The path with the name in place of each mark.
std::string filledIn(std::string pattern, const std::string& name);

/// The folder that a file lies in, as its path names it.
std::string folderOf(const std::string& path);

/// Whether both names lead to one existing file or folder.
bool isSameFile(const std::string& a, const std::string& b);

/// One name for one file, there or not.
std::filesystem::path settledPath(const std::string& path);

}  // namespace oravo::tools

#endif
