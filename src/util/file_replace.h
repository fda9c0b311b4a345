#pragma once

#include <filesystem>
#include <string_view>

namespace quorvane {

// Replaces the contents of `file` with `text` so that the file is, at every moment, either its
// old contents or its new: the text goes to a new file beside it, reaches the disk, and then
// takes the old file's name. Returns false, leaving the old file as it was, when that cannot
// be done.
bool ReplaceFileContents(const std::filesystem::path& file, std::string_view text);

}  // namespace quorvane
