// Small files that are read and written whole.
#pragma once

#include <string>
#include <string_view>

namespace IntfAddr {

// Both throw std::system_error with the errno.
std::string readWhole(std::string const& path);
// Whatever happens meanwhile, what is at the path is what was there before or `content`, and it is
// on the disk when this returns. Makes the directory where it is not there.
void writeWhole(std::string const& path, std::string_view content);

}  // namespace IntfAddr
