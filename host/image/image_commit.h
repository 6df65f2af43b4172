// Shared by the PNG and EXR writers: write beside the target, then rename over it.
#pragma once

#include <string>

namespace vkimage {

std::string temporaryBeside(const std::string& path);
// Renames the finished temporary onto the path; on failure removes it and throws ImageError.
void commit(const std::string& temporary, const std::string& path);

}  // namespace vkimage
