// Small files that are read and written whole.
#pragma once

#include <string>
#include <string_view>

namespace IntfAddr {

// Throws std::runtime_error, which is a std::system_error where it has an errno. A pipe, which may
// keep one waiting, is not read, nor what is longer than a small file ever is.
std::string readWhole(std::string const& path);
// Throws std::system_error.
// Whatever happens meanwhile, what is at the path is what was there before or `content`, and it is
// on the disk when this returns. Makes the directory where it is not there.
void writeWhole(std::string const& path, std::string_view content);

}  // namespace IntfAddr
